#include "inspectors/panels.h"

#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "inspectors/app.h"
#include "inspectors/field.h"
#include "inspectors/file_import.h"
#include "inspectors/panel_parts.h"

#include <filesystem>
#include <system_error>

namespace zrkui {

using namespace zrkmodel;

namespace {

/// A button that hands the chosen files to the component. What the component has to say of them stands
/// beside it.
template <class Component>
void importPanel(Component& c, ZRKPropertyView& view)
{
    const FileRequest request{FileRequest::Mode::files, "Import", "Mesh Files (*.obj)", true, "C:/Users"};
    view.pushHBoxLayout();
    QPushButtonWrapper* button = view.addButton("Import Mesh", {}, nullptr);
    view.popLayout();
    button->setDialog(request);
    setHint(*button, "reads a mesh in place of the present one");
    button->connectToListener([&c, button, request] {
        const std::vector<std::string> paths = ZRKApp::ui().askForFiles(request, button->window());
        if (paths.empty()) {
            return;
        }
        std::error_code error;
        if (std::filesystem::exists(paths.front(), error) &&
            !std::filesystem::is_regular_file(paths.front(), error)) { // a pipe would be waited for
            UIField::say(button, paths.front() + ": found a folder or a device, expected an ordinary file");
            return;
        }
        importFiles(c, {paths.begin(), paths.end()}, "importing " + paths.front(), *button);
    });
}

} // namespace

void addMeshPanels()
{
    addPanel(importPanel<ZRKMeshSDF>);
    addPanel(importPanel<ZRKBeamSDF>);
}

} // namespace zrkui
