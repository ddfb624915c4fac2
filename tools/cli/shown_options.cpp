#include "tools/cli/shown_options.h"

namespace cli {

std::vector<const CLI::Option*> shown_options(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

std::vector<const CLI::Option*> shown_positionals(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* option) { return option->get_positional() && !option->get_group().empty(); });
}

std::vector<const CLI::App*> shown_commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

}  // namespace cli
