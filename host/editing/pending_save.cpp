#include "host/editing/pending_save.h"

#include "formats/atomic_file.h"

namespace zrkmodel {

zrk::Result<void> PendingSave::writeText()
{
    _wasChangedOutside = _keepsOthers && _file.state(_path) == FileState::Changed;
    if (_wasChangedOutside) {
        return zrk::refused({_path, "a file that another program has changed since it was read",
                             "the file as it was", "save under another name, reload it, or overwrite it",
                             zrk::FaultKind::FailedWork});
    }
    return zrk::writeFile(_path, _text);
}

void PendingSave::write()
{
    _outcome = zrk::attempt(_path, [&] {
        return writeText().map([&] {
            if (!_isRecovery) {
                _file.look(_path);
            }
        });
    });
}

} // namespace zrkmodel
