#include "apps/cli/command_table.h"
#include "apps/cli/commands.h"
#include "apps/cli/specimen.h"
#include "core/values/fault.h"
#include "host/document_json.h"
#include "host/document_values.h"
#include "host/type_lookup.h"
#include "model/manual.h"
#include "model/registry.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zrkcli {

using zrkmodel::ZRKJson;

namespace {

constexpr const char* kBash = R"sh(# Completion of zrk for bash, made by `zrk completion bash`.
_zrk() {
    local line=${COMP_LINE:0:COMP_POINT} current answer breaks prefix=
    local -a words answers
    read -r -a words <<<"$line"
    [[ $line == *[[:blank:]] ]] && words+=("")
    current=${words[-1]}
    mapfile -t answers < <("$1" completion words -- "${words[@]}" 2>/dev/null)
    # Bash replaces only what stands behind these characters.
    breaks=${COMP_WORDBREAKS//[!:=]/}
    [[ -n $breaks && $current == *[$breaks]* ]] && prefix=${current%"${current##*[$breaks]}"}
    COMPREPLY=()
    for answer in "${answers[@]}"; do
        if [[ $answer == :files ]]; then
            compopt -o filenames
            mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "${current#"$prefix"}")
        else
            answer=${answer%%$'\t'*}
            [[ $answer == *= ]] && compopt -o nospace
            [[ $answer == "$current"* ]] && COMPREPLY+=("${answer#"$prefix"}")
        fi
    done
}
complete -F _zrk zrk
)sh";

constexpr const char* kZsh = R"sh(#compdef zrk
# Completion of zrk for zsh, made by `zrk completion zsh`.
_zrk() {
    local answer entry ret=1
    local -a answers described unfinished
    answers=("${(@f)$("${words[1]}" completion words -- "${(@)words[1,CURRENT]}" 2>/dev/null)}")
    for answer in "${answers[@]}"; do
        if [[ $answer == :files ]]; then
            _files && ret=0
        elif [[ -n $answer ]]; then
            entry="${${answer%%$'\t'*}//:/\\:}:${answer#*$'\t'}"
            if [[ $answer == *=$'\t'* ]]; then unfinished+=("$entry"); else described+=("$entry"); fi
        fi
    done
    (( $#described )) && _describe -t values 'zrk' described && ret=0
    # A value follows at once.
    (( $#unfinished )) && _describe -t values 'zrk' unfinished -S '' && ret=0
    return ret
}
if [[ $funcstack[1] == _zrk ]]; then
    _zrk "$@"
else
    compdef _zrk zrk
fi
)sh";

constexpr const char* kFish = R"sh(# Completion of zrk for fish, made by `zrk completion fish`.
function __zrk_words
    set -l words (commandline -opc) "$(commandline -ct)"
    for answer in ($words[1] completion words -- $words 2>/dev/null)
        if test "$answer" = ":files"
            __fish_complete_path "$(commandline -ct)"
        else
            echo $answer
        end
    end
end
complete -c zrk -f -a '(__zrk_words)'
)sh";

/// A word and what it means.
using Candidate = std::pair<std::string, std::string>;

/// What may stand in the place of the last word of a command line.
struct Candidates {
    std::vector<Candidate> words;
    bool hasFiles = false;
};

// Documents, as far as their text tells: nothing that they name is read.

constexpr std::uintmax_t kMostBytes = 4u << 20;
constexpr std::size_t kMostNodes = 1000;

/// The nodes of the document on a command line, with their types; empty for one that can't be read at once.
std::vector<std::pair<unsigned, const zrkmodel::ZRKGraphObjectRegistration*>>
nodesOf(const std::vector<std::string>& words)
{
    std::vector<std::pair<unsigned, const zrkmodel::ZRKGraphObjectRegistration*>> nodes;
    std::error_code error;
    const auto name = std::find_if(words.begin(), words.end() - 1, [&](const std::string& word) {
        return word.ends_with(".json") && std::filesystem::is_regular_file(word, error) &&
               std::filesystem::file_size(word, error) <= kMostBytes;
    });
    if (name == words.end() - 1) {
        return nodes;
    }
    std::ifstream file(*name, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto document = zrkmodel::parseDocumentJson(text, *name);
    const ZRKJson entries = document ? document->value("nodes", ZRKJson::array()) : ZRKJson::array();
    for (const ZRKJson& entry : entries) {
        const auto isText = [&](const char* key) { return entry.contains(key) && entry[key].is_string(); };
        if (!entry.is_object() || !entry.contains("id") || !entry["id"].is_number_unsigned() ||
            !isText("type")) {
            continue;
        }
        const auto type = zrkmodel::findType("", entry["type"].get<std::string>(),
                                             isText("uuid") ? entry["uuid"].get<std::string>() : "");
        if (type && nodes.size() < kMostNodes) {
            nodes.emplace_back(entry["id"].get<unsigned>(), *type);
        }
    }
    return nodes;
}

std::vector<Candidate> pinCandidates(const std::vector<std::string>& words)
{
    std::vector<Candidate> pins;
    for (const auto& [id, type] : nodesOf(words)) {
        const Specimen specimen(*type);
        for (std::size_t i = 0; i < specimen.node->outputs.size(); ++i) {
            pins.emplace_back(fmt::format("{}:{}", id, i),
                              fmt::format("{} of {}", specimen.node->outputs[i].name, type->info.name));
        }
    }
    return pins;
}

std::vector<Candidate> keyCandidates(const std::vector<std::string>& words, const char* ending)
{
    std::vector<Candidate> keys;
    for (const auto& [id, type] : nodesOf(words)) {
        const ZRKJson values = zrkmodel::storedForm(*type->factory());
        for (const auto& [key, value] : values.items()) {
            keys.emplace_back(fmt::format("{}.{}{}", id, key, ending), type->info.name);
        }
    }
    return keys;
}

// Words that are always the same.

std::vector<Candidate> typeCandidates()
{
    std::vector<Candidate> names;
    for (const auto& type : zrkmodel::knownTypes()) {
        names.emplace_back(zrkmodel::uniqueName(type.info), type.strings.description);
    }
    return names;
}

std::vector<Candidate> familyCandidates()
{
    std::vector<Candidate> names;
    for (const auto& type : zrkmodel::knownTypes()) {
        const Candidate family{std::string(zrkmodel::manualOf(type).family), "a family of types"};
        if (std::find(names.begin(), names.end(), family) == names.end()) {
            names.push_back(family);
        }
    }
    return names;
}

std::vector<Candidate> commandCandidates(const CLI::App& app)
{
    std::vector<Candidate> names;
    for (const CLI::App* command : commandsOf(app)) {
        names.emplace_back(command->get_name(), command->get_description());
    }
    return names;
}

std::vector<Candidate> optionCandidates(const CLI::App& command)
{
    std::vector<Candidate> names;
    for (const CLI::Option* option : optionsOf(command, false)) {
        for (const std::string& name : namesOf(*option)) {
            names.emplace_back(name, option->get_description());
        }
    }
    return names;
}

void append(Candidates& all, const std::vector<Candidate>& more)
{
    all.words.insert(all.words.end(), more.begin(), more.end());
}

/// What the value of an option or positional may be. Those without a rule of their own take numbers or texts.
void addValues(Candidates& all, const CLI::App& app, const CLI::Option& option,
               const std::vector<std::string>& words)
{
    const std::string name =
        option.get_lnames().empty() ? option.get_name(true) : option.get_lnames().front();
    const auto is = [&](std::initializer_list<const char*> names) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    for (const std::string& choice : choicesOf(option)) {
        all.words.emplace_back(choice, "");
    }
    if (is({"pin", "color"})) {
        append(all, pinCandidates(words));
    } else if (is({"set", "ASSIGNMENT"})) {
        append(all, keyCandidates(words, "="));
    } else if (is({"solve"})) {
        append(all, keyCandidates(words, ""));
    } else if (is({"TYPE", "example", "NAME"})) {
        append(all, typeCandidates());
        append(all, is({"NAME"}) ? familyCandidates() : std::vector<Candidate>{});
    } else if (is({"COMMAND"})) {
        append(all, commandCandidates(app));
    } else if (is({"DOC", "IN", "OUT", "output", "points", "report"})) {
        all.hasFiles = true;
    }
}

/// The option that the words before the last one leave open; null for none. `distance` is how many words it
/// stands before the last one.
const CLI::Option* openOption(const CLI::App& command, const std::vector<std::string>& words, int& distance)
{
    for (distance = 1; distance < static_cast<int>(words.size()); ++distance) {
        const std::string& word = words[words.size() - 1 - static_cast<std::size_t>(distance)];
        if (word.size() < 2 || word[0] != '-') {
            continue;
        }
        for (const CLI::Option* option : optionsOf(command, false)) {
            if (option->check_name(word)) {
                return option->get_items_expected_max() >= distance ? option : nullptr;
            }
        }
        return nullptr;
    }
    return nullptr;
}

/// `--option=` and the beginning of its value.
Candidates valuesBehindEquals(const CLI::App& app, const CLI::App& command,
                              const std::vector<std::string>& words)
{
    const std::string name = words.back().substr(0, words.back().find('='));
    Candidates all;
    for (const CLI::Option* option : optionsOf(command, false)) {
        if (option->check_name(name)) {
            addValues(all, app, *option, words);
        }
    }
    for (Candidate& candidate : all.words) {
        candidate.first = name + "=" + candidate.first;
    }
    return all;
}

Candidates candidatesFor(const CLI::App& app, const std::vector<std::string>& words)
{
    Candidates all;
    const auto named = std::find_if(words.begin() + 1, words.end() - 1,
                                    [](const std::string& word) { return !word.starts_with("-"); });
    const std::string& current = words.back();
    if (named == words.end() - 1) {
        append(all, current.starts_with("-") ? optionCandidates(app) : commandCandidates(app));
        return all;
    }
    const CLI::App* command = commandNamed(app, *named);
    if (!command) {
        append(all, *named == "help" ? commandCandidates(app) : std::vector<Candidate>{});
        return all;
    }
    if (current.starts_with("--") && current.find('=') != std::string::npos) {
        return valuesBehindEquals(app, *command, words);
    }
    int distance = 0;
    const CLI::Option* open = openOption(*command, words, distance);
    const bool needsValue = open && distance == 1 && open->get_items_expected_min() > 0;
    if (!needsValue && current.starts_with("-")) {
        append(all, optionCandidates(*command));
        return all;
    }
    if (open) {
        addValues(all, app, *open, words);
    }
    for (const CLI::Option* positional : optionsOf(*command, true)) {
        if (!needsValue) {
            addValues(all, app, *positional, words);
        }
    }
    return all;
}

void printCandidates(const CLI::App& app, const std::vector<std::string>& words)
{
    if (words.size() < 2) {
        return;
    }
    const Candidates all = candidatesFor(app, words);
    for (const auto& [word, meaning] : all.words) {
        if (word.starts_with(words.back())) {
            fmt::print("{}\t{}\n", zrk::printable(word), zrk::printable(meaning));
        }
    }
    if (all.hasFiles) {
        fmt::print(":files\n");
    }
}

} // namespace

void addCompletionCommand(const Program& program)
{
    struct CompletionOptions {
        std::string shell;
        std::vector<std::string> words;
    };
    CLI::App* command =
        program.app.add_subcommand("completion", "print what makes a shell complete the words of commands");
    auto options = std::make_shared<CompletionOptions>();
    command
        ->add_option("SHELL", options->shell,
                     "bash, zsh or fish; these scripts ask `zrk completion words -- zrk WORD...`")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish", "words"}));
    command->add_option("WORD", options->words, "of a command line, the last one is to be completed");
    command->callback([&app = program.app, &work = program.work, options] {
        work = [&app, options] {
            if (options->shell == "words") {
                printCandidates(app, options->words);
            } else {
                fmt::print("{}", options->shell == "bash" ? kBash : options->shell == "zsh" ? kZsh : kFish);
            }
        };
    });
}

} // namespace zrkcli
