#include "formats/slice_stack.h"

#include "core/engine/worker_team.h"
#include "formats/png_reader.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace zrk {

namespace {

using Channels = std::vector<ImageChannel<2>>;
using Extents = std::array<std::int32_t, 2>;

/// A slice as it came from its file: channels, or what is the matter with it.
struct DecodedSlice {
    std::optional<Channels> channels;
    std::string fault;
};

constexpr const char* kTooMany = "found more voxels than the limit, expected a smaller stack";

Extents extents(const ImageChannel<2>& channel)
{
    return std::visit([](const auto& raster) { return Extents{raster.dims[0], raster.dims[1]}; }, channel);
}

std::string shown(const Extents& extents)
{
    return std::to_string(extents[0]) + " x " + std::to_string(extents[1]) + " pixels";
}

/// Decodes files on all cores, each worker taking the next one that is left.
class ParallelDecoder {
public:
    ParallelDecoder(const Paths& paths, ProgressMonitor* monitor)
        : _paths(paths), _monitor(monitor), _slices(paths.size())
    {}

    /// False when the monitor interrupts. Throws std::bad_alloc when a slice doesn't fit into memory.
    bool run()
    {
        return runReportedTeam(
            std::min(workerCount(0), _paths.size()), {_monitor, _paths.size(), kReportMilliseconds},
            [this](std::size_t, std::size_t, ProgressManager& progress) { return decodeRest(progress); });
    }
    std::vector<DecodedSlice>& slices() { return _slices; }

private:
    static constexpr unsigned kReportMilliseconds = 20;

    const Paths& _paths;
    ProgressMonitor* _monitor;
    std::vector<DecodedSlice> _slices;
    std::atomic<std::size_t> _next{0};
    std::atomic<std::uint64_t> _pixels{0};

    bool decodeRest(ProgressManager& progress)
    {
        while (!progress.shouldInterrupt()) {
            const std::size_t i = _next.fetch_add(1);
            if (i >= _slices.size()) {
                return true;
            }
            decode(i);
            progress.notifyProgressUpdate(std::this_thread::get_id(), 1);
        }
        return false;
    }

    void decode(std::size_t i)
    {
        DecodedSlice& slice = _slices[i];
        if (_pixels > kMaxStackVoxels) {
            slice.fault = kTooMany;
            return;
        }
        slice.channels = readPngFile(_paths[i], &slice.fault);
        if (slice.channels) {
            const Extents size = extents(slice.channels->front());
            _pixels += static_cast<std::uint64_t>(size[0]) * static_cast<std::uint64_t>(size[1]);
        }
    }
};

/// Empty for a path that is to be read.
std::string pathFault(const std::filesystem::path& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return "found no file, expected a picture";
    }
    if (status.type() == std::filesystem::file_type::none) {
        throw std::filesystem::filesystem_error("exists", path, error);
    }
    return isSliceName(path) ? "" : "found another kind of file, expected the extension .png or .PNG";
}

/// Appends a channel's values with 8 bit.
void appendGrey(const ImageChannel<2>& channel, std::vector<std::uint8_t>& voxels)
{
    std::visit(
        [&]<class T>(const Raster<1, 2, T>& raster) {
            for (const T value : raster.data) {
                if constexpr (std::is_same_v<T, std::uint16_t>) {
                    voxels.push_back(static_cast<std::uint8_t>(value >> 8));
                } else {
                    voxels.push_back(static_cast<std::uint8_t>(value));
                }
            }
        },
        channel);
}

/// Takes the fit ones among decoded slices together.
GreyStack assembled(const Paths& paths, std::vector<DecodedSlice>& slices)
{
    GreyStack stack;
    std::optional<Extents> size;
    std::int32_t count = 0;
    for (std::size_t i = 0; i < slices.size(); ++i) {
        if (!slices[i].channels) {
            stack.leftOut.push_back({paths[i], slices[i].fault});
            continue;
        }
        const ImageChannel<2>& grey = slices[i].channels->front();
        if (size && extents(grey) != *size) {
            stack.leftOut.push_back({paths[i], "found " + shown(extents(grey)) + ", expected " +
                                                   shown(*size) + " as in the first slice"});
            continue;
        }
        if (!size) {
            size = extents(grey);
            const auto left = static_cast<std::uint64_t>(slices.size() - i);
            stack.voxels.data.reserve(left * static_cast<std::uint64_t>((*size)[0]) *
                                      static_cast<std::uint64_t>((*size)[1]));
        }
        appendGrey(grey, stack.voxels.data);
        slices[i].channels.reset();
        ++count;
    }
    if (size) {
        stack.voxels.resize({(*size)[0], (*size)[1], count});
    }
    return stack;
}

/// The files of a folder that are named as slices, in order.
std::optional<Paths> slicesIn(const std::filesystem::path& folder, std::string& fault)
{
    std::error_code error;
    Paths paths;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (isSliceName(entry->path())) {
            paths.push_back(entry->path());
        }
    }
    if (error) {
        fault = "found no readable folder (" + error.message() + "), expected one with PNG slices";
        return std::nullopt;
    }
    if (paths.empty()) {
        fault = "found no slice, expected files with the extension .png or .PNG";
        return std::nullopt;
    }
    std::sort(paths.begin(), paths.end(),
              [](const auto& a, const auto& b) { return a.filename().native() < b.filename().native(); });
    return paths;
}

/// What tells two slices apart that can't be in one stack; empty when they can.
std::string difference(const Channels& slice, const Channels& first)
{
    const auto form = [](const Channels& channels) {
        return shown(extents(channels.front())) + " of " + std::to_string(channels.size()) +
               (channels.size() == 1 ? " channel" : " channels") + " of " +
               (channels.front().index() == 1 ? "16 bit" : "8 bit");
    };
    return form(slice) == form(first)
               ? ""
               : "found " + form(slice) + ", expected " + form(first) + " as in the first slice";
}

/// One channel of all slices, which are alike; frees the slices' own.
ImageChannel<3> stacked(std::vector<DecodedSlice>& slices, std::size_t channel)
{
    return std::visit(
        [&]<class T>(const Raster<1, 2, T>& first) -> ImageChannel<3> {
            const std::size_t pixels = first.data.size();
            Raster<1, 3, T> volume(first.dims[0], first.dims[1], slices.size());
            for (std::size_t k = 0; k < slices.size(); ++k) {
                auto& slice = std::get<Raster<1, 2, T>>((*slices[k].channels)[channel]);
                std::copy(slice.data.begin(), slice.data.end(),
                          volume.data.begin() + static_cast<std::ptrdiff_t>(k * pixels));
                slice.data = {};
            }
            return volume;
        },
        (*slices.front().channels)[channel]);
}

ChannelStack refusedStack(const std::filesystem::path& path, std::string finding)
{
    return {StackState::Refused, {}, {path, std::move(finding)}};
}

} // namespace

bool isSliceName(const std::filesystem::path& path)
{
    const std::filesystem::path extension = path.extension();
    return extension == ".png" || extension == ".PNG";
}

GreyStack readGreyStack(Paths paths, ProgressMonitor* monitor)
{
    std::sort(paths.begin(), paths.end(),
              [](const auto& a, const auto& b) { return a.native() < b.native(); });
    Paths readable;
    std::vector<SliceFault> unnamed;
    for (const std::filesystem::path& path : paths) {
        if (std::string fault = pathFault(path); fault.empty()) {
            readable.push_back(path);
        } else {
            unnamed.push_back({path, std::move(fault)});
        }
    }
    ParallelDecoder decoder(readable, monitor);
    if (!decoder.run()) {
        return {StackState::Stopped, {}, {}};
    }
    GreyStack stack = assembled(readable, decoder.slices());
    stack.leftOut.insert(stack.leftOut.begin(), unnamed.begin(), unnamed.end());
    return stack;
}

ChannelStack readStackFolder(const std::filesystem::path& folder, ProgressMonitor* monitor)
{
    std::string fault;
    const std::optional<Paths> paths = slicesIn(folder, fault);
    if (!paths) {
        return refusedStack(folder, fault);
    }
    ParallelDecoder decoder(*paths, monitor);
    if (!decoder.run()) {
        return {StackState::Stopped, {}, {}};
    }
    std::vector<DecodedSlice>& slices = decoder.slices();
    for (std::size_t i = 0; i < slices.size(); ++i) {
        fault =
            slices[i].channels ? difference(*slices[i].channels, *slices.front().channels) : slices[i].fault;
        if (!fault.empty()) {
            return refusedStack((*paths)[i], fault);
        }
    }
    ChannelStack stack;
    const std::size_t channelCount = slices.front().channels->size();
    for (std::size_t c = 0; c < channelCount; ++c) {
        stack.channels.push_back(stacked(slices, c));
    }
    return stack;
}

} // namespace zrk
