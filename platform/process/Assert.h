#pragma once

namespace qvx::platform {

/// Reports a failed assertion as the C library does and aborts.
/// \param condition the text of the condition that did not hold
/// \param function the name of the operation it stands in
/// \param file,line the place that the report names
[[noreturn]] void assertionFailed(const char* condition, const char* function, const char* file,
                                  unsigned line);

} // namespace qvx::platform
