#pragma once

#include <spawn.h>

#include <array>

namespace qvx::platform {

/// Has the child given `standard` as its descriptors 0, 1 and 2, and no other: what this process was itself
/// started with is not marked for closing. Returns the flags that its attributes need for that.
[[nodiscard]] int giveDescriptors(posix_spawn_file_actions_t* actions, const std::array<int, 3>& standard);

} // namespace qvx::platform
