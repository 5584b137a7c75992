#pragma once

#include <QDateTime>
#include <QString>

#include <memory>
#include <vector>

class QLockFile;

namespace zrkworkbench {

/// The place of a document that has no file yet: a recovery file that belongs to this program while the
/// object lives.
class UnsavedPlace {
public:
    /// A new place for a document of this name. Null where the folder can't be written.
    static std::shared_ptr<UnsavedPlace> create(const QString& folder, const QString& name);
    /// Takes the place that a program left whose end came too soon; null while that program runs.
    static std::shared_ptr<UnsavedPlace> take(const QString& file);
    ~UnsavedPlace();

    const QString& file() const { return _file; }
    /// The document's name, such as "untitled.zrk.json".
    QString name() const;
    QDateTime changed() const;
    void removeFile() const;

private:
    UnsavedPlace(QString file, std::unique_ptr<QLockFile> lock);

    QString _file;
    std::unique_ptr<QLockFile> _lock;
};

/// What programs left in a folder that were ended before their documents had a file: the newest first,
/// without those of programs that still run.
std::vector<std::shared_ptr<UnsavedPlace>> leftDocuments(const QString& folder);

} // namespace zrkworkbench
