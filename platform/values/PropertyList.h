#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/text/Error.h"
#include "platform/values/Value.h"

namespace qvx::platform {

/// Parses a property list: XML, binary or old style (see PropertyListFormats.h). What cannot be parsed, nests
/// deeper than 512 or is larger than 16 MiB gives an error of the domain NSCocoaErrorDomain with code 3840.
/// Of pairs with the same key the last one's value counts.
Result<Value> propertyListWithData(const Data& data);

/// The dictionary in the property-list file at `path` (UTF-8); absent when the file cannot be read, is no
/// regular file or holds anything else.
std::optional<Dictionary> dictionaryWithContentsOfFile(std::string_view path);

/// The dictionary as an XML property list in UTF-8, its pairs in their order. Characters that XML cannot hold
/// become U+FFFD, null an empty string.
std::string xmlPropertyList(const Dictionary& dictionary);

/// Writes the dictionary as an XML property list to `path`: to a temporary file beside it, readable by its
/// owner alone, that then takes its place. On failure nothing is left and what was at `path` stays.
[[nodiscard]] std::optional<Error> writeToFileAtomically(const Dictionary& dictionary, std::string_view path);

} // namespace qvx::platform
