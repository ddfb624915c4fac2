#include "tools/cli/command_line.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <vector>

#include "tools/cli/exit_status.h"

namespace cli {
namespace {

using Options = std::vector<const CLI::Option*>;

// What the help shows, in the order of declaration. CLI11 hides an option or subcommand without a group.

Options visible_options(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

Options visible_positionals(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* option) { return option->get_positional() && !option->get_group().empty(); });
}

std::vector<const CLI::App*> visible_commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

/// Escapes text for troff. A dot or quote at the beginning of a line would start a request.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) out += "\\&";
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
    }
    return out;
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

/// "--jobs N", "PATH...".
std::string usage_of(const CLI::Option& option) {
    const bool takes_value = option.get_items_expected_max() > 0;
    const bool repeats = option.get_items_expected_max() > 1;
    const std::string type = option.get_type_name();  // followed by a colon and the name of its check
    const std::string value = takes_value ? type.substr(0, type.find(':')) + (repeats ? "..." : "") : "";
    if (!option.nonpositional()) return escaped(option.get_name(true) + (repeats ? "..." : ""));
    return fmt::format("\\fB{}\\fR{}{}", escaped(option.get_name()), value.empty() ? "" : " ",
                       escaped(value));
}

std::string entry_of(const CLI::Option& option) {
    return fmt::format(".TP\n{}\n{}\n", usage_of(option), escaped(option.get_description()));
}

std::string command_section(const CLI::App& command) {
    std::string text =
        fmt::format(".SS \"{}\"\n{}\n", escaped(command.get_name()), escaped(command.get_description()));
    for (const auto* option : visible_positionals(command)) text += entry_of(*option);
    for (const auto* option : visible_options(command)) text += entry_of(*option);
    if (!command.get_footer().empty()) text += fmt::format(".PP\n{}\n", escaped(command.get_footer()));
    return text;
}

/// The long names of an App's options, as compgen expects a word list: "--json --jobs ".
std::string option_words(const CLI::App& app) {
    std::string words;
    for (const auto* option : visible_options(app)) {
        for (const auto& name : option->get_lnames()) words += fmt::format("--{} ", name);
    }
    return words;
}

/// The manual page, section 1, as troff source.
std::string man_page(const CLI::App& program) {
    const std::string& name = program.get_name();
    const std::string description = program.get_description();
    std::string text = fmt::format(".TH \"{}\" 1\n.ad l\n.SH NAME\n{} \\- {}\n", escaped(upper(name)),
                                   escaped(name), escaped(description.substr(0, description.find(". "))));
    text += fmt::format(".SH SYNOPSIS\n.B {}\nCOMMAND [OPTIONS]\n", escaped(name));
    text += fmt::format(".SH DESCRIPTION\n{}\n.SH COMMANDS\n", escaped(description));
    for (const auto* command : visible_commands(program)) text += command_section(*command);
    return text + fmt::format(".SH NOTES\n{}\n", escaped(program.get_footer()));
}

/// A bash script that completes subcommands and options.
std::string bash_completion(const CLI::App& program) {
    const std::string& name = program.get_name();
    std::string function = "_" + name;
    std::replace(function.begin(), function.end(), '-', '_');
    std::string commands;
    std::string cases;
    for (const auto* command : visible_commands(program)) {
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

/// Prints the page and ends the program, as --help does. An option without a group is not shown in the help.
void add_hidden_page(CLI::App& program, const std::string& name, std::string (*page_of)(const CLI::App&)) {
    program
        .add_flag_callback(name,
                           [&program, page_of] {
                               fmt::print("{}", page_of(program));
                               throw CLI::Success();
                           })
        ->group("");
}

}  // namespace

void describe_program(CLI::App& program, const std::string& description, const std::string& exit_status) {
    program.description(description);
    program.footer("Exit status: " + exit_status);
    program.require_subcommand(1);
    program.fallthrough(false);
    program.allow_windows_style_options(false);  // "/clips/front.mp4" is a path on Windows too
    add_hidden_page(program, "--print-man", man_page);
    add_hidden_page(program, "--print-completion", bash_completion);
}

CLI::App& add_command(CLI::App& program, const std::string& name, const std::string& description,
                      const std::string& example) {
    CLI::App* const command = program.add_subcommand(name, description);
    command->footer("Example: " + example);
    return *command;
}

bool parse(CLI::App& program, int argc, const char* const* argv) {
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& answer) {
        program.exit(answer);
        return false;
    } catch (const CLI::ParseError& error) {
        throw CannotRun(fmt::format("{} (see --help)", error.what()));
    }
    return true;
}

}  // namespace cli
