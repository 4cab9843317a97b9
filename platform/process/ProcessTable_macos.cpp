#include <sys/sysctl.h>

#include <array>
#include <cstring>

#include "platform/process/ProcessTable.h"

namespace qvx::platform {

ProcessRecord processRecord(int identifier) {
    std::array<int, 4> name{CTL_KERN, KERN_PROC, KERN_PROC_PID, identifier};
    kinfo_proc process{};
    size_t size = sizeof process;
    // For a process that is gone the kernel succeeds and writes nothing.
    if (::sysctl(name.data(), name.size(), &process, &size, nullptr, 0) != 0 || size != sizeof process)
        return {identifier, 1, ""};
    const auto& command = process.kp_proc.p_comm;
    return {identifier, process.kp_eproc.e_ppid, std::string(command, ::strnlen(command, sizeof command))};
}

} // namespace qvx::platform
