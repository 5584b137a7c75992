#include "formats/atomic_file.h"
#include "formats/input_file.h"
#include "host/editing/edit_session.h"
#include "host/stored_paths.h"
#include "model/graph_object.h"

#include <fmt/core.h>

#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace zrkmodel {

namespace {

std::string textOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

zrk::Result<void> writeText(const std::string& path, const std::string& text)
{
    return zrk::attempt(path, [&] {
        return zrk::AtomicFile::create(path).and_then([&](zrk::AtomicFile file) {
            file.write(text.data(), text.size());
            return file.commit();
        });
    });
}

} // namespace

zrk::Result<std::unique_ptr<EditSession>> EditSession::open(const std::string& path,
                                                            DocumentWarnings& warnings, EditSettings settings)
{
    return GraphDocument::load(path, warnings, settings.load).map([&](GraphDocument document) {
        auto session = std::make_unique<EditSession>(std::move(document), std::move(settings));
        session->_path = path;
        session->_file.look(path);
        const std::filesystem::path recovery = session->recoveryPath();
        std::error_code missing;
        const auto saved = std::filesystem::last_write_time(path, missing);
        const auto kept = std::filesystem::last_write_time(recovery, missing);
        if (!missing && kept >= saved && textOf(recovery) != textOf(path)) {
            session->_offer = recovery;
        }
        return session;
    });
}

std::filesystem::path EditSession::wholeFolder(const std::filesystem::path& folder)
{
    const auto whole = (folder.empty() ? std::filesystem::current_path() : std::filesystem::absolute(folder))
                           .lexically_normal();
    return whole.has_filename() ? whole : whole.parent_path();
}

/// Has the paths in the document, and in its history, start from another folder.
void EditSession::rebase(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (from == to) {
        return;
    }
    _parts.rebase(from, to);
    _history.forEachChange([&](EditChange& change) {
        if (auto* node = std::get_if<NodeChange>(&change)) {
            rebaseEntry(node->entry, from, to);
        } else if (auto* resource = std::get_if<ResourceChange>(&change)) {
            rebaseEntry(resource->entry, from, to);
        } else if (auto* member = std::get_if<MemberChange>(&change); member && member->key == "import") {
            for (auto* value : {&member->before, &member->after}) {
                if (*value) {
                    rebaseImport(**value, from, to);
                }
            }
        }
    });
}

std::filesystem::path EditSession::folder() const
{
    return std::filesystem::path(_document.name()).parent_path();
}

DocumentPaths EditSession::paths() const { return {folder(), _settings.load.isConfined}; }

/// How a document writes a path: from its own folder, if it lies in or near it.
std::string EditSession::storedPath(const std::filesystem::path& path) const
{
    return pathFrom(wholeFolder(folder()), std::filesystem::absolute(path));
}

zrk::Result<void> EditSession::save(const std::string& path, bool overwrites)
{
    if (_isApplying || !_marks.empty()) {
        return zrk::refused(busy());
    }
    const std::string target = path.empty() ? _path : path;
    if (target.empty()) {
        return zrk::refused({_document.name(), "no file", "a path to save to", "save under a name"});
    }
    if (target == _path && !overwrites && fileState() == FileState::Changed) {
        return zrk::refused({target, "a file that another program has changed since it was read",
                             "the file as it was", "save under another name, reload it, or overwrite it",
                             zrk::FaultKind::FailedWork});
    }
    const std::filesystem::path former = wholeFolder(folder());
    const std::filesystem::path next = wholeFolder(std::filesystem::path(target).parent_path());
    GraphDocument moved =
        _document; // of the same nodes; the session's own stays as it is until all is written
    moved.moveTo(target);
    if (const auto written = moved.save(target); !written) {
        return written;
    }
    rebase(former, next);
    removeRecovery();
    const bool wasModified = isModified();
    _path = target;
    _parts.rename(target);
    _file.look(target);
    _history.markClean();
    _changedAt.reset();
    if (wasModified) {
        tell({EditEvent::Kind::Modified});
    }
    deliver();
    return {};
}

void EditSession::replace(GraphDocument document)
{
    _watched.clear();
    _touched.clear();
    _heldLog.clear();
    _document = std::move(document);
    _parts = DocumentParts(_document);
    _history.clear();
    _gesture = 0;
    _selection = std::make_shared<const std::vector<std::uint16_t>>();
    watchAll();
    tell({EditEvent::Kind::Replaced});
}

zrk::Result<void> EditSession::reload(DocumentWarnings& warnings, bool discards)
{
    if (_isApplying || !_marks.empty()) {
        return zrk::refused(busy());
    }
    if (isModified() && !discards) {
        return zrk::refused({_document.name(), "unsaved changes", "none",
                             "save under another name first, or discard them", zrk::FaultKind::FailedWork});
    }
    auto document = GraphDocument::load(_path, warnings, _settings.load);
    if (!document) {
        return zrk::refused(std::move(document.error()));
    }
    replace(std::move(*document));
    _file.look(_path);
    _changedAt.reset();
    removeRecovery();
    deliver();
    return {};
}

std::filesystem::path EditSession::recoveryPath() const
{
    const std::filesystem::path path(_document.name());
    if (_settings.recoveryFolder.empty()) {
        return path.parent_path() / ("." + path.filename().string() + ".recovery");
    }
    // Documents of one name in several folders have files of their own.
    const auto whole = std::filesystem::absolute(path).lexically_normal().string();
    return _settings.recoveryFolder /
           fmt::format("{}-{:016x}.recovery", path.filename().string(), std::hash<std::string>()(whole));
}

zrk::Result<void> EditSession::tick()
{
    if (!_changedAt || !_offer.empty() || now() - *_changedAt < _settings.recoverySeconds ||
        !_marks.empty() || _isApplying) {
        return {};
    }
    if (!isModified()) {
        removeRecovery();
        _changedAt.reset();
        return {};
    }
    const auto written = writeText(recoveryPath().string(), _document.toText());
    _hasRecovery = _hasRecovery || written;
    _changedAt = written ? std::nullopt : std::optional(now());
    return written;
}

zrk::Result<void> EditSession::recover(DocumentWarnings& warnings)
{
    if (_isApplying || !_marks.empty()) {
        return zrk::refused(busy());
    }
    if (_offer.empty()) {
        return zrk::refused({_document.name(), "no recovery file", "one that is newer than the document",
                             "go on with the document as it is", zrk::FaultKind::FailedWork});
    }
    auto document = GraphDocument::parse(textOf(_offer), _document.name(), warnings, _settings.load);
    if (!document) {
        return zrk::refused(std::move(document.error()));
    }
    replace(std::move(*document));
    _history.forgetClean();
    _offer.clear(); // it stays until the document is saved or closed
    _hasRecovery = true;
    tell({EditEvent::Kind::Modified});
    deliver();
    return {};
}

void EditSession::discardRecovery()
{
    std::error_code ignored;
    if (!_offer.empty()) {
        std::filesystem::remove(_offer, ignored);
        _offer.clear();
    }
}

/// Removes what this session has written, or taken over, and not what another one has.
void EditSession::removeRecovery()
{
    std::error_code ignored;
    if (std::exchange(_hasRecovery, false)) {
        std::filesystem::remove(recoveryPath(), ignored);
    }
}

void EditSession::close()
{
    removeRecovery();
    _changedAt.reset();
}

} // namespace zrkmodel
