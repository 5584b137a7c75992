#include "apps/workbench/window/data_folder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace zrkworkbench {

namespace {

const char* const kFirstExample = "examples/sphere_and_twisted_gyroid.zrk.json";

QString captionOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    return root["view"].toObject()["caption"].toString();
}

QString picturePathOf(const QDir& gallery, const QString& stem)
{
    for (const char* ending : {"_solid.png", ".png"}) {
        if (gallery.exists(stem + ending)) {
            return gallery.filePath(stem + ending);
        }
    }
    return {};
}

} // namespace

QString dataFolder()
{
    QDir folder(QCoreApplication::applicationDirPath());
    for (int up = 0; up < 6; ++up) {
        for (const char* inner : {".", "share/zrk"}) {
            const QDir data(folder.filePath(inner));
            if (data.exists(kFirstExample)) {
                return QDir::cleanPath(data.absolutePath());
            }
        }
        if (!folder.cdUp()) {
            break;
        }
    }
    return {};
}

std::vector<Example> examples()
{
    std::vector<Example> all;
    const QString data = dataFolder();
    if (data.isEmpty()) {
        return all;
    }
    const QDir gallery(data + "/docs/pictures/gallery");
    const QDir folder(data + "/examples");
    const QString ending = ".zrk.json";
    for (const QString& file : folder.entryList({"*" + ending}, QDir::Files, QDir::Name)) {
        const QString stem = file.left(file.size() - ending.size());
        const QString picture = picturePathOf(gallery, stem);
        if (!picture.isEmpty()) {
            all.push_back({folder.filePath(file), QString(stem).replace('_', ' '),
                           captionOf(folder.filePath(file)), picture});
        }
    }
    return all;
}

QString firstExample()
{
    const QString data = dataFolder();
    return data.isEmpty() ? QString() : data + "/" + kFirstExample;
}

} // namespace zrkworkbench
