#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/Value.h"

namespace qvx::platform {

/// Parses a property list, XML or binary. What cannot be parsed, or nests deeper than 512, gives an error of
/// the domain NSCocoaErrorDomain with code 3840. Dates are read to the whole second, those more than 68 years
/// from 2001 wrongly.
Result<Value> propertyListWithData(const Data& data);

/// The dictionary in the property-list file at `path` (UTF-8); absent when the file cannot be read, is no
/// regular file or holds anything else.
std::optional<Dictionary> dictionaryWithContentsOfFile(std::string_view path);

/// The dictionary as an XML property list in UTF-8. Characters that XML cannot hold become U+FFFD.
std::string xmlPropertyList(const Dictionary& dictionary);

/// Writes the dictionary as an XML property list to `path`: to a temporary file beside it, readable by its
/// owner alone, that then takes its place. On failure nothing is left and what was at `path` stays.
[[nodiscard]] std::optional<Error> writeToFileAtomically(const Dictionary& dictionary, std::string_view path);

} // namespace qvx::platform
