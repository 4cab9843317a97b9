#include "platform/tasks/SpawnDescriptors_posix.h"

namespace qvx::platform {

int giveDescriptors(posix_spawn_file_actions_t* actions, const std::array<int, 3>& standard) {
    for (size_t index = 0; index < standard.size(); ++index) {
        const int target = static_cast<int>(index);
        // A descriptor that is to stay what it is must be named all the same, or the flag closes it.
        if (standard[index] == target)
            ::posix_spawn_file_actions_addinherit_np(actions, target);
        else
            ::posix_spawn_file_actions_adddup2(actions, standard[index], target);
    }
    return POSIX_SPAWN_CLOEXEC_DEFAULT;
}

} // namespace qvx::platform
