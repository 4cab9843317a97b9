#include "platform/process/RandomBytes.h"

#include <sys/random.h>

#include <cstdlib>

namespace qvx::platform {

void fillWithRandomBytes(std::span<uint8_t> bytes) {
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        std::abort();
}

} // namespace qvx::platform
