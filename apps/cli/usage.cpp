#include "apps/cli/usage.h"

#include "apps/cli/command_table.h"
#include "core/values/fault.h"
#include "host/nearest_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace zrkcli {

namespace {

std::vector<std::string> commandNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(app)) {
        names.push_back(command->get_name());
    }
    return names;
}

/// The long options of a command, each with its dashes.
std::vector<std::string> optionNames(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : optionsOf(command, false)) {
        for (const std::string& name : namesOf(*option)) {
            if (name.starts_with("--")) {
                names.push_back(name);
            }
        }
    }
    return names;
}

/// The word on the command line that stands for a command; null where there is none.
const char* commandWord(int argc, char** argv)
{
    const auto* word = std::find_if(argv + 1, argv + argc, [](const char* text) { return text[0] != '-'; });
    return word == argv + argc ? nullptr : *word;
}

/// The first word that a command can't use, an option before others; empty where it misses one.
std::string strayWord(const CLI::App& command, const CLI::ParseError& error)
{
    const auto extras = command.remaining();
    // A misspelt option may also be the one that is missed.
    const bool isStray =
        dynamic_cast<const CLI::ExtrasError*>(&error) || dynamic_cast<const CLI::RequiredError*>(&error);
    if (!isStray || extras.empty()) {
        return "";
    }
    const auto option = std::find_if(extras.begin(), extras.end(),
                                     [](const std::string& word) { return word.starts_with("-"); });
    return option != extras.end() ? *option : extras.front();
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& known)
{
    return fmt::format("did you mean {}? ", zrkmodel::nearestNames(word, known, 2));
}

/// The options that the parser's message names, in its order.
std::vector<const CLI::Option*> optionsNamed(const CLI::App& command, std::string_view message)
{
    std::vector<const CLI::Option*> options;
    for (const std::string& word : CLI::detail::split(std::string(message), ' ')) {
        const std::string name = word.substr(0, word.find(':'));
        const auto named = command.get_options(
            [&](const CLI::Option* option) { return !name.empty() && option->get_name() == name; });
        options.insert(options.end(), named.begin(), named.end());
    }
    return options;
}

/// What may follow an option.
std::string valuesOf(const CLI::Option& option)
{
    if (const auto choices = choicesOf(option); !choices.empty()) {
        return fmt::format("one of {}", fmt::join(choices, ", "));
    }
    // A check of the range tells it in brackets behind the type.
    const std::string type = option.get_type_name();
    if (type.find("SIZE") != std::string::npos) {
        return "a size above 0, such as 500M or 2G";
    }
    const bool isNumber = type.starts_with("FLOAT");
    if (!isNumber && type.find("INT") == std::string::npos) {
        return "a value behind it";
    }
    const std::size_t begin = type.find(" in [");
    const std::size_t middle = type.find(" - ", begin);
    const char* what = isNumber ? "a number" : "a whole number";
    return begin == std::string::npos
               ? what
               : fmt::format("{} from {} to {}", what, type.substr(begin + 5, middle - begin - 5),
                             type.substr(middle + 3, type.find(']') - middle - 3));
}

/// What is wrong with an option or what it misses; nothing where the parser's message alone tells it.
std::optional<zrk::Fault> optionFault(const CLI::App& command, const CLI::ParseError& error)
{
    const std::vector<const CLI::Option*> named = optionsNamed(command, error.what());
    if (named.empty()) {
        return std::nullopt;
    }
    const CLI::Option& option = *named.front();
    const std::string name = option.get_name();
    const std::string help = fmt::format("`zrk {} --help` shows how to call it", command.get_name());
    const std::string other = named.size() > 1 ? named[1]->get_name() : "";
    if (dynamic_cast<const CLI::RequiredError*>(&error)) {
        return zrk::Fault{command.get_name(), "no " + name, option.get_description(), help};
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error)) {
        return zrk::Fault{name, other + " beside it", "one of the two", "leave the other out"};
    }
    if (dynamic_cast<const CLI::RequiresError*>(&error)) {
        return zrk::Fault{name, "it without " + other, "both",
                          "add " + other + ", or leave " + name + " out"};
    }
    if (option.results().empty()) {
        return zrk::Fault{name, "no value", valuesOf(option), help};
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
        return zrk::Fault{name, fmt::format("{} values", option.results().size()), "one",
                          "give the option once; " + help};
    }
    return zrk::Fault{name, zrk::quotation(fmt::format("{}", fmt::join(option.results(), " "))),
                      valuesOf(option), help};
}

} // namespace

zrk::Fault usageFault(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv)
{
    const auto called = app.get_subcommands();
    if (called.empty()) {
        const char* word = commandWord(argc, argv);
        if (word && word == std::string_view("help") && argc > 2) {
            word = argv[2];
        }
        const std::vector<std::string> names = commandNames(app);
        return {"command line",
                word ? "the unknown command " + zrk::quotation(word) : zrk::quotation(argv[1]),
                fmt::format("one of {}", fmt::join(names, ", ")),
                (word ? didYouMean(word, names) : "") + "`zrk --help` shows how to call it"};
    }
    const std::string name = called.front()->get_name();
    const std::string stray = strayWord(*called.front(), error);
    if (auto fault = stray.empty() ? optionFault(*called.front(), error) : std::nullopt) {
        return *fault;
    }
    const bool isOption = stray.starts_with("--");
    return {name,
            stray.empty() ? fmt::format("a wrong command line ({})", error.what()) : zrk::quotation(stray),
            "the arguments and options that it takes",
            (isOption ? didYouMean(stray.substr(0, stray.find('=')), optionNames(*called.front())) : "") +
                fmt::format("`zrk {} --help` shows how to call it", name)};
}

std::optional<std::string> helpText(const CLI::App& app, int argc, char** argv)
{
    const std::string_view first = argc > 1 ? argv[1] : "help";
    if (first != "help" || argc > 3) {
        return std::nullopt;
    }
    if (argc < 3) {
        return app.help();
    }
    const CLI::App* found = commandNamed(app, argv[2]);
    return found ? std::optional(found->help("zrk")) : std::nullopt;
}

} // namespace zrkcli
