#include <csignal>
#include <spawn.h>
#include <unistd.h>

#include "platform/tasks/Spawn.h"

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
    explicit SpawnAttributes(bool hasOwnSession) {
        ::posix_spawnattr_init(&attributes_);
        sigset_t signals;
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        const int session = hasOwnSession ? POSIX_SPAWN_SETSID : 0;
        ::posix_spawnattr_setflags(
            &attributes_, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | session));
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
    for (size_t target = 0; target < standard.size(); ++target)
        ::posix_spawn_file_actions_adddup2(actions.get(), standard[target], static_cast<int>(target));
    // What this process was itself started with is not marked for closing.
    // After the three are in place, so that the ends of their pipes go as well: a child that held the
    // writing end of its own output would keep its reader waiting.
    ::posix_spawn_file_actions_addclosefrom_np(actions.get(), 3);
    if (directory)
        ::posix_spawn_file_actions_addchdir_np(actions.get(), directory->c_str());
    SpawnAttributes attributes(hasOwnSession);
    std::vector<std::string> variables;
    if (environment) {
        for (const auto& [name, value] : *environment)
            variables.push_back(name + "=" + value);
    }
    return ::posix_spawn(&child, path.c_str(), actions.get(), attributes.get(), pointersTo(words).data(),
                         environment ? pointersTo(variables).data() : environ);
}

} // namespace qvx::platform
