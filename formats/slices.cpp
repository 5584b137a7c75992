#include "formats/slices.h"

#include "core/engine/worker_team.h"
#include "core/values/stop.h"
#include "formats/file_bytes.h"
#include "formats/file_name.h"
#include "formats/picture_file.h"
#include "formats/png.h"
#include "formats/tiff.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace zrk {

namespace {

using Channels = std::vector<ImageChannel<2>>;
using Extents = std::array<std::int32_t, 2>;

/// Slices as they came from their files.
using DecodedSlices = std::vector<Result<Channels>>;

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
    using Reader = Result<Channels> (*)(const std::filesystem::path&);

    ParallelDecoder(const Paths& paths, ProgressMonitor* monitor, std::uint64_t mostPixels, Reader read)
        : _paths(paths), _mostPixels(mostPixels), _monitor(monitor), _read(read), _slices(paths.size())
    {}

    Result<DecodedSlices> run()
    {
        bool isFinished = false;
        try {
            isFinished = runReportedTeam(
                std::min(workerCount(0), _paths.size()), {_monitor, _paths.size(), kReportMilliseconds},
                [this](std::size_t, std::size_t, ProgressManager& progress) { return decodeRest(progress); });
        } catch (const Refusal&) {
        }
        if (_pixels > _mostPixels) {
            return refused(
                {_paths.front().string(),
                 "this and other slices of more than " + std::to_string(_mostPixels) + " pixels together",
                 "at most " + std::to_string(_mostPixels), "load fewer slices, or smaller ones",
                 FaultKind::FailedWork});
        }
        for (const Result<Channels>& slice : _slices) {
            if (isFailedWork(slice)) {
                return refused(slice.error());
            }
        }
        if (!isFinished) {
            return refused(interruptedAt(_paths.front().string()));
        }
        return std::move(_slices);
    }

private:
    static constexpr unsigned kReportMilliseconds = 20;

    const Paths& _paths;
    std::uint64_t _mostPixels;
    ProgressMonitor* _monitor;
    Reader _read;
    DecodedSlices _slices;
    std::atomic<std::size_t> _next{0};
    std::atomic<std::uint64_t> _pixels{0};

    /// Thrown to end the work of all; what stands in the slices tells why.
    struct Refusal {};

    /// Takes slices until none is left. False when it was stopped before.
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

    /// For want of memory: that the file could be read later or elsewhere keeps it from being left out.
    static bool isFailedWork(const Result<Channels>& slice)
    {
        return !slice && slice.error().kind == FaultKind::FailedWork;
    }

    /// The pixels of all slices only grow, so that whichever come first, the same stacks are too large.
    void decode(std::size_t i)
    {
        _slices[i] = _read(_paths[i]);
        if (_slices[i]) {
            const Extents size = extents(_slices[i]->front());
            _pixels += static_cast<std::uint64_t>(size[0]) * static_cast<std::uint64_t>(size[1]);
        }
        if (_pixels > _mostPixels || isFailedWork(_slices[i])) {
            throw Refusal();
        }
    }
};

/// Nothing for a path that is to be read.
std::optional<Fault> pathFault(const std::filesystem::path& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return Fault{path.string(), "no file", "a picture", "check the path"};
    }
    if (status.type() == std::filesystem::file_type::none) {
        throw std::filesystem::filesystem_error("exists", path, error);
    }
    if (!isSliceName(path)) {
        return Fault{path.string(), "another kind of file", "the extension .png or .PNG",
                     "save it as PNG, with that extension"};
    }
    return std::nullopt;
}

/// Appends a channel's values with 8 bit.
void appendGrey(const ImageChannel<2>& channel, std::vector<std::uint8_t>& voxels)
{
    std::visit(
        [&]<class T>(const Raster<1, 2, T>& raster) {
            StopLookout lookout;
            for (const T value : raster.data) {
                lookout.step();
                if constexpr (std::is_same_v<T, std::uint16_t>) {
                    voxels.push_back(static_cast<std::uint8_t>(value >> 8));
                } else {
                    voxels.push_back(static_cast<std::uint8_t>(value));
                }
            }
        },
        channel);
}

Fault unlikeSlice(const std::filesystem::path& path, const std::string& found, const std::string& expected)
{
    return {path.string(), found, expected + " as in the first slice", "make all slices alike"};
}

/// Takes the fit ones among decoded slices together.
GreyStack assembled(const Paths& paths, DecodedSlices slices)
{
    GreyStack stack;
    std::optional<Extents> size;
    std::int32_t count = 0;
    for (std::size_t i = 0; i < slices.size(); ++i) {
        if (!slices[i]) {
            stack.leftOut.push_back(std::move(slices[i].error()));
            continue;
        }
        const ImageChannel<2>& grey = slices[i]->front();
        if (size && extents(grey) != *size) {
            stack.leftOut.push_back(unlikeSlice(paths[i], shown(extents(grey)), shown(*size)));
            continue;
        }
        if (!size) {
            size = extents(grey);
            const auto left = static_cast<std::uint64_t>(slices.size() - i);
            stack.voxels.data.reserve(left * static_cast<std::uint64_t>((*size)[0]) *
                                      static_cast<std::uint64_t>((*size)[1]));
        }
        appendGrey(grey, stack.voxels.data);
        slices[i]->clear();
        ++count;
    }
    if (size) {
        stack.voxels.resize({(*size)[0], (*size)[1], count});
    }
    return stack;
}

/// The kinds of pictures that a folder's slices may be, with their extensions.
struct SliceKind {
    const char* name;
    std::string_view extension;
    std::string_view longExtension;
};
constexpr SliceKind kSliceKinds[] = {
    {"PNG", ".png", ".png"}, {"JPEG", ".jpg", ".jpeg"}, {"TIFF", ".tif", ".tiff"}};

/// Null for a file that is no slice: its extension is another, or in both cases of letters.
const SliceKind* sliceKind(const std::filesystem::path& path)
{
    const std::string extension = path.extension().string();
    const std::string lower = extensionOf(path.string());
    const bool isMixed = extension != lower && std::any_of(extension.begin(), extension.end(),
                                                           [](char c) { return c >= 'a' && c <= 'z'; });
    const auto* kind = std::find_if(std::begin(kSliceKinds), std::end(kSliceKinds), [&](const SliceKind& k) {
        return !isMixed && (lower == k.extension || lower == k.longExtension);
    });
    return kind == std::end(kSliceKinds) ? nullptr : kind;
}

/// The files of a folder that are named as slices, in order.
Result<Paths> slicesIn(const std::filesystem::path& folder)
{
    std::error_code error;
    Paths paths;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (sliceKind(entry->path())) {
            paths.push_back(entry->path());
        }
    }
    if (error) {
        return refused({folder.string(), "no readable folder (" + error.message() + ")", "one with slices",
                        "check the path"});
    }
    if (paths.empty()) {
        return refused({folder.string(), "no slice", "files with the extension .png, .jpg or .tif",
                        "save the slices as PNG, JPEG or TIFF, with that extension"});
    }
    std::sort(paths.begin(), paths.end(),
              [](const auto& a, const auto& b) { return a.filename().native() < b.filename().native(); });
    for (const std::filesystem::path& path : paths) {
        if (sliceKind(path) != sliceKind(paths.front())) {
            return refused({path.string(),
                            sliceKind(path)->name + std::string(" beside ") + sliceKind(paths.front())->name,
                            "slices of one kind in a folder", "move what is no slice into another folder"});
        }
    }
    return paths;
}

/// What slices of one stack have in common, in words.
std::string form(const Channels& channels)
{
    return shown(extents(channels.front())) + " of " + std::to_string(channels.size()) +
           (channels.size() == 1 ? " channel" : " channels") + " of " +
           (channels.front().index() == 1 ? "16 bit" : "8 bit");
}

/// One channel of all slices, which are alike; frees the slices' own.
ImageChannel<3> stacked(DecodedSlices& slices, std::size_t channel)
{
    return std::visit(
        [&]<class T>(const Raster<1, 2, T>& first) -> ImageChannel<3> {
            const std::size_t pixels = first.data.size();
            Raster<1, 3, T> volume(first.dims[0], first.dims[1], slices.size());
            for (std::size_t k = 0; k < slices.size(); ++k) {
                stopIfAsked();
                auto& slice = std::get<Raster<1, 2, T>>((*slices[k])[channel]);
                std::copy(slice.data.begin(), slice.data.end(),
                          volume.data.begin() + static_cast<std::ptrdiff_t>(k * pixels));
                slice.data = {};
            }
            return volume;
        },
        (*slices.front())[channel]);
}

Result<std::vector<ImageChannel<3>>> joined(const Paths& paths, DecodedSlices slices)
{
    for (std::size_t i = 0; i < slices.size(); ++i) {
        if (!slices[i]) {
            return refused(std::move(slices[i].error()));
        }
        if (form(*slices[i]) != form(*slices.front())) {
            return refused(unlikeSlice(paths[i], form(*slices[i]), form(*slices.front())));
        }
    }
    std::vector<ImageChannel<3>> channels;
    const std::size_t count = slices.front()->size();
    for (std::size_t c = 0; c < count; ++c) {
        channels.push_back(stacked(slices, c));
    }
    return channels;
}

} // namespace

bool isSliceName(const std::filesystem::path& path)
{
    const std::filesystem::path extension = path.extension();
    return extension == ".png" || extension == ".PNG";
}

Result<GreyStack> readGreyStack(Paths paths, ProgressMonitor* monitor, std::uint64_t mostVoxels)
{
    std::sort(paths.begin(), paths.end(),
              [](const auto& a, const auto& b) { return a.native() < b.native(); });
    Paths readable;
    std::vector<Fault> unnamed;
    for (const std::filesystem::path& path : paths) {
        if (std::optional<Fault> fault = pathFault(path)) {
            unnamed.push_back(std::move(*fault));
        } else {
            readable.push_back(path);
        }
    }
    if (readable.empty()) {
        return GreyStack{{}, std::move(unnamed)};
    }
    return attempt(readable.front().string(), [&] {
        return ParallelDecoder(readable, monitor, mostVoxels, readPngFile)
            .run()
            .map([&](DecodedSlices slices) {
                GreyStack stack = assembled(readable, std::move(slices));
                stack.leftOut.insert(stack.leftOut.begin(), unnamed.begin(), unnamed.end());
                return stack;
            });
    });
}

Result<std::vector<ImageChannel<3>>> readStackFolder(const std::filesystem::path& folder,
                                                     ProgressMonitor* monitor, std::uint64_t mostVoxels)
{
    return attempt(folder.string(), [&] {
        return slicesIn(folder).and_then([&](const Paths& paths) {
            return ParallelDecoder(paths, monitor, mostVoxels, readPictureFile)
                .run()
                .and_then([&](DecodedSlices slices) { return joined(paths, std::move(slices)); });
        });
    });
}

Result<std::vector<ImageChannel<3>>> readStackFile(const std::filesystem::path& path,
                                                   ProgressMonitor* monitor, std::uint64_t mostVoxels)
{
    return readFileBytes(path, kMaxPngFileBytes, monitor)
        .and_then([&](const std::vector<std::uint8_t>& bytes) {
            return readTiffPages(bytes, path.string(), mostVoxels).and_then([&](std::vector<Channels> pages) {
                return attempt(path.string(), [&] {
                    Paths names;
                    DecodedSlices slices;
                    for (std::size_t i = 0; i < pages.size(); ++i) {
                        names.push_back(path.string() + ", page " + std::to_string(i + 1));
                        slices.emplace_back(std::move(pages[i]));
                    }
                    return joined(names, std::move(slices));
                });
            });
        });
}

} // namespace zrk
