#pragma once

#include <string>

namespace zrkui {

/// A node's picture in a graph editor, as far as components write on it. Implemented by editors.
class ZRKExtensionBaseGraphItem {
public:
    virtual ~ZRKExtensionBaseGraphItem() = default;
    /// The short text shown on the node.
    virtual void setText(const std::string& text) = 0;
};

} // namespace zrkui
