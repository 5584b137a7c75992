#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "components/registration.h"
#include "host/error.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace {

constexpr int kFailed = zrkmodel::HostError::kFailedWork;
constexpr int kWrongUsage = zrkmodel::HostError::kBadInput;

int report(const std::string& text, int status)
{
    fmt::print(stderr, "zrk: {}\n", text);
    return status;
}

int reportLostOutput()
{
    return report("standard output: found no room for all results, expected a place that takes them\n"
                  "  remedy: make room, or send them somewhere else",
                  kFailed);
}

std::string commandList(const CLI::App& app)
{
    std::string list;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        list += (list.empty() ? "" : ", ") + command->get_name();
    }
    return list;
}

/// Returns what is wrong with a command line that names no command.
std::string missingCommand(const CLI::App& app, int argc, char** argv)
{
    const auto* word = std::find_if(argv + 1, argv + argc, [](const char* text) { return text[0] != '-'; });
    const std::string found = argc == 1             ? "no command"
                              : word == argv + argc ? fmt::format("\"{}\"", argv[1])
                                                    : fmt::format("the unknown command \"{}\"", *word);
    return fmt::format("found {}, expected one of {}", found, commandList(app));
}

/// Returns what is wrong with a command line in cases that CLI11 doesn't explain.
std::string usageFault(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv)
{
    const auto called = app.get_subcommands();
    if (called.empty()) {
        return missingCommand(app, argc, argv);
    }
    const auto extras = called.front()->remaining();
    if (dynamic_cast<const CLI::ExtrasError*>(&error) && !extras.empty()) {
        const auto option = std::find_if(extras.begin(), extras.end(),
                                         [](const std::string& word) { return word.starts_with("-"); });
        return fmt::format("found \"{}\", which it doesn't take",
                           option != extras.end() ? *option : extras.front());
    }
    return error.what();
}

int reportUsage(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv)
{
    const auto called = app.get_subcommands();
    const std::string name = called.empty() ? "" : called.front()->get_name();
    return report(fmt::format("{}{}\n  remedy: `zrk {}--help` shows how to call it",
                              name.empty() ? "" : name + ": ", usageFault(app, error, argc, argv),
                              name.empty() ? "" : name + " "),
                  kWrongUsage);
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

/// Runs a command and returns its exit status. Every failure becomes one message and a status.
int runWork(const zrkcli::Work& work)
{
    const ComplaintsToStandardError complaints;
    try {
        const int status = work();
        return std::fflush(stdout) == 0 && !std::ferror(stdout) ? status : reportLostOutput();
    } catch (const zrkmodel::HostError& error) {
        return report(error.what(), error.exitStatus);
    } catch (const std::bad_alloc&) {
        return report("not enough memory for this work\n  remedy: ask for fewer samples", kFailed);
    } catch (const std::exception& error) {
        return std::ferror(stdout) ? reportLostOutput() : report(error.what(), kFailed);
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
        return isHelp ? app.exit(error) : reportUsage(app, error, argc, argv);
    }
    // Results are written through stdio. What components print on the stream isn't a result.
    std::cout.rdbuf(std::cerr.rdbuf());
    return runWork(work);
}
