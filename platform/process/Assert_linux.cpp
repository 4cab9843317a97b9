#undef NDEBUG // or the C library would not declare its report
#include <cassert>

#include "platform/process/Assert.h"
#include "platform/process/ProgressLine.h"

namespace qvx::platform {

void assertionFailed(const char* condition, const char* function, const char* file, unsigned line) {
    ProgressLine::eraseAtEnd();
    // The C library's own report, so that it reads like that of any program here; it aborts.
    __assert_fail(condition, file, line, function);
}

} // namespace qvx::platform
