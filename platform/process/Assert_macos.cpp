#undef NDEBUG // or the C library would not declare its report
#include <cassert>

#include "platform/process/Assert.h"
#include "platform/process/ProgressLine.h"

namespace qvx::platform {

void assertionFailed(const char* condition, const char* function, const char* file, unsigned line) {
    ProgressLine::eraseAtEnd();
    __assert_rtn(function, file, static_cast<int>(line), condition);
}

} // namespace qvx::platform
