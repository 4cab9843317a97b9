#include "platform/RandomBytes.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace qvx::platform {

void fillWithRandomBytes(std::span<uint8_t> bytes) {
    constexpr size_t mostAtOnce = 256; // getentropy(3)
    while (!bytes.empty()) {
        const size_t count = std::min(bytes.size(), mostAtOnce);
        if (::getentropy(bytes.data(), count) != 0)
            std::abort();
        bytes = bytes.subspan(count);
    }
}

} // namespace qvx::platform

/// What libexpat, built where the C library has this function, asks for the salt of its hash tables. The C
/// library's own would keep the program from starting on systems whose C library is older than 2.36.
extern "C" void arc4random_buf(void* buffer, size_t size) noexcept {
    qvx::platform::fillWithRandomBytes({static_cast<uint8_t*>(buffer), size});
}
