#include "tools/cli/completion.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/cli/shown_options.h"

namespace cli {
namespace {

/// "--json --jobs" of an App, as compgen takes words.
std::string option_words(const CLI::App& app) {
    std::string words;
    for (const auto* option : shown_options(app)) {
        for (const auto& name : option->get_lnames()) words += fmt::format("--{} ", name);
    }
    return words;
}

}  // namespace

std::string bash_completion(const CLI::App& program) {
    const std::string& name = program.get_name();
    std::string function = "_" + name;
    std::replace(function.begin(), function.end(), '-', '_');
    std::string commands;
    std::string cases;
    for (const auto* command : shown_commands(program)) {
        commands += command->get_name() + " ";
        cases += fmt::format("        {}) words='{}' ;;\n", command->get_name(), option_words(*command));
    }
    return fmt::format(R"({0}() {{
    local words current=${{COMP_WORDS[COMP_CWORD]}}
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W '{2}{3}' -- "$current"))
        return
    fi
    case ${{COMP_WORDS[1]}} in
{4}    esac
    COMPREPLY=()
    if [[ $current == -* ]]; then COMPREPLY=($(compgen -W "$words" -- "$current")); fi
}}
complete -o default -F {0} {1}
)",
                       function, name, commands, option_words(program), cases);
}

}  // namespace cli
