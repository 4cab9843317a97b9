#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/values/Value.h"

namespace qvx::platform {

/// Puts a value together, piece by piece, from what a reader of some format meets. Each step answers false
/// when the piece has no place there; the text is then no value, and nothing more may be added.
class ValueBuilder {
public:
    /// How deep arrays and dictionaries may nest. Who walks through a value calls himself once a level.
    static constexpr size_t maximumDepth = 512;

    /// Begins a container, to which all belongs that comes before `close`; false beyond the depth.
    [[nodiscard]] bool openDictionary() { return open(true); }
    [[nodiscard]] bool openArray() { return open(false); }

    /// Ends the innermost container; false when it is a dictionary whose last key has no value.
    [[nodiscard]] bool close();

    /// Names the value that comes next; false when that has no name or has one already.
    [[nodiscard]] bool setKey(std::string key);

    /// Adds to the innermost container, or as the whole value; false for a nameless value of a dictionary and
    /// for a second whole value.
    [[nodiscard]] bool add(Value value);

    /// The whole value; absent when none was completed. To be called once.
    [[nodiscard]] std::optional<Value> takeResult() { return std::move(result_); }

private:
    struct Container {
        bool isDictionary;
        std::optional<std::string> key; ///< of the value that comes next
        std::vector<Dictionary::Item> items;
        Value::Array values;
    };

    [[nodiscard]] bool open(bool isDictionary);

    std::vector<Container> open_;
    std::optional<Value> result_;
};

} // namespace qvx::platform
