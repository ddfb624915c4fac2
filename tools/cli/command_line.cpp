#include "tools/cli/command_line.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <utility>

#include "tools/cli/exit_status.h"
#include "tools/cli/program_pages.h"

namespace cli {
namespace {

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

template <typename Value>
CLI::Option* add_option(CLI::App& app, const std::string& names, const std::string& placeholder, Value& value,
                        const std::string& description, Presence presence = Presence::kOptional) {
    return app.add_option(names, value, description)
        ->type_name(placeholder)
        ->required(presence == Presence::kRequired);
}

}  // namespace

void Command::flag(const std::string& names, bool& value, const std::string& description) {
    app_->add_flag(names, value, description);
}

void Command::text(const std::string& names, const std::string& placeholder, std::string& value,
                   const std::string& description, Presence presence) {
    add_option(*app_, names, placeholder, value, description, presence);
}

void Command::texts(const std::string& names, const std::string& placeholder,
                    std::vector<std::string>& values, const std::string& description, Presence presence) {
    add_option(*app_, names, placeholder, values, description, presence);
}

void Command::number(const std::string& names, std::uint32_t& value, const std::string& description) {
    add_option(*app_, names, "N", value, description);
}

void Command::number(const std::string& names, std::uint32_t& value, const std::string& description,
                     Range range) {
    add_option(*app_, names, "N", value, description)->check(CLI::Range(range.least, range.most));
}

void Command::choice(const std::string& names, std::uint32_t& value, const std::string& description,
                     const std::vector<std::uint32_t>& choices) {
    add_option(*app_, names, "N", value, description)->check(CLI::IsMember(choices));
}

void Command::parsed(const std::string& names, const std::string& placeholder,
                     const std::function<bool(const std::string&)>& read, const std::string& expected,
                     const std::string& description, Presence presence) {
    const auto read_or_throw = [read, expected](const std::string& text) {
        if (!read(text)) throw CLI::ValidationError(fmt::format("{} is not {}", text, expected));
    };
    app_->add_option_function<std::string>(names, read_or_throw, description)
        ->type_name(placeholder)
        ->required(presence == Presence::kRequired);
}

Program::Program(const std::string& name, const std::string& description, const std::string& exit_status)
    : app_(std::make_unique<CLI::App>("", name)) {
    describe_program(*app_, description, exit_status);
}

Program::~Program() = default;

Command Program::add(const std::string& name, const std::string& description, const std::string& example,
                     std::function<int()> action) {
    CLI::App& command = add_command(*app_, name, description, example);
    command.callback([this, action = std::move(action)] { chosen_ = action; });
    return Command(command);
}

int Program::run(int argc, const char* const* argv) {
    return parse(*app_, argc, argv) ? chosen_() : kSuccess;
}

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
