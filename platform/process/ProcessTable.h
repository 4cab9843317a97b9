#pragma once

#include <string>

namespace qvx::platform {

/// One row of the process table.
struct ProcessRecord {
    int identifier = 0;
    int parentIdentifier = 0;
    std::string commandName; ///< the kernel's short name, at most 15 bytes on Linux, 16 on macOS
};

/// The process's own identifier.
int processIdentifier();

/// The row of the process `identifier`. A process that is gone or hidden is answered for as a child of
/// process 1 with an empty name, so that a walk towards the root always ends.
ProcessRecord processRecord(int identifier);

} // namespace qvx::platform
