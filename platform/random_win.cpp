#define _CRT_RAND_S  // for rand_s, which asks the system
#include <cstdlib>
#include <system_error>

#include "platform/random.h"

namespace platform {

void fill_random(std::span<Byte> to) {
    for (Byte& byte : to) {
        unsigned number = 0;
        if (const int error = ::rand_s(&number)) {
            throw std::system_error(error, std::generic_category(), "no random bytes");
        }
        byte = static_cast<Byte>(number & 0xFFU);
    }
}

}  // namespace platform
