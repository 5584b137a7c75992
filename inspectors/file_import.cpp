#include "inspectors/file_import.h"

#include "inspectors/app.h"
#include "inspectors/field.h"
#include "model/file_import.h"
#include "model/held_data.h"
#include "model/object.h"

#include <QPointer>
#include <QWidget>

#include <memory>

namespace zrkui {

using namespace zrkmodel;

void importFiles(ZRKObject& component, const std::vector<std::filesystem::path>& files,
                 const std::string& title, QWidget& button)
{
    struct Import {
        std::weak_ptr<ZRKObject> into;
        std::shared_ptr<ZRKObject> reader;
        zrk::Result<ZRKImportWarnings> result = ZRKImportWarnings();
    };
    const auto import = std::make_shared<Import>();
    import->into = component.weak_from_this();
    import->reader = component.onClone();
    const std::string first = files.front().string();
    FileReading reading{title, first, {}, {}};
    reading.read = [import, files, first](zrk::ProgressMonitor& monitor) {
        import->result = zrk::attempt(first, [&] {
            return dynamic_cast<ZRKFileImport&>(*import->reader).importFiles(files, &monitor);
        });
};
reading.done = [import, files, shown = QPointer<QWidget>(&button)] {
    const auto into = import->into.lock();
    if (into && import->result) {
        dynamic_cast<ZRKDataHolder&>(*into).takeImport(dynamic_cast<ZRKDataHolder&>(*import->reader), files);
    }
    if (shown) {
        UIField::say(shown, messagesOf(import->result));
    }
};
ZRKApp::ui().readFiles(std::move(reading), button.window());
}

} // namespace zrkui
