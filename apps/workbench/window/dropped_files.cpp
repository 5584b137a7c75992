#include "apps/workbench/window/dropped_files.h"

#include "core/engine/prepared_field.h"
#include "model/graph_object.h"
#include "model/held_data.h"

#include <QUuid>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::GraphDocument;
using zrkmodel::ZRKJson;

namespace {

constexpr double kFilePitch = 192; ///< from one node to that of the next file, downwards

std::string extensionOf(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

/// A path as a document in its folder names it.
std::string pathFrom(const std::string& document, const std::filesystem::path& path)
{
    const auto folder =
        std::filesystem::absolute(std::filesystem::path(document).parent_path()).lexically_normal();
    const auto whole = std::filesystem::absolute(path).lexically_normal();
    const auto relative = whole.lexically_relative(folder);
    return (relative.empty() ? whole : relative).string();
}

/// A document of the node that shows a file.
ZRKJson documentOf(const std::string& file, DroppedKind kind, const std::string& unit)
{
    ZRKJson document{{"zrkGraph", 1}};
    if (!unit.empty()) {
        document["context"] = {{"unit", unit}};
    }
    ZRKJson node{{"id", 1}};
    if (kind == DroppedKind::Mesh) {
        node["type"] = "ZRKMeshSDF";
        node["import"] = {{"path", file}, {"polygons", "split"}, {"fit", "uniform"}};
    } else {
        const bool isVolume = kind == DroppedKind::Volume;
        const std::string uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
        document["resources"] =
            ZRKJson::array({{{"uuid", uuid}, {"kind", isVolume ? "image3d" : "image2d"}, {"path", file}}});
        node["type"] = isVolume ? "ZRK3DImage" : "ZRKRGBAImageSampler";
        node["values"] = {{"image", uuid}, {"wrap", false}};
    }
    document["nodes"] = ZRKJson::array({node});
    return document;
}

/// Whether the node has what the file was to give it.
bool hasData(const GraphDocument& part)
{
    const auto& node = *part.graph()->getNodePtr(1)->object;
    return dynamic_cast<const zrkmodel::ZRKDataHolder&>(node).held().parts[0].data != nullptr;
}

/// Why an import gave nothing. Its warning names a node that isn't there then, and tells after a semicolon
/// what becomes of the node's data.
zrk::Fault unreadable(const std::filesystem::path& path, const zrkmodel::DocumentWarnings& warnings)
{
    if (warnings.empty()) {
        return {path.string(), "nothing to show", "a file with something in it", "look what it holds"};
    }
    zrk::Fault fault = warnings.front();
    const std::string_view node = "\"import\", ";
    if (const std::size_t at = fault.place.find(node); at != std::string::npos) {
        fault.place.erase(0, at + node.size());
    }
    fault.remedy = fault.remedy.substr(0, fault.remedy.find(';')) + "; nothing is added";
    return fault;
}

/// Where a new node shows all that it has.
ZRKJson boundsOf(DroppedKind kind)
{
    return kind == DroppedKind::Mesh ? ZRKJson{{-0.5, -0.5, -0.5}, {5.5, 5.5, 5.5}}
                                     : ZRKJson{{0, 0, 0}, {1, 1, 1}};
}

} // namespace

bool isDocumentName(const std::filesystem::path& path) { return extensionOf(path) == ".json"; }

DroppedKind kindOf(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        return DroppedKind::Volume;
    }
    static const std::set<std::string> pictures = {".png", ".jpg", ".jpeg", ".tif", ".tiff"};
    static const std::set<std::string> meshes = {".obj", ".stl", ".ply", ".3mf"};
    const std::string extension = extensionOf(path);
    return isDocumentName(path)           ? DroppedKind::Document
           : extension == ".npy"          ? DroppedKind::Volume
           : pictures.contains(extension) ? DroppedKind::Picture
           : meshes.contains(extension)   ? DroppedKind::Mesh
                                          : DroppedKind::Unknown;
}

ReadFile readFile(const std::filesystem::path& path, const std::string& document, const std::string& unit,
                  const zrkmodel::LoadSettings& load)
{
    ReadFile read{path, kindOf(path), zrk::refused({})};
    if (read.kind == DroppedKind::Unknown || read.kind == DroppedKind::Document) {
        read.part =
            zrk::refused({path.string(), "a file of an unknown kind",
                          "a picture (PNG, JPEG, TIFF), a volume (NumPy, a folder of slices) or a mesh "
                          "(OBJ, STL, PLY, 3MF)",
                          "convert it to one of these"});
    } else if (std::error_code missing; !std::filesystem::exists(path, missing)) {
        read.part = zrk::refused(
            {path.string(), "no such file", "one that can be read", "look whether it was moved"});
    } else {
        read.part = zrk::attempt(path.string(), [&] {
            const ZRKJson text = documentOf(pathFrom(document, path), read.kind, unit);
            auto part = GraphDocument::parse(text.dump(-1, ' ', false, ZRKJson::error_handler_t::replace),
                                             document, read.warnings, load);
            if (part) {
                (void)zrk::PreparedField(part->outputField({1, 0}).value().field); // has pictures converted
            }
            return part && !hasData(*part) ? zrk::refused(unreadable(path, read.warnings)) : std::move(part);
        });
    }
    return read;
}

zrk::Result<std::vector<std::uint16_t>> addFiles(EditSession& session, std::vector<ReadFile> files,
                                                 std::array<double, 2> position)
{
    std::vector<std::uint16_t> added;
    const bool isFirst = session.document().graph()->nodes().empty();
    const std::string name =
        files.size() == 1 ? files.front().path.filename().string() : std::to_string(files.size()) + " files";
    const auto done = session.macro("Add " + name, [&]() -> zrk::Result<void> {
        for (std::size_t i = 0; i < files.size(); ++i) {
            const auto ids = session.addLoaded(std::move(*files[i].part));
            if (!ids) {
                return zrk::refused(ids.error());
            }
            added.push_back(ids->front());
            const double y = position[1] + kFilePitch * static_cast<double>(i);
            if (auto moved = session.move({{added.back(), position[0], y}}); !moved) {
                return moved;
            }
        }
        session.select(added);
        if (!isFirst) {
            return {};
        }
        return session.setContext("modelBounds", boundsOf(files.front().kind)).and_then([&] {
            return session.setOutput(zrkmodel::PinAddress{added.front(), 0});
        });
    });
    if (!done) {
        return zrk::refused(done.error());
    }
    return added;
}

} // namespace zrkworkbench
