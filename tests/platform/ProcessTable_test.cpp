#include "platform/ProcessTable.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "checks/Host.h"
#include "platform/Task.h"

namespace qvx::platform {

namespace {

/// A child process with a name of its own, which ends with this object.
class NamedChild {
public:
    explicit NamedChild(const char* name) {
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_NAME, name);
            ready_->writing.reset();
            over_->writing.reset();
            char byte = 0;
            [[maybe_unused]] const ssize_t count = ::read(over_->reading.get(), &byte, 1);
            ::_exit(0);
        }
        ready_->writing.reset(); // the child has its name once it has closed its own end
        readDataToEndOfFile(ready_->reading);
    }
    NamedChild(const NamedChild&) = delete;
    NamedChild& operator=(const NamedChild&) = delete;
    ~NamedChild() { end(); }

    void end() {
        over_->writing.reset();
        if (pid_ > 0)
            ::waitpid(std::exchange(pid_, -1), nullptr, 0);
    }

    [[nodiscard]] int identifier() const { return pid_; }

private:
    std::optional<Pipe> ready_ = Pipe::pipe(), over_ = Pipe::pipe();
    pid_t pid_ = -1;
};

} // namespace

TEST(ProcessTable, NamesParentsAndProcessesThatAreGone) {
    for (const char* name : {"Xcode", "a) S 1 (b", "x y ) R 7", "éé", "()", "fifteen.letters"}) {
        NamedChild child(name);
        const int identifier = child.identifier();
        const ProcessRecord record = processRecord(identifier);
        EXPECT_EQ(record.commandName, name);
        EXPECT_EQ(record.identifier, identifier);
        EXPECT_EQ(record.parentIdentifier, ::getpid());
        child.end();
        const ProcessRecord gone = processRecord(identifier);
        EXPECT_EQ(gone.commandName, "");
        EXPECT_EQ(gone.parentIdentifier, 1);
    }
}

TEST(ProcessTable, FindsItselfAmongTheNamesByLetter) {
    const std::string own = processRecord(processIdentifier()).commandName;
    EXPECT_TRUE(isProcessNameInHierarchy(own));
    EXPECT_FALSE(isProcessNameInHierarchy(own + "x"));
    EXPECT_FALSE(isProcessNameInHierarchy("UNIT_TESTS"));
}

} // namespace qvx::platform
