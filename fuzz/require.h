#pragma once

/// Stops a fuzzer where something that must hold for every input does not.
inline void require(bool condition) {
    if (!condition)
        __builtin_trap();
}
