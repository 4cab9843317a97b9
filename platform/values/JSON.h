#pragma once

#include <optional>

#include "platform/values/Value.h"

namespace qvx::platform {

/// Parses JSON (RFC 8259) in UTF-8 whose top level is an array or an object, with nothing behind it but white
/// space; absent for anything else and for nesting deeper than 512.
std::optional<Value> JSONObjectWithData(const Data& data);

} // namespace qvx::platform
