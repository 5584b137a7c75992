#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace zrkmodel {

/// What an edit, its undoing or its redoing has changed.
struct EditEvent {
    enum class Kind {
        NodeAdded,     ///< node
        NodeRemoved,   ///< node
        LinkAdded,     ///< node and input at which the link ends
        LinkRemoved,   ///< node and input at which the link ended
        ValueChanged,  ///< node and key
        MemberChanged, ///< node and key of its entry: "position", "import", "label", "bypass"
        HeldChanged,   ///< node whose imported or computed data changed
        Resources,     ///< key is the uuid
        Document,      ///< key of a member of the document: "context", "output"
        View,          ///< key of a member of "view"
        Selection,
        History,  ///< a step was made, undone or redone, or steps were forgotten
        Modified, ///< `isModified` has another answer
        Replaced  ///< the whole document is another one; all that was told before is void
    };

    Kind kind;
    std::uint16_t node = 0;
    std::uint8_t input = 0;
    std::string key{};
};

using EditListener = std::function<void(const EditEvent&)>;

} // namespace zrkmodel
