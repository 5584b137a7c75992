#include "apps/cli/command_table.h"

namespace zrkcli {

std::vector<const CLI::App*> commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* commandNamed(const CLI::App& app, const std::string& name)
{
    for (const CLI::App* command : commandsOf(app)) {
        if (command->check_name(name)) {
            return command;
        }
    }
    return nullptr;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command, bool isPositional)
{
    return command.get_options([&](const CLI::Option* option) {
        return isPositional ? option->get_positional() : option->nonpositional();
    });
}

std::vector<std::string> namesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<std::string> choicesOf(const CLI::Option& option)
{
    // A check of membership tells its words in braces behind the type.
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}', begin);
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

} // namespace zrkcli
