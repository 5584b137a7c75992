#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "components/registration.h"
#include "host/error.h"

#include <fmt/core.h>

#include <cstdio>
#include <exception>
#include <new>

namespace {

constexpr int kFailed = zrkmodel::HostError::kFailedWork;
constexpr int kWrongUsage = zrkmodel::HostError::kBadInput;

int report(const char* text, int status)
{
    fmt::print(stderr, "zrk: {}\n", text);
    return status;
}

/// Runs a command; every failure becomes one message and a status.
int runWork(const zrkcli::Work& work)
{
    try {
        const int status = work();
        if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
            return report("standard output: couldn't write the results\n"
                          "  remedy: make room, or send them somewhere else",
                          kFailed);
        }
        return status;
    } catch (const zrkmodel::HostError& error) {
        return report(error.what(), error.exitStatus);
    } catch (const std::bad_alloc&) {
        return report("not enough memory for this work\n  remedy: ask for fewer samples", kFailed);
    } catch (const std::exception& error) {
        return report(error.what(), kFailed);
    }
}

} // namespace

int main(int argc, char** argv)
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    zrkcli::catchInterrupts();

    CLI::App app{"Samples fields over space that a node graph describes.\n"
                 "Results go to standard output or to the file named, all else to standard error.",
                 "zrk"};
    app.set_version_flag("--version", "zrk " ZRK_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    zrkcli::Work work;
    const zrkcli::Program program{app, work};
    zrkcli::addTypesCommand(program);
    zrkcli::addCheckCommand(program);
    zrkcli::addProbeCommand(program);
    zrkcli::addSampleCommand(program);
    zrkcli::addSliceCommand(program);

    try {
        app.parse(zrkcli::argumentsInParsingOrder(argc, argv));
    } catch (const CLI::ParseError& error) {
        const bool isHelp = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        app.exit(error);
        return isHelp ? 0 : kWrongUsage;
    }
    return runWork(work);
}
