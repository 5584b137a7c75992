#include "host/image_resource.h"

#include "formats/npy_reader.h"
#include "formats/png_reader.h"
#include "formats/slice_stack.h"
#include "host/document_values.h"
#include "host/error.h"

#include <fmt/core.h>

#include <new>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

[[noreturn]] void refuse(const std::string& place, const std::filesystem::path& path,
                         const std::string& fault, const char* remedy)
{
    throw hostError(HostError::kBadInput, fmt::format("{}, \"path\", {}", place, path.string()), fault,
                    remedy);
}

/// The file or folder that an entry names.
std::filesystem::path pathOf(const ZRKJson& entry, const std::filesystem::path& folder,
                             const std::string& place)
{
    const auto member = entry.find("path");
    if (member == entry.end() || !member->is_string() || member->get<std::string>().empty()) {
        throw hostError(HostError::kBadInput, place + ", \"path\"",
                        "found " + (member == entry.end() ? "none" : shown(*member)) +
                            ", expected the image's path",
                        "write \"path\": \"...\", relative to the document");
    }
    return folder / member->get<std::string>();
}

std::vector<ZRKImage3d::Channel> readStack(const std::filesystem::path& path, const std::string& place,
                                           zrk::ProgressMonitor* monitor)
{
    zrk::ChannelStack stack = zrk::readStackFolder(path, monitor);
    if (stack.state == zrk::StackState::Stopped) {
        throw hostError(HostError::kInterrupted, path.string(), "loading was stopped", "start it again");
    }
    if (stack.state == zrk::StackState::Refused) {
        refuse(place, stack.fault.path, stack.fault.finding,
               "name a folder with whole PNG slices that are alike: remove this one, or mend it");
    }
    return std::move(stack.channels);
}

std::vector<ZRKImage3d::Channel> readArray(const std::filesystem::path& path, const std::string& place)
{
    std::string fault;
    auto channel = zrk::readNpyFile(path, &fault);
    if (!channel) {
        refuse(place, path, fault,
               "name a folder of PNG slices, or save the volume with numpy.save as uint8, uint16, float32 or "
               "float64");
    }
    std::vector<ZRKImage3d::Channel> channels;
    channels.push_back(std::move(*channel));
    return channels;
}

} // namespace

std::shared_ptr<ZRKImage2d> readImage2d(const ZRKJson& entry, const std::filesystem::path& folder,
                                        const std::string& place)
{
    const std::filesystem::path path = pathOf(entry, folder, place);
    std::string fault;
    auto channels = zrk::readPngFile(path, &fault);
    if (!channels) {
        refuse(place, path, fault,
               "name a whole PNG picture; relative paths start from the document's folder");
    }
    return std::make_shared<ZRKImage2d>(std::move(*channels));
}

std::shared_ptr<ZRKImage3d> readImage3d(const ZRKJson& entry, const std::filesystem::path& folder,
                                        const std::string& place, zrk::ProgressMonitor* monitor)
{
    const std::filesystem::path path = pathOf(entry, folder, place);
    std::error_code error;
    return std::make_shared<ZRKImage3d>(std::filesystem::is_directory(path, error)
                                            ? readStack(path, place, monitor)
                                            : readArray(path, place));
}

} // namespace zrkmodel
