#include "platform/tasks/SpawnDescriptors_posix.h"

namespace qvx::platform {

int giveDescriptors(posix_spawn_file_actions_t* actions, const std::array<int, 3>& standard) {
    for (size_t target = 0; target < standard.size(); ++target)
        ::posix_spawn_file_actions_adddup2(actions, standard[target], static_cast<int>(target));
    // After the three are in place, so that the ends of their pipes go as well: a child that held the
    // writing end of its own output would keep its reader waiting.
    ::posix_spawn_file_actions_addclosefrom_np(actions, 3);
    return 0;
}

} // namespace qvx::platform
