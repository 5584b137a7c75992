#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

/// What the program itself knows of its commands, for what is made from it: completion and manual pages.
namespace zrkcli {

/// All commands in the order in which the program lists them.
std::vector<const CLI::App*> commandsOf(const CLI::App& app);

/// The command of a name or an alias; null where there is none.
const CLI::App* commandNamed(const CLI::App& app, const std::string& name);

/// The options of a command that have a name with a dash, or those that are told by their position. Some have
/// both.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command, bool isPositional);

/// The names of an option with their dashes, the short ones first.
std::vector<std::string> namesOf(const CLI::Option& option);

/// Whether a value follows an option.
bool takesValue(const CLI::Option& option);

/// The words that an option takes; empty where it takes others, too.
std::vector<std::string> choicesOf(const CLI::Option& option);

} // namespace zrkcli
