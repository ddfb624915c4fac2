#include "tests/support/program.h"

#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/search_path.hpp>
#include <boost/process/start_dir.hpp>
#include <iomanip>
#include <sstream>
#include <vector>

namespace process = boost::process;

Outcome run_program(const std::string& line, const std::string& directory,
                    const std::map<std::string, std::string>& variables) {
    std::istringstream words(line);
    std::string program;
    words >> std::quoted(program);
    std::vector<std::string> arguments;
    for (std::string word; words >> std::quoted(word);) arguments.push_back(word);

    process::environment environment = boost::this_process::environment();
    // Not with operator[]: in Boost 1.74 it reads past the end of shorter variables.
    environment.set("TZ", "UTC");
    for (const auto& [name, value] : variables) environment.set(name, value);
    // Shorter output would not overwrite the end of an earlier run's.
    for (const char* file : {"/out", "/err"}) boost::filesystem::remove(directory + file);
    const boost::filesystem::path path(program);
    process::child child(process::exe = path.has_parent_path() ? path : process::search_path(program),
                         process::args = arguments, process::start_dir = directory, environment,
                         process::std_in<process::null, process::std_out> directory + "/out",
                         process::std_err > directory + "/err");
    child.wait();
    return {child.exit_code(), read_file(directory + "/out"), read_file(directory + "/err")};
}

std::string full_path(const std::string& path) {
    return boost::filesystem::absolute(path).string();
}
