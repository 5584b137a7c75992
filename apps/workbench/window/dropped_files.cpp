#include "apps/workbench/window/dropped_files.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::NewNode;
using zrkmodel::ZRKJson;

namespace {

std::string extensionOf(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

/// A path as a document in `folder` names it.
std::string pathFrom(const EditSession& session, const std::filesystem::path& path)
{
    const auto folder =
        std::filesystem::absolute(std::filesystem::path(session.document().name()).parent_path())
            .lexically_normal();
    const auto whole = std::filesystem::absolute(path).lexically_normal();
    const auto relative = whole.lexically_relative(folder);
    return (relative.empty() ? whole : relative).string();
}

zrk::Result<NewNode> imageNode(EditSession& session, const std::filesystem::path& path, bool isVolume,
                               zrkmodel::DocumentWarnings& warnings, zrk::ProgressMonitor* monitor)
{
    const ZRKJson entry{{"kind", isVolume ? "image3d" : "image2d"}, {"path", pathFrom(session, path)}};
    return session.addResource(entry, &warnings, monitor).map([&](const std::string& uuid) {
        NewNode node;
        node.type = isVolume ? "ZRK3DImage" : "ZRKRGBAImageSampler";
        node.values = ZRKJson{{"image", uuid}, {"wrap", false}};
        return node;
    });
}

NewNode meshNode(const EditSession& session, const std::filesystem::path& path)
{
    NewNode node;
    node.type = "ZRKMeshSDF";
    node.import = ZRKJson{{"path", pathFrom(session, path)}, {"polygons", "split"}, {"fit", "uniform"}};
    return node;
}

/// Where a new node shows all that it has.
ZRKJson boundsOf(DroppedKind kind)
{
    return kind == DroppedKind::Mesh ? ZRKJson{{-0.5, -0.5, -0.5}, {5.5, 5.5, 5.5}}
                                     : ZRKJson{{0, 0, 0}, {1, 1, 1}};
}

} // namespace

DroppedKind kindOf(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        return DroppedKind::Volume;
    }
    static const std::set<std::string> pictures = {".png", ".jpg", ".jpeg", ".tif", ".tiff"};
    static const std::set<std::string> meshes = {".obj", ".stl", ".ply", ".3mf"};
    const std::string extension = extensionOf(path);
    return extension == ".json"           ? DroppedKind::Document
           : extension == ".npy"          ? DroppedKind::Volume
           : pictures.contains(extension) ? DroppedKind::Picture
           : meshes.contains(extension)   ? DroppedKind::Mesh
                                          : DroppedKind::Unknown;
}

zrk::Result<std::uint16_t> addFile(EditSession& session, const std::filesystem::path& path,
                                   std::array<double, 2> position, zrkmodel::DocumentWarnings& warnings,
                                   zrk::ProgressMonitor* monitor)
{
    const DroppedKind kind = kindOf(path);
    if (kind == DroppedKind::Unknown || kind == DroppedKind::Document) {
        return zrk::refused({path.string(), "a file of an unknown kind",
                             "a picture (PNG, JPEG, TIFF), a volume (NumPy, a folder of slices) or a mesh "
                             "(OBJ, STL, PLY, 3MF)",
                             "convert it to one of these"});
    }
    if (std::error_code missing; !std::filesystem::exists(path, missing)) {
        return zrk::refused(
            {path.string(), "no such file", "one that can be read", "look whether it was moved"});
    }
    std::uint16_t added = 0;
    const bool isFirst = session.document().graph()->nodes().empty();
    const auto done = session.macro("Add " + path.filename().string(), [&]() -> zrk::Result<void> {
        auto node = kind == DroppedKind::Mesh
                        ? zrk::Result<NewNode>(meshNode(session, path))
                        : imageNode(session, path, kind == DroppedKind::Volume, warnings, monitor);
        if (!node) {
            return zrk::refused(std::move(node.error()));
        }
        node->position = position;
        const auto id = session.addNode(*node, &warnings);
        if (!id) {
            return zrk::refused(id.error());
        }
        added = *id;
        if (isFirst) {
            if (auto set = session.setContext("modelBounds", boundsOf(kind)); !set) {
                return set;
            }
            return session.setOutput(zrkmodel::PinAddress{added, 0});
        }
        return {};
    });
    if (!done) {
        return zrk::refused(done.error());
    }
    session.select({added});
    return added;
}

} // namespace zrkworkbench
