#include "apps/workbench/window/unsaved_documents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QUuid>

#include <utility>

namespace zrkworkbench {

namespace {

const char* const kUnsavedEnding = ".zrk.json";

/// A lock that is held, or null. It is stale as soon as its program has ended.
std::unique_ptr<QLockFile> lockOf(const QString& file)
{
    auto lock = std::make_unique<QLockFile>(file + ".lock");
    lock->setStaleLockTime(0);
    return lock->tryLock(0) ? std::move(lock) : nullptr;
}

} // namespace

UnsavedPlace::UnsavedPlace(QString file, std::unique_ptr<QLockFile> lock)
    : _file(std::move(file)), _lock(std::move(lock))
{}

UnsavedPlace::~UnsavedPlace() = default;

std::shared_ptr<UnsavedPlace> UnsavedPlace::create(const QString& folder, const QString& name)
{
    if (folder.isEmpty() || !QDir().mkpath(folder)) {
        return nullptr;
    }
    const QString stem = QFileInfo(name).fileName().section('.', 0, 0);
    const QString mark = QUuid::createUuid().toString(QUuid::Id128).left(12);
    return take(folder + "/" + stem + "-" + mark + kUnsavedEnding);
}

std::shared_ptr<UnsavedPlace> UnsavedPlace::take(const QString& file)
{
    auto lock = lockOf(file);
    return lock ? std::shared_ptr<UnsavedPlace>(new UnsavedPlace(file, std::move(lock))) : nullptr;
}

QString UnsavedPlace::name() const
{
    return QFileInfo(_file).fileName().section('-', 0, -2) + kUnsavedEnding;
}

QDateTime UnsavedPlace::changed() const { return QFileInfo(_file).lastModified(); }

void UnsavedPlace::removeFile() const { QFile::remove(_file); }

std::vector<std::shared_ptr<UnsavedPlace>> leftDocuments(const QString& folder)
{
    std::vector<std::shared_ptr<UnsavedPlace>> left;
    if (folder.isEmpty()) {
        return left;
    }
    const QDir kept(folder);
    for (const QString& name : kept.entryList({QString("*-*") + kUnsavedEnding}, QDir::Files, QDir::Time)) {
        if (auto place = UnsavedPlace::take(kept.filePath(name))) {
            left.push_back(std::move(place));
        }
    }
    return left;
}

} // namespace zrkworkbench
