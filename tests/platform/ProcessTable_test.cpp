#include "platform/process/ProcessTable.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvx::platform {

TEST(ProcessTable, NamesParentsAndProcessesThatAreGone) {
    const std::string before = processRecord(::getpid()).commandName;
    for (const char* name : {"Xcode", "a) S 1 (b", "x y ) R 7", "éé", "()", "fifteen.letters"}) {
        ::prctl(PR_SET_NAME, name);
        const ProcessRecord record = processRecord(::getpid());
        EXPECT_EQ(record.commandName, name);
        EXPECT_EQ(record.identifier, ::getpid());
        EXPECT_EQ(record.parentIdentifier, ::getppid());
    }
    ::prctl(PR_SET_NAME, before.c_str());
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_EQ(processRecord(child).commandName, "");
    EXPECT_EQ(processRecord(child).parentIdentifier, 1);
}

} // namespace qvx::platform
