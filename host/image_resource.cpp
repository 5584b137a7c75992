#include "host/image_resource.h"

#include "formats/file_name.h"
#include "formats/npy.h"
#include "formats/picture_file.h"
#include "formats/slices.h"
#include "host/document_values.h"

#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

using Volume = std::vector<ZRKImage3d::Channel>;

/// The file or folder that an entry names.
zrk::Result<std::filesystem::path> pathOf(const ZRKJson& entry, const DocumentPaths& paths,
                                          const std::string& place)
{
    const auto member = entry.find("path");
    if (member == entry.end() || !member->is_string() || member->get<std::string>().empty()) {
        return zrk::refused({place, shownMember(entry, "path"), "the image's path",
                             "write \"path\": \"...\", relative to the document"});
    }
    return zrk::attempt(place, [&] { return paths.find(member->get<std::string>(), place); });
}

zrk::Result<Volume> readVolume(const std::filesystem::path& path, zrk::ProgressMonitor* monitor)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return zrk::readStackFolder(path, monitor);
    }
    const std::string extension = zrk::extensionOf(path.string());
    if (extension == ".tif" || extension == ".tiff") {
        return zrk::readStackFile(path, monitor);
    }
    return zrk::readNpyFile(path).map([](ZRKImage3d::Channel channel) {
        Volume channels;
        channels.push_back(std::move(channel));
        return channels;
    });
}

/// A file's fault as the document's: at the place of the path, with another remedy for bad files.
auto ofDocument(const std::string& place, const char* remedy)
{
    return [&place, remedy](zrk::Fault fault) {
        if (fault.kind == zrk::FaultKind::BadInput) {
            fault.remedy = remedy;
        }
        return zrk::within(place, std::move(fault));
    };
}

} // namespace

zrk::Result<std::shared_ptr<ZRKImage2d>> readImage2d(const ZRKJson& entry, const DocumentPaths& paths,
                                                     const std::string& place)
{
    const std::string keyPlace = place + ", \"path\"";
    return pathOf(entry, paths, keyPlace).and_then([&](const std::filesystem::path& path) {
        return zrk::readPictureFile(path)
            .map([](std::vector<ZRKImage2d::Channel> channels) {
                return std::make_shared<ZRKImage2d>(std::move(channels));
            })
            .map_error(ofDocument(
                keyPlace,
                "name a whole PNG, JPEG or TIFF picture; relative paths start from the document's folder"));
    });
}

zrk::Result<std::shared_ptr<ZRKImage3d>> readImage3d(const ZRKJson& entry, const DocumentPaths& paths,
                                                     const std::string& place, zrk::ProgressMonitor* monitor)
{
    const std::string keyPlace = place + ", \"path\"";
    return pathOf(entry, paths, keyPlace).and_then([&](const std::filesystem::path& path) {
        return readVolume(path, monitor)
            .map([](Volume channels) { return std::make_shared<ZRKImage3d>(std::move(channels)); })
            .map_error(ofDocument(
                keyPlace, "name a folder of whole slices that are alike, all PNG, JPEG or TIFF, a TIFF "
                          "file of many pages, or a volume that numpy.save wrote as uint8, uint16, float32 "
                          "or float64"));
    });
}

} // namespace zrkmodel
