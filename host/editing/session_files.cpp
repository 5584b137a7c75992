#include "formats/file_bytes.h"
#include "formats/limits.h"
#include "host/editing/edit_session.h"
#include "host/stored_paths.h"
#include "model/graph_object.h"

#include <fmt/core.h>

#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr std::size_t kLongestName = 200; ///< bytes, so that what is added leaves a name that disks take

/// Of an ordinary file that a document might be.
zrk::Result<std::string> textOf(const std::filesystem::path& path)
{
    return zrk::readFileBytes(path, zrk::kMaxDocumentBytes).map([](const std::vector<std::uint8_t>& bytes) {
        return std::string(bytes.begin(), bytes.end());
    });
}

/// Whether a recovery file holds something that its document doesn't.
bool isWorthOffering(const std::filesystem::path& recovery, const std::string& path)
{
    const zrk::Result<std::string> kept = textOf(recovery);
    const zrk::Result<std::string> saved = textOf(path);
    return kept && !(saved && *kept == *saved);
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
        if (!missing && kept >= saved && isWorthOffering(recovery, path)) {
            session->_offer = recovery;
        }
        return session;
    });
}

zrk::Result<std::unique_ptr<EditSession>> EditSession::openUnnamed(const std::filesystem::path& recovery,
                                                                   const std::string& name,
                                                                   DocumentWarnings& warnings,
                                                                   EditSettings settings)
{
    return GraphDocument::load(recovery.string(), warnings, settings.load).map([&](GraphDocument document) {
        document.moveTo(name);
        settings.unnamedRecovery = recovery;
        auto session = std::make_unique<EditSession>(std::move(document), std::move(settings));
        session->_history.forgetClean();
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

zrk::Result<PendingSave> EditSession::startSaving(const std::string& path, bool overwrites)
{
    if (const auto free = checkFree(); !free) {
        return zrk::refused(free.error());
    }
    PendingSave save;
    save._path = path.empty() ? _path : path;
    if (save._path.empty()) {
        return zrk::refused({_document.name(), "no file", "a path to save to", "save under a name"});
    }
    save._keepsOthers = save._path == _path && !overwrites;
    save._file = _file;
    return zrk::attempt(save._path, [&]() -> zrk::Result<PendingSave> {
        GraphDocument moved = _document; // of the same nodes; the session's own stays until all is written
        moved.moveTo(save._path);
        save._text = moved.toText();
        save._changedAt = std::exchange(_changedAt, std::nullopt);
        _history.beginSaving();
        _isSaving = true;
        return std::move(save);
    });
}

zrk::Result<void> EditSession::finishSaving(const PendingSave& saved)
{
    if (isBusy()) {
        return zrk::refused(busy());
    }
    _isSaving = false;
    if (saved._isRecovery) {
        _hasRecovery = _hasRecovery || saved.outcome();
        _changedAt = saved.outcome() ? _changedAt : std::optional(now());
        return saved.outcome();
    }
    const bool wasModified = isModified();
    _history.endSaving(saved.outcome().has_value());
    if (!saved.outcome()) {
        _changedAt = saved._changedAt ? saved._changedAt : _changedAt;
        return saved.outcome();
    }
    rebase(wholeFolder(folder()), wholeFolder(std::filesystem::path(saved._path).parent_path()));
    removeRecovery(); // what was changed since will be in another one
    _path = saved._path;
    _parts.rename(_path);
    _file = saved._file;
    if (isModified() != wasModified) {
        tell({EditEvent::Kind::Modified});
    }
    deliver();
    return {};
}

zrk::Result<void> EditSession::save(const std::string& path, bool overwrites)
{
    return startSaving(path, overwrites).and_then([&](PendingSave save) {
        save.write();
        return finishSaving(save);
    });
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

std::filesystem::path EditSession::recoveryPath() const
{
    if (_path.empty()) {
        return _settings.unnamedRecovery;
    }
    const std::filesystem::path path(_document.name());
    const std::string name = path.filename().string();
    const bool isShort = name.size() <= kLongestName;
    if (_settings.recoveryFolder.empty() && isShort) {
        return path.parent_path() / ("." + name + ".recovery");
    }
    // Documents of one name in several folders, and those whose names leave no room, have files of their own.
    const auto whole = std::filesystem::absolute(path).lexically_normal().string();
    const std::string own = fmt::format("{:016x}.recovery", std::hash<std::string>()(whole));
    return _settings.recoveryFolder.empty() ? path.parent_path() / ("." + own)
                                            : _settings.recoveryFolder / (isShort ? name + "-" + own : own);
}

zrk::Result<void> EditSession::tick()
{
    std::optional<PendingSave> due = startRecovery();
    if (!due) {
        return {};
    }
    due->write();
    return finishSaving(*due);
}

std::optional<PendingSave> EditSession::startRecovery()
{
    if (!_changedAt || !_offer.empty() || now() - *_changedAt < _settings.recoverySeconds || !checkFree() ||
        recoveryPath().empty()) {
        return std::nullopt;
    }
    if (!isModified()) {
        removeRecovery();
        _changedAt.reset();
        return std::nullopt;
    }
    PendingSave due;
    due._isRecovery = true;
    due._path = recoveryPath().string();
    if (_path.empty()) {
        GraphDocument moved = _document; // it is read from there, whatever folder it was made in
        moved.moveTo(due._path);
        due._text = moved.toText();
    } else {
        due._text = _document.toText();
    }
    _changedAt.reset();
    _isSaving = true;
    return due;
}

zrk::Result<void> EditSession::recover(DocumentWarnings& warnings)
{
    if (const auto free = checkFree(); !free) {
        return free;
    }
    if (_offer.empty()) {
        return zrk::refused({_document.name(), "no recovery file", "one that is newer than the document",
                             "go on with the document as it is", zrk::FaultKind::FailedWork});
    }
    auto document = textOf(_offer).and_then([&](const std::string& text) {
        return GraphDocument::parse(text, _document.name(), warnings, _settings.load);
    });
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
