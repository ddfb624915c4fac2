#include "bench/ratios/plain_copy.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "bench/ratios/measure.h"
#include "platform/posix_file.h"

namespace bench {

void plain_copy(const std::string& from, const std::string& to) {
    static std::array<platform::Byte, kCopyWindow> buffer;
    const auto in = platform::PosixFile::open(from, O_RDONLY);
    const auto out = platform::PosixFile::open(to, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (;;) {
        const ::ssize_t got = ::read(in.descriptor(), buffer.data(), buffer.size());
        if (got == 0) return;
        require(got > 0 && ::write(out.descriptor(), buffer.data(), static_cast<std::size_t>(got)) == got,
                "a copy failed");
    }
}

}  // namespace bench
