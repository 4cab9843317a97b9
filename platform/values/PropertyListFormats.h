#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/values/Value.h"

/// The formats of property lists, one reader each. A reader gives nothing for what it cannot read and for
/// what nests deeper than `ValueBuilder::maximumDepth`.
namespace qvx::platform::PropertyListFormats {

/// The most values that a text may hold; the binary reader bounds the memory that they take.
inline constexpr size_t maximumValues = size_t{1} << 20;

/// XML (DTD PropertyList 1.0; the `plist` element may be missing) in any encoding that expat knows. A
/// document with declarations of its own (an internal DTD subset) is not read, nothing that it refers to is
/// fetched.
///
/// \param failure set to the line and the reason when the result is absent
std::optional<Value> readXML(std::string_view bytes, std::string& failure);

/// The binary form, version 00. One whose shared objects would unfold to more than 16 MiB is not read.
std::optional<Value> readBinary(std::string_view bytes);

/// The old style: dictionaries `{ key = value; }`, arrays `(a, b)`, data `<0fbd77 1c27>` and texts, quoted or
/// plain, with comments as in C++, in UTF-8; a dictionary or an array at the top.
std::optional<Value> readOldStyle(std::string_view text);

/// How XML lists write data: base64 (RFC 4648, section 4), in which blanks and line ends may stand anywhere.
std::string base64(std::string_view bytes);
std::optional<Data> dataOfBase64(std::string_view text);

/// How XML lists write dates: `YYYY-MM-DDTHH:MM:SSZ`, whole seconds of any year within two billion.
std::string dateText(Date date);
std::optional<Date> dateOfText(std::string_view text);

} // namespace qvx::platform::PropertyListFormats
