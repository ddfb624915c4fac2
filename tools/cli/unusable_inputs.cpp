#include "tools/cli/unusable_inputs.h"

#include <system_error>

#include "platform/file.h"
#include "tools/cli/exit_status.h"

namespace cli {

void UnusableInputs::add(const std::string& path, const std::string& reason) {
    print_error(tool_, path + ": " + reason);
    inputs_.emplace_back(path, reason);
}

Json UnusableInputs::json() const {
    Json list = Json::array();
    for (const auto& [path, reason] : inputs_) {
        Json input;
        add_path(input, path);
        input["reason"] = reason;
        list.push_back(input);
    }
    return list;
}

int UnusableInputs::status(int otherwise) const {
    return inputs_.empty() ? otherwise : kCannotRun;
}

std::string why_unreadable(const std::string& path) {
    if (auto problem = platform::open_problem(path)) return std::move(*problem);
    return platform::system_files().open_input(path)
               ? "cannot be read"
               : std::make_error_code(std::errc::no_such_file_or_directory).message();
}

}  // namespace cli
