#pragma once

#include <string>

namespace zrkui {

/// What a file dialog is to ask for.
struct FileRequest {
    enum class Mode { files, folder };

    Mode mode = Mode::files;
    std::string caption;
    std::string filter = "";      ///< such as "Mesh Files (*.obj)"; empty for all
    bool multiple = false;        ///< several files may be chosen
    std::string startFolder = ""; ///< empty: where the last dialog was, or the user's home
};

} // namespace zrkui
