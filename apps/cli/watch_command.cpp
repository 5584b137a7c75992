#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/render_options.h"
#include "apps/cli/slice_options.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

namespace zrkcli {

namespace {

namespace fs = std::filesystem;

constexpr auto kInterval = std::chrono::milliseconds(50);

struct WatchOptions : SliceOptions {
    bool isSolid = false;
    std::string from;
};

/// What tells one state of a file from another: its name, size and time. An editor that writes a new file and
/// gives it the name of the old one changes the time too.
using FileState = std::tuple<fs::path, std::uintmax_t, fs::file_time_type>;
using FileStates = std::set<FileState>;

void addState(const fs::path& path, FileStates& states)
{
    std::error_code missing; // then size and time are the least there are
    states.emplace(path, fs::file_size(path, missing), fs::last_write_time(path, missing));
}

/// Those of the files, and of the files in the folders.
FileStates statesOf(const std::vector<fs::path>& paths)
{
    FileStates states;
    for (const fs::path& path : paths) {
        addState(path, states);
        std::error_code isNoFolder;
        for (fs::directory_iterator entry(path, isNoFolder), end; !isNoFolder && entry != end;
             entry.increment(isNoFolder)) {
            addState(entry->path(), states);
        }
    }
    return states;
}

/// Those that were the same at an earlier time.
FileStates statesBefore(const std::vector<fs::path>& paths, fs::file_time_type time)
{
    FileStates states = statesOf(paths);
    std::erase_if(states,
                  [&](const FileState& state) { return std::get<fs::file_time_type>(state) >= time; });
    return states;
}

void wait()
{
    std::this_thread::sleep_for(kInterval);
    zrk::stopIfAsked();
}

/// Returns when the files are others than they were, and have stayed so for a moment.
void awaitChange(const std::vector<fs::path>& paths, const FileStates& former)
{
    FileStates latest = statesOf(paths);
    while (latest == former) {
        wait();
        latest = statesOf(paths);
    }
    for (FileStates earlier; earlier != latest; latest = statesOf(paths)) {
        earlier = latest;
        wait();
    }
}

void draw(const WatchOptions& options, std::vector<fs::path>& files)
{
    if (!options.isSolid) {
        drawSlices(options, &files);
        return;
    }
    RenderOptions solid;
    static_cast<SamplingOptions&>(solid) = options;
    solid.file = options.file;
    solid.from = options.from;
    solid.iso = options.iso;
    solid.isDensity = options.isDensity;
    drawSolid(solid, &files);
}

/// Draws until somebody stops it. What can't be drawn is told; the next save may be better.
void watch(const WatchOptions& options)
{
    if (options.document == "-") {
        throw zrk::FaultError(
            {"watch", "standard input", "a file, which may change", "name the document's file"});
    }
    check(options);
    // What a file system writes down as the time of a change may be so much earlier.
    constexpr auto kClockStep = std::chrono::milliseconds(20);
    std::vector<fs::path> watched = {options.document};
    bool isFirst = true;
    while (true) {
        std::vector<fs::path> files = {options.document};
        const FileStates before = statesOf(watched);
        const auto begun = fs::file_time_type::clock::now() - kClockStep;
        const zrk::Result<void> drawn = zrk::attempt("watch", [&] { draw(options, files); });
        // Files that the document names are known now, and no change of them makes the target a better one.
        checkIsNotRead(options.file, files);
        if (!drawn) {
            if (drawn.error().kind == zrk::FaultKind::Interrupted ||
                (isFirst && files.size() == 1 && !fs::exists(options.document))) {
                throw zrk::FaultError(drawn.error());
            }
            tellFault(MessageKind::Failure, drawn.error());
            // What a broken document doesn't name any more is still what it will.
            files.insert(files.end(), watched.begin(), watched.end());
        }
        // What changed while it was drawn is drawn again.
        const bool isSame = files == watched;
        watched = files;
        awaitChange(watched, isSame ? before : statesBefore(watched, begun));
        isFirst = false;
    }
}

} // namespace

void addWatchCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand(
        "watch", "draw a picture now and after each change of the document or of a file that it names");
    auto options = std::make_shared<WatchOptions>();
    options->addTo(*command);
    auto* solid =
        command->add_flag("--solid", options->isSolid, "a shaded picture of the solid, not a slice");
    for (const char* name : {"--axis", "--at", "--range", "--legend"}) {
        solid->excludes(command->get_option(name));
    }
    command->add_option("--from", options->from, "with --solid: where the viewer stands, as for render")
        ->needs(solid);
    command->callback([&work = program.work, options] { work = [options] { watch(*options); }; });
}

} // namespace zrkcli
