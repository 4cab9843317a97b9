#include "platform/process/RandomBytes.h"

#include <unistd.h>

#include <cstdlib>

namespace qvx::platform {

void fillWithRandomBytes(std::span<uint8_t> bytes) {
    // Fails on no system that this starts on; an identifier that is not unique would be worse than none.
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        std::abort();
}

} // namespace qvx::platform

/// What libexpat, built where the C library has this function, asks for the salt of its hash tables. The C
/// library's own would keep the program from starting on systems whose C library is older than 2.36.
extern "C" [[gnu::visibility("hidden")]] void arc4random_buf(void* buffer, size_t size) noexcept {
    qvx::platform::fillWithRandomBytes({static_cast<uint8_t*>(buffer), size});
}
