#include "shared/Categories/NSTask+Convenience.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "tests/TemporaryFolder.h"

namespace qvx::NSTask {

namespace {

struct Outcome {
    std::string standardError, standardOutput;
    int32_t status = -1;
};

Outcome launch(const std::string& script, const std::optional<std::string>& directory = {},
               const Variables& environment = {}) {
    Outcome outcome;
    launchWithPath(
        "/bin/sh", directory, std::vector<std::string>{"-c", script}, environment,
        [&](const platform::Data& standardError, const platform::Data& standardOutput, int32_t status) {
            outcome = {standardError.string(), standardOutput.string(), status};
        });
    return outcome;
}

} // namespace

TEST(NSTask, GivesBothOutputsAndTheStatus) {
    const Outcome outcome = launch("printf out; printf 'err\\0' >&2; exit 3");
    EXPECT_EQ(outcome.standardOutput, "out");
    EXPECT_EQ(outcome.standardError, std::string("err\0", 4));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(launch("kill -KILL $$").status, SIGKILL);
    EXPECT_FALSE(runTaskWithLaunchPath("/bin/false", std::nullopt));
    const std::vector<std::string> words{
        "-c", "printf '%s.' \"$@\"; printf %s \"$1\" >&2", "sh", "é x", "", "$HOME;"};
    EXPECT_EQ(stdoutWithLaunchPath("/bin/sh", words), "é x..$HOME;.");
    EXPECT_EQ(stderrWithLaunchPath("/bin/sh", words), "é x");
    const std::vector<std::string> notUTF8{"-c", "printf '\\303'; printf '\\377' >&2"};
    EXPECT_EQ(stdoutWithLaunchPath("/bin/sh", notUTF8), std::nullopt);
    EXPECT_EQ(stderrWithLaunchPath("/bin/sh", notUTF8), std::nullopt);
}

TEST(NSTask, FolderAndEnvironment) {
    const test::TemporaryFolder folder;
    const std::string path = std::filesystem::canonical(folder.path());
    EXPECT_EQ(launch("pwd -P", path).standardOutput, path + "\n");
    EXPECT_EQ(launch("pwd -P").standardOutput, std::filesystem::current_path().native() + "\n");
    EXPECT_TRUE(runTaskWithLaunchPath("/bin/sh", path,
                                      std::vector<std::string>{"-c", "[ \"$PWD\" = '" + path + "' ]"}));
    EXPECT_EQ(launch("printf %s \"$PATH\"").standardOutput, std::getenv("PATH"));
    EXPECT_EQ(launch("echo $A-$HOME", {}, {{{"A", "b=c d"}}}).standardOutput, "b=c d-\n");
}

TEST(NSTask, TheChildStartsClean) {
    const int inherited = ::open("/dev/null", O_RDONLY); // as one that this process was started with
    const auto before = ::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked, old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &old);
    // The signals from 29 on are left out: two of them are the C library's own.
    const Outcome outcome = launch("ls /proc/self/fd; grep -cE 'Sig(Blk|Ign):.*0000000$' /proc/self/status");
    ::pthread_sigmask(SIG_SETMASK, &old, nullptr);
    ::signal(SIGPIPE, before);
    ::close(inherited);
    // The fourth descriptor is that of the listing itself.
    EXPECT_EQ(outcome.standardOutput, "0\n1\n2\n3\n2\n");
}

} // namespace qvx::NSTask
