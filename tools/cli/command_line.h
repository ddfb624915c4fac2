#pragma once

// The command line of a program with subcommands. Only .cpp files include CLI11, which takes seconds to
// compile.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace cli {

enum class Presence { kOptional, kRequired };

/// Declares the options of a subcommand. Each value is set by Program::run and must still exist then. Names
/// are
/// "--name", "-n,--name", or "NAME" for a positional argument. The placeholder represents the value in the
/// help.
class Command {
  public:
    /// A number outside the range is wrong usage.
    struct Range {
        std::uint32_t least;
        std::uint32_t most;
    };

    explicit Command(CLI::App& app) : app_(&app) {}

    void flag(const std::string& names, bool& value, const std::string& description);
    void text(const std::string& names, const std::string& placeholder, std::string& value,
              const std::string& description, Presence presence = Presence::kOptional);
    void texts(const std::string& names, const std::string& placeholder, std::vector<std::string>& values,
               const std::string& description, Presence presence = Presence::kOptional);
    void number(const std::string& names, std::uint32_t& value, const std::string& description);
    void number(const std::string& names, std::uint32_t& value, const std::string& description, Range range);
    void choice(const std::string& names, std::uint32_t& value, const std::string& description,
                const std::vector<std::uint32_t>& choices);

    /// A value with a form of its own. `read` returns false for a text that is not `expected` ("a UTC time").
    void parsed(const std::string& names, const std::string& placeholder,
                const std::function<bool(const std::string&)>& read, const std::string& expected,
                const std::string& description, Presence presence = Presence::kOptional);

  private:
    CLI::App* app_;
};

class Program {
  public:
    Program(const std::string& name, const std::string& description, const std::string& exit_status);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    /// Adds a subcommand. `example` is a whole command line for the end of its help; `action` returns the
    /// exit status.
    Command add(const std::string& name, const std::string& description, const std::string& example,
                std::function<int()> action);

    /// Parses the command line and runs the chosen subcommand. Throws CannotRun for wrong usage.
    [[nodiscard]] int run(int argc, const char* const* argv);

  private:
    std::unique_ptr<CLI::App> app_;
    std::function<int()> chosen_;
};

// The steps of Program, for a program that declares its options with CLI11 itself.

/// Sets the description and the exit status of the help, and requires one subcommand.
void describe_program(CLI::App& program, const std::string& description, const std::string& exit_status);

CLI::App& add_command(CLI::App& program, const std::string& name, const std::string& description,
                      const std::string& example);

/// Returns false if the program already printed its answer: help, --print-man or --print-completion. Throws
/// CannotRun for wrong usage.
[[nodiscard]] bool parse(CLI::App& program, int argc, const char* const* argv);

}  // namespace cli
