#include "apps/cli/command_table.h"
#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/ranks.h"
#include "apps/cli/usage.h"
#include "components/registration.h"
#include "core/values/fault.h"
#include "core/values/stop.h"
#include "host/build_information.h"

#include <fmt/format.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

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
        zrkcli::tellFault(zrkcli::MessageKind::Failure, fault);
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
int runWork(const std::string& command, const zrkcli::Work& work)
{
    const zrkcli::ComplaintsToStandardError complaints;
    const zrk::StopScope stoppable(zrkcli::interruptSign(), zrkcli::endInterrupted);
    const zrk::Result<void> done = zrk::attempt(command, work);
    // A lost result may also be what the work failed of.
    const int status = statusOfResults();
    if (status != 0 || done) {
        return status;
    }
    zrkcli::leaveMessageToFirstRank();
    return report(done.error());
}

/// The work as that of one of the ranks of a run.
zrkcli::Work amongRanks(const std::string& name, zrkcli::Work work)
{
    return [name, work = std::move(work)] {
        if (name != "sample" && name != "surface") {
            throw zrk::FaultError(
                {"--mpi", zrk::quotation(name), "sample or surface, which write tiles", "leave --mpi out"});
        }
        zrk::valueOrThrow(zrkcli::beginRanks());
        work();
    };
}

/// Has whole numbers be decimal: with a leading 0 they would be octal ones.
void takeDecimals(CLI::App& app)
{
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
        for (CLI::Option* option : command->get_options()) {
            const std::string type = option->get_type_name();
            if (type.starts_with("INT") || type.starts_with("UINT") || type.starts_with("SIZE")) {
                option->transform([](const std::string& text) {
                    const std::size_t sign = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
                    std::size_t digit = sign;
                    while (digit + 1 < text.size() && text[digit] == '0' && std::isdigit(text[digit + 1])) {
                        ++digit;
                    }
                    return text.substr(0, sign) + text.substr(digit);
                });
            }
        }
    }
}

int runProgram(int argc, char** argv)
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();

    CLI::App app{"Samples fields over space that a node graph describes.\n"
                 "Results go to standard output or to the file named, all else to standard error.",
                 "zrk"};
    app.set_version_flag("--version", [] { return zrkmodel::buildInformation("zrk"); });
    app.require_subcommand(1);
    bool isMpi = false;
    app.add_flag(
        "--mpi", isMpi,
        "be one of the ranks of a run under mpirun: before sample and surface, which then write tiles");
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
    zrkcli::addWatchCommand(program);
    zrkcli::addMeasureCommand(program);
    zrkcli::addEditCommand(program);
    zrkcli::addLimitsCommand(program);
    zrkcli::addSchemaCommand(program);
    zrkcli::addNewCommand(program);
    zrkcli::addGraphCommand(program);
    zrkcli::addConvertCommand(program);
    zrkcli::addJoinCommand(program);
    zrkcli::addCompletionCommand(program);
    zrkcli::addManCommand(program);

    takeDecimals(app);
    if (const auto help = zrkcli::helpText(app, argc, argv)) {
        fmt::print("{}", *help);
        return statusOfResults();
    }
    try {
        app.parse(zrkcli::argumentsInParsingOrder(argc, argv));
    } catch (const CLI::ParseError& error) {
        const bool isHelp = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        if (!isHelp) {
            return report(zrkcli::usageFault(app, error, argc, argv));
        }
        app.exit(error);
        return statusOfResults();
    }
    const std::string command = app.get_subcommands().front()->get_name();
    return runWork(command, isMpi ? amongRanks(command, work) : work);
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
    zrkcli::endRanks(status);
    return zrkcli::endedBy(status);
}
