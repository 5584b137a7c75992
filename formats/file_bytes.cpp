#include "formats/file_bytes.h"

#include "core/engine/progress.h"
#include "core/values/large_pages.h"
#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "formats/input_file.h"

#include <algorithm>
#include <string>

namespace zrk {

namespace {

constexpr std::size_t kPiece = std::size_t{8} << 20; // read in some milliseconds

Result<std::vector<std::uint8_t>> bytesOf(const std::filesystem::path& path, std::size_t limit,
                                          ProgressMonitor* monitor)
{
    Result<InputFile> file = InputFile::open(path);
    if (!file) {
        return refused(file.error());
    }
    const auto refuse = [&path](std::string found, std::string expected) {
        return refused({path.string(), std::move(found), std::move(expected), "check the path and the file"});
    };
    if (file->size() > limit) {
        return refuse(std::to_string(file->size()) + " bytes", "at most " + std::to_string(limit));
    }
    constexpr std::uint64_t kLarge = std::uint64_t{16} << 20;
    if (file->size() > kLarge) {
        checkMemory(static_cast<double>(file->size()), path.string(),
                    "a file of " + std::to_string(file->size()) + " bytes", "name a smaller file");
    }
    std::vector<std::uint8_t> bytes;
    resizeInPieces(bytes, static_cast<std::size_t>(file->size()));
    for (std::size_t done = 0; done < bytes.size();) {
        stopIfAsked();
        if (monitor && monitor->interruptRequested()) {
            monitor->interruptAcknowledged();
            return refused(interruptedAt(path.string()));
        }
        const Result<std::size_t> read =
            file->read(bytes.data() + done, std::min(kPiece, bytes.size() - done), monitor);
        if (!read) {
            return refused(read.error());
        }
        done += *read;
    }
    return bytes;
}

} // namespace

Result<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit,
                                                ProgressMonitor* monitor)
{
    return attempt(path.string(), [&] { return bytesOf(path, limit, monitor); });
}

} // namespace zrk
