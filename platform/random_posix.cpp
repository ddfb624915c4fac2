#include <sys/random.h>

#include <system_error>

#include "platform/posix_file.h"
#include "platform/random.h"

namespace platform {

void fill_random(std::span<Byte> to) {
    while (!to.empty()) {
        const auto got = uninterrupted([&] { return ::getrandom(to.data(), to.size(), 0); });
        if (got <= 0) throw std::system_error(errno, std::system_category(), "no random bytes");
        to = to.subspan(static_cast<std::size_t>(got));
    }
}

}  // namespace platform
