#include "tools/cli/command_line.h"

#include <fmt/format.h>

#include "tools/cli/completion.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/man_page.h"

namespace cli {
namespace {

/// Options without a group are not shown. They print and end the program like --help does.
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
