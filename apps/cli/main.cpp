#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "components/registration.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>

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

/// While it lives, what components print on std::cout, complaints and progress, goes to standard error.
/// Results are printed through `stdout` and aren't affected.
class ComplaintsToStandardError {
public:
    ComplaintsToStandardError() : _former(std::cout.rdbuf(std::cerr.rdbuf())) {}
    ~ComplaintsToStandardError() { std::cout.rdbuf(_former); }
    ComplaintsToStandardError(const ComplaintsToStandardError&) = delete;
    ComplaintsToStandardError& operator=(const ComplaintsToStandardError&) = delete;

private:
    std::streambuf* _former;
};

/// Returns the exit status of what went well, unless its results are lost.
int statusOfResults()
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) {
        return 0;
    }
    return report({"standard output", "no room for all results", "a place that takes them",
                   "make room, or send them somewhere else", zrk::FaultKind::FailedWork});
}

/// Runs a command and returns its exit status. Every failure becomes one message and a status.
int runWork(const zrkcli::Work& work)
{
    const ComplaintsToStandardError complaints;
    const zrk::StopScope stoppable(zrkcli::interruptSign(), zrkcli::endInterrupted);
    const zrk::Result<void> done = zrk::attempt("command", work);
    // A lost result may also be what the work failed of.
    const int status = statusOfResults();
    return status != 0 || done ? status : report(done.error());
}

} // namespace

int main(int argc, char** argv)
{
    zrkcli::openStandardStreams();
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
    zrkcli::addSurfaceCommand(program);
    zrkcli::addRenderCommand(program);

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
    // Results are written through stdio. What components print on the stream isn't a result.
    std::cout.rdbuf(std::cerr.rdbuf());
    return runWork(work);
}
