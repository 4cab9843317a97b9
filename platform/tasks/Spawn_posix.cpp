#include <csignal>
#include <spawn.h>
#include <unistd.h>

#include "platform/tasks/Spawn.h"
#include "platform/tasks/SpawnDescriptors_posix.h"

extern "C" char** environ; // some systems leave its declaration to the program

namespace qvx::platform {

namespace {

/// Pointers into strings that outlive it, closed by a null pointer, as the system wants its vectors.
std::vector<char*> pointersTo(const std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (const std::string& string : strings)
        pointers.push_back(const_cast<char*>(string.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    posix_spawn_file_actions_t* get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

/// Default dispositions and an empty mask: what this process ignores or blocks is its own affair.
class SpawnAttributes {
public:
    explicit SpawnAttributes(int furtherFlags) {
        ::posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigfillset(&signals);
        sigdelset(&signals, SIGKILL); // nobody can change these two, and a system may refuse the attempt
        sigdelset(&signals, SIGSTOP);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::posix_spawnattr_setflags(
            &attributes_, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | furtherFlags));
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    posix_spawnattr_t* get() { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

} // namespace

int Spawn::start(pid_t& child) const {
    SpawnActions actions;
    const int closing = giveDescriptors(actions.get(), standard);
    if (directory)
        ::posix_spawn_file_actions_addchdir_np(actions.get(), directory->c_str());
    SpawnAttributes attributes(closing | (hasOwnSession ? POSIX_SPAWN_SETSID : 0));
    std::vector<std::string> variables;
    if (environment) {
        for (const auto& [name, value] : *environment)
            variables.push_back(name + "=" + value);
    }
    return ::posix_spawn(&child, path.c_str(), actions.get(), attributes.get(), pointersTo(words).data(),
                         environment ? pointersTo(variables).data() : environ);
}

} // namespace qvx::platform
