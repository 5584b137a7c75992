#include "apps/cli/command_table.h"
#include "apps/cli/commands.h"
#include "core/values/fault.h"
#include "host/build_information.h"
#include "host/nearest_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace zrkcli {

namespace {

/// A text as roff has it: no line begins with a control character, and dashes are those of options.
std::string roff(std::string_view text)
{
    std::string all;
    bool isAtStart = true;
    for (const char c : text) {
        if (isAtStart && (c == '.' || c == '\'')) {
            all += "\\&";
        }
        isAtStart = c == '\n';
        all += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    }
    return all;
}

std::string upperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string head(const std::string& name, const std::string& summary)
{
    return fmt::format(".TH {} 1 \"\" \"zrk {}\" \"zrk\"\n.SH NAME\n{} \\- {}\n", roff(upperCase(name)),
                       zrkmodel::version(), roff(name), roff(summary));
}

/// What stands for an option's value.
std::string valueOf(const CLI::Option& option)
{
    if (!takesValue(option)) {
        return "";
    }
    const std::vector<std::string> choices = choicesOf(option);
    const std::string value =
        choices.empty() ? "\\fIVALUE\\fR"
                        : fmt::format("\\fB{}\\fR", roff(fmt::format("{}", fmt::join(choices, "|"))));
    return (option.get_items_expected_min() == 0 ? " [" + value + "]" : " " + value) +
           (option.get_items_expected_max() > 1 ? " ..." : "");
}

std::string synopsis(const CLI::App& command)
{
    std::string text = fmt::format(".SH SYNOPSIS\n.B zrk {}\n", roff(command.get_name()));
    for (const CLI::Option* positional : optionsOf(command, true)) {
        const std::string name = fmt::format("\\fI{}\\fR{}", roff(positional->get_name(true)),
                                             positional->get_items_expected_max() > 1 ? " ..." : "");
        text += positional->get_required() ? name + "\n" : "[" + name + "]\n";
    }
    for (const CLI::Option* option : optionsOf(command, false)) {
        if (option->get_required() && !option->get_positional()) {
            text += fmt::format("\\fB{}\\fR{}\n", roff(namesOf(*option).front()), valueOf(*option));
        }
    }
    return text + "[\\fIoptions\\fR]\n";
}

std::string listOfOptions(const CLI::App& command)
{
    std::string text = ".SH OPTIONS\n";
    for (const CLI::Option* positional : optionsOf(command, true)) {
        text += fmt::format(".TP\n\\fI{}\\fR\n{}\n", roff(positional->get_name(true)),
                            roff(positional->get_description()));
    }
    for (const CLI::Option* option : optionsOf(command, false)) {
        std::string names;
        for (const std::string& name : namesOf(*option)) {
            names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", roff(name));
        }
        text += fmt::format(".TP\n{}{}\n{}\n", names, valueOf(*option), roff(option->get_description()));
    }
    return text;
}

constexpr const char* kEnding = R"(.SH EXIT STATUS
.TP
.B 0
all is well
.TP
.B 1
the work failed
.TP
.B 2
wrong usage or a bad document
.TP
.B 130
interrupted by Ctrl\-C
.SH ENVIRONMENT
.TP
.B NO_COLOR
if it isn't empty, messages on a terminal have no colours
.TP
.B TERM
if it is \(lqdumb\(rq or missing, they have none either
)";

std::string pageOf(const CLI::App& app, const CLI::App& command)
{
    std::string text = head("zrk-" + command.get_name(), command.get_description());
    text += synopsis(command);
    text += ".SH DESCRIPTION\n" + roff(app.get_description()) + "\n";
    if (!command.get_aliases().empty()) {
        text += fmt::format(".PP\n.B zrk {}\nis the same command.\n", roff(command.get_aliases().front()));
    }
    return text + listOfOptions(command) + kEnding + ".SH SEE ALSO\n.BR zrk (1)\n";
}

std::string pageOfProgram(const CLI::App& app)
{
    std::string text = head("zrk", "samples fields over space that a node graph describes");
    text += ".SH SYNOPSIS\n.B zrk\n\\fICOMMAND\\fR [\\fIoptions\\fR]\n";
    text += ".SH DESCRIPTION\n" + roff(app.get_description()) + "\n.SH COMMANDS\n";
    std::string pages;
    for (const CLI::App* command : commandsOf(app)) {
        text += fmt::format(".TP\n.B {}\n{}\n", roff(command->get_name()), roff(command->get_description()));
        pages += fmt::format("{}.BR zrk\\-{} (1)", pages.empty() ? "" : ",\n", roff(command->get_name()));
    }
    return text + listOfOptions(app) + kEnding + ".SH SEE ALSO\n" + pages + "\n";
}

std::string pageNamed(const CLI::App& app, const std::string& name)
{
    if (name.empty()) {
        return pageOfProgram(app);
    }
    if (const CLI::App* command = commandNamed(app, name)) {
        return pageOf(app, *command);
    }
    std::vector<std::string> known;
    for (const CLI::App* command : commandsOf(app)) {
        known.push_back(command->get_name());
    }
    throw zrk::FaultError(
        {"man", "the unknown command " + zrk::quotation(name), "one of the commands of zrk",
         fmt::format("did you mean {}? `zrk --help` lists them",
                     zrkmodel::nearestNames(name.substr(0, zrk::kMaxQuotation), known, 2))});
}

} // namespace

void addManCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand(
        "man",
        "print a manual page, to be shown by `zrk man | man -l -` and installed by tools/make-man-pages");
    auto name = std::make_shared<std::string>();
    command->add_option("COMMAND", *name, "whose page; without it that of the program");
    command->callback([&app = program.app, &work = program.work, name] {
        work = [&app, name] { fmt::print("{}", pageNamed(app, *name)); };
    });
}

} // namespace zrkcli
