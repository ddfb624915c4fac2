#include "tools/cli/command_line.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <vector>

#include "tools/cli/exit_status.h"

namespace cli {
namespace {

constexpr const char* kExitStatus = "Exit status: ";

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

/// The names of an option: "\-o, \-\-out".
std::string names_of(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const auto& name : option.get_snames()) names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) names.push_back("--" + name);
    return escaped(fmt::format("{}", fmt::join(names, ", ")));
}

/// The values that an option can have, as its check lists them: "{default,safe}"; empty if it has no list.
std::string values_of(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const auto begin = type.find(":{");
    return begin == std::string::npos || !type.ends_with('}')
               ? ""
               : type.substr(begin + 2, type.size() - begin - 3);
}

/// "--jobs N", "PATH...".
std::string usage_of(const CLI::Option& option) {
    const bool takes_value = option.get_items_expected_max() > 0;
    const bool repeats = option.get_items_expected_max() > 1;
    const std::string type = option.get_type_name();  // followed by a colon and the name of its check
    const std::string value = takes_value ? type.substr(0, type.find(':')) + (repeats ? "..." : "") : "";
    if (!option.nonpositional()) return escaped(option.get_name(true) + (repeats ? "..." : ""));
    return fmt::format("\\fB{}\\fR{}{}", names_of(option), value.empty() ? "" : " ", escaped(value));
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

/// The names of an App's options, as compgen expects a word list: "--json --jobs ".
std::string option_words(const CLI::App& app) {
    std::string words;
    for (const auto* option : visible_options(app)) {
        for (const auto& name : option->get_lnames()) words += fmt::format("--{} ", name);
    }
    return words;
}

/// Lines of a bash case: the values of the options that have a list of them.
std::string value_cases(const CLI::App& command) {
    std::string cases;
    for (const auto* option : visible_options(command)) {
        std::string values = values_of(*option);
        if (values.empty()) continue;
        std::replace(values.begin(), values.end(), ',', ' ');
        cases += fmt::format("        \"{} {}\") values='{}' ;;\n", command.get_name(), option->get_name(),
                             values);
    }
    return cases;
}

/// The date of the build, or the one that a reproducible build prescribes.
std::string build_date() {
    // Nothing changes the environment, so any thread may read it.
    const char* const prescribed = std::getenv("SOURCE_DATE_EPOCH");  // NOLINT(concurrency-mt-unsafe)
    const auto now = std::chrono::system_clock::now();
    const std::chrono::sys_time<std::chrono::seconds> time =
        prescribed == nullptr
            ? std::chrono::floor<std::chrono::seconds>(now)
            : std::chrono::sys_seconds(std::chrono::seconds(std::strtoll(prescribed, nullptr, 10)));
    const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(time));
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                       static_cast<unsigned>(day.day()));
}

/// The manual page, section 1, as troff source.
std::string man_page(const CLI::App& program) {
    const std::string& name = program.get_name();
    const std::string description = program.get_description();
    std::string text =
        fmt::format(".TH \"{}\" 1 {} \"norvanepi {}\" \"User Commands\"\n.ad l\n.SH NAME\n{} \\- {}\n",
                    escaped(upper(name)), build_date(), NORVANEPI_VERSION, escaped(name),
                    escaped(description.substr(0, description.find(". "))));
    text += fmt::format(".SH SYNOPSIS\n.B {}\nCOMMAND [OPTIONS]\n", escaped(name));
    text += fmt::format(".SH DESCRIPTION\n{}\n.SH COMMANDS\n", escaped(description));
    for (const auto* command : visible_commands(program)) text += command_section(*command);
    const std::string footer = program.get_footer();
    text +=
        fmt::format(".SH EXIT STATUS\n{}\n", escaped(footer.substr(std::string_view(kExitStatus).size())));
    return text + R"(.SH ENVIRONMENT
.TP
\fBNO_COLOR\fR
If it is set and not empty, text is not coloured.
.TP
\fBTERM\fR
If it is "dumb", text is not coloured, and no progress is shown.
.TP
\fBTZ\fR
The time zone of times without one.
)";
}

/// A bash script that completes subcommands and options.
std::string bash_completion(const CLI::App& program) {
    const std::string& name = program.get_name();
    std::string function = "_" + name;
    std::replace(function.begin(), function.end(), '-', '_');
    std::string commands;
    std::string cases;
    std::string values;
    for (const auto* command : visible_commands(program)) {
        commands += command->get_name() + " ";
        values += value_cases(*command);
        cases += fmt::format("        {}) words='{}' ;;\n", command->get_name(), option_words(*command));
    }
    return fmt::format(R"({0}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}}
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W '{2}{3}' -- "$current"))
        return
    fi
    local words= values=
    case ${{COMP_WORDS[1]}} in
{4}    esac
    case "${{COMP_WORDS[1]}} ${{COMP_WORDS[COMP_CWORD-1]}}" in
{5}    esac
    COMPREPLY=()
    if [[ $values ]]; then COMPREPLY=($(compgen -W "$values" -- "$current")); return; fi
    if [[ $current == -* ]]; then COMPREPLY=($(compgen -W "$words" -- "$current")); fi
}}
complete -o default -F {0} {1}
)",
                       function, name, commands, option_words(program), cases, values);
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

/// The number of characters to insert, remove, replace or exchange with the next one that turns one word into
/// the other.
std::size_t edit_distance(std::string_view from, std::string_view to) {
    std::vector<std::vector<std::size_t>> costs(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                costs[i][j] = i + j;
                continue;
            }
            costs[i][j] = std::min({costs[i - 1][j] + 1, costs[i][j - 1] + 1,
                                    costs[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1)});
            const bool exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (exchanged) costs[i][j] = std::min(costs[i][j], costs[i - 2][j - 2] + 1);
        }
    }
    return costs[from.size()][to.size()];
}

/// Throws CannotRun unless the program has the command. Suggests a similar one.
void require_command(CLI::App& program, const std::string& name) {
    constexpr std::size_t kMaxDistance = 2;
    const auto all = program.get_subcommands([](const CLI::App*) { return true; });
    if (std::ranges::any_of(all, [&](const CLI::App* command) { return command->get_name() == name; }))
        return;
    std::string message = fmt::format("unknown command '{}'", name);
    std::size_t least = kMaxDistance + 1;
    std::string nearest;
    for (const auto* command : visible_commands(program)) {
        const std::size_t distance = edit_distance(name, command->get_name());
        if (distance < least) nearest = command->get_name();
        least = std::min(least, distance);
    }
    if (!nearest.empty()) message += fmt::format("; did you mean '{}'?", nearest);
    throw CannotRun(message + " (see --help)");
}

}  // namespace

void describe_program(CLI::App& program, const std::string& description, const std::string& exit_status) {
    program.description(description);
    program.footer(kExitStatus + exit_status);
    program.set_version_flag("--version", fmt::format("{} {}", program.get_name(), NORVANEPI_VERSION),
                             "Print the version and exit");
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
    CLI::App* const help = program.add_subcommand("help", "Shows the help of a command");
    std::string topic;
    help->add_option("COMMAND", topic, "name of a command")->type_name("");
    if (argc > 1 && *argv[1] != '-') require_command(program, argv[1]);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& answer) {
        std::ostringstream text;
        program.exit(answer, text, text);
        fmt::print("{}", text.str());
        return false;
    } catch (const CLI::ParseError& error) {
        throw CannotRun(fmt::format("{} (see --help)", error.what()));
    }
    if (!help->parsed()) return true;
    if (!topic.empty()) require_command(program, topic);
    fmt::print("{}",
               topic.empty() ? program.help() : program.get_subcommand(topic)->help(program.get_name()));
    return false;
}

}  // namespace cli
