#include "tools/ps/export/sha256.h"

#include "tools/cli/exit_status.h"

namespace ps_tool {

struct Sha256::Library {};

Sha256::Sha256() {
    throw cli::CannotRun("SHA-256 is not supported by this build");
}
Sha256::~Sha256() = default;

std::string Sha256::of_bytes(std::span<const platform::Byte> /*bytes*/) {
    return "";
}

std::string Sha256::of_file(const std::string& /*path*/, const std::function<void(double)>& /*show*/) {
    return {};
}

}  // namespace ps_tool
