#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/editing/file_watch.h"

#include <optional>
#include <string>

namespace zrkmodel {

/// The text of a document on its way to a file, apart from the document: a session makes it, any thread
/// writes it, and the session is then told what became of it.
class ZRK_API PendingSave {
public:
    /// The file to be written.
    const std::string& path() const { return _path; }
    /// Writes the file beside its target and renames it; takes as long as the disk does. Once, on any thread.
    void write();
    /// What became of it.
    const zrk::Result<void>& outcome() const { return _outcome; }
    /// Nothing was written, because another program has changed the file.
    bool wasChangedOutside() const { return _wasChangedOutside; }

private:
    friend class EditSession;

    std::string _path;
    std::string _text;
    bool _isRecovery = false;
    bool _keepsOthers = false;        ///< refuses to write over what another program wrote
    FileWatch _file;                  ///< the file as it was known, and then as it was written
    std::optional<double> _changedAt; ///< the first change that no recovery file has
    zrk::Result<void> _outcome;
    bool _wasChangedOutside = false;

    zrk::Result<void> writeText();
};

} // namespace zrkmodel
