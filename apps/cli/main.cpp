#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "components/registration.h"
#include "core/values/fault.h"

#include <fmt/core.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>

namespace {

int statusOf(zrk::FaultKind kind)
{
    switch (kind) {
    case zrk::FaultKind::BadInput:
        return 2;
    case zrk::FaultKind::Interrupted:
        return 130;
    case zrk::FaultKind::FailedWork:
        break;
    }
    return 1;
}

/// Tells a fault on standard error and gives the exit status. Who pressed Ctrl-C needs no message.
int report(const zrk::Fault& fault)
{
    if (fault.kind != zrk::FaultKind::Interrupted) {
        zrkcli::tell("zrk: {}\n", zrk::messageOf(fault));
    }
    return statusOf(fault.kind);
}

/// The same of what was thrown outside of any command; also without memory for a fault.
int report(const std::exception& error) noexcept
{
    try {
        return report(zrk::faultOf(error, "command"));
    } catch (const std::exception&) {
        zrkcli::tellLackOfMemory();
        return statusOf(zrk::FaultKind::FailedWork);
    }
}

std::string commandList(const CLI::App& app)
{
    std::string list;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        list += (list.empty() ? "" : ", ") + command->get_name();
    }
    return list;
}

/// Returns what a command line holds in place of a command.
std::string foundCommand(int argc, char** argv)
{
    const auto* word = std::find_if(argv + 1, argv + argc, [](const char* text) { return text[0] != '-'; });
    return argc == 1             ? "no command"
           : word == argv + argc ? zrk::quotation(argv[1])
                                 : "the unknown command " + zrk::quotation(*word);
}

/// Returns what a command can't use of its command line, in CLI11's own words if it tells no more.
std::string foundArguments(const CLI::App& command, const CLI::ParseError& error)
{
    const auto extras = command.remaining();
    if (!dynamic_cast<const CLI::ExtrasError*>(&error) || extras.empty()) {
        return fmt::format("a wrong command line ({})", error.what());
    }
    const auto option = std::find_if(extras.begin(), extras.end(),
                                     [](const std::string& word) { return word.starts_with("-"); });
    return zrk::quotation(option != extras.end() ? *option : extras.front());
}

zrk::Fault usageFault(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv)
{
    const auto called = app.get_subcommands();
    if (called.empty()) {
        return {"command line", foundCommand(argc, argv), "one of " + commandList(app),
                "`zrk --help` shows how to call it"};
    }
    const std::string name = called.front()->get_name();
    return {name, foundArguments(*called.front(), error), "the arguments and options that it takes",
            fmt::format("`zrk {} --help` shows how to call it", name)};
}

/// Returns the exit status of what went well, unless its results are lost.
int statusOfResults()
{
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) {
        return 0;
    }
    if (zrkcli::isInterrupted()) {
        return statusOf(zrk::FaultKind::Interrupted);
    }
    // What failed before isn't known any more, but for a pipe.
    pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    const int error = errno != 0                                                   ? errno
                      : poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0 ? EPIPE
                                                                                   : 0;
    const std::string reason = error != 0 ? " (" + std::generic_category().message(error) + ")" : "";
    return report({"standard output", "no room for all results" + reason, "a place that takes them",
                   "make room, or send them somewhere else", zrk::FaultKind::FailedWork});
}

/// Runs a command and returns its exit status. Every failure becomes one message and a status.
int runWork(const zrkcli::Work& work)
{
    const zrkcli::ComplaintsToStandardError complaints;
    const zrk::Result<void> done = zrk::attempt("command", work);
    // A lost result may also be what the work failed of.
    const int status = statusOfResults();
    return status != 0 || done ? status : report(done.error());
}

int runProgram(int argc, char** argv)
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();

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
    zrkcli::addSurfaceCommand(program);
    zrkcli::addRenderCommand(program);
    zrkcli::addLimitsCommand(program);

    try {
        app.parse(zrkcli::argumentsInParsingOrder(argc, argv));
    } catch (const CLI::ParseError& error) {
        const bool isHelp = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        if (!isHelp) {
            return report(usageFault(app, error, argc, argv));
        }
        app.exit(error);
        return statusOfResults();
    }
    return runWork(work);
}

} // namespace

int main(int argc, char** argv)
{
    zrkcli::openStandardStreams();
    zrkcli::catchInterrupts();
    int status = 1;
    try {
        status = runProgram(argc, argv);
    } catch (const std::exception& error) {
        // Lack of memory in what tells of another failure, or before any work.
        status = report(error);
    }
    return zrkcli::endedBy(status);
}
