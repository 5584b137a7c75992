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
    const auto pending = std::make_shared<Import>();
    pending->into = component.weak_from_this();
    pending->reader = component.onClone();
    const std::string first = files.front().string();
    FileReading reading;
    reading.title = title;
    reading.file = first;
    reading.read = [pending, files, first](zrk::ProgressMonitor& monitor) {
        pending->result = zrk::attempt(first, [&] {
            return dynamic_cast<ZRKFileImport&>(*pending->reader).importFiles(files, &monitor);
        });
    };
    reading.done = [pending, files, shown = QPointer<QWidget>(&button)] {
        const auto into = pending->into.lock();
        if (into && pending->result) {
            dynamic_cast<ZRKDataHolder&>(*into).takeImport(dynamic_cast<ZRKDataHolder&>(*pending->reader),
                                                           files);
        }
        return UIField::sayIfShown(shown, messagesOf(pending->result));
    };
    ZRKApp::ui().readFiles(std::move(reading), button.window());
}

} // namespace zrkui
