#pragma once

#include <filesystem>
#include <string>
#include <vector>

class QWidget;

namespace zrkmodel {
class ZRKObject;
}

namespace zrkui {

/// Has a component import files without holding up the window: a new component of its class reads them, and
/// what that has is taken over. What there is to say of them stands beside the button.
///
/// @param component  owned by a shared pointer; a ZRKFileImport and ZRKDataHolder.
void importFiles(zrkmodel::ZRKObject& component, const std::vector<std::filesystem::path>& files,
                 const std::string& title, QWidget& button);

} // namespace zrkui
