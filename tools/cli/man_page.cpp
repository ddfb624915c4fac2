#include "tools/cli/man_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "tools/cli/shown_options.h"

namespace cli {
namespace {

/// Text as troff takes it: a backslash and a dash are its own, and a dot or quote opens a request at the
/// beginning of a line.
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
    const std::string type = option.get_type_name();  // with what checks it behind a colon
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
    for (const auto* option : shown_positionals(command)) text += entry_of(*option);
    for (const auto* option : shown_options(command)) text += entry_of(*option);
    if (!command.get_footer().empty()) text += fmt::format(".PP\n{}\n", escaped(command.get_footer()));
    return text;
}

}  // namespace

std::string man_page(const CLI::App& program) {
    const std::string& name = program.get_name();
    const std::string description = program.get_description();
    std::string text = fmt::format(".TH \"{}\" 1\n.ad l\n.SH NAME\n{} \\- {}\n", escaped(upper(name)),
                                   escaped(name), escaped(description.substr(0, description.find(". "))));
    text += fmt::format(".SH SYNOPSIS\n.B {}\nCOMMAND [OPTIONS]\n", escaped(name));
    text += fmt::format(".SH DESCRIPTION\n{}\n.SH COMMANDS\n", escaped(description));
    for (const auto* command : shown_commands(program)) text += command_section(*command);
    return text + fmt::format(".SH NOTES\n{}\n", escaped(program.get_footer()));
}

}  // namespace cli
