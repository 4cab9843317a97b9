#include "platform/http/HeaderFields.h"

#include <algorithm>

#include "platform/text/String.h"

namespace qvx::platform {

namespace {

auto exactly(auto& fields, std::string_view name) {
    return std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return field.first == name; });
}

} // namespace

HeaderFields::HeaderFields(std::initializer_list<Field> fields) {
    for (const auto& [name, value] : fields)
        add(name, value);
}

std::optional<std::string> HeaderFields::value(std::string_view name) const {
    const auto place = places_.find(lowercaseASCII(name));
    return place == places_.end() ? std::nullopt : std::optional(fields_[place->second].second);
}

bool HeaderFields::contains(std::string_view name) const {
    return exactly(fields_, name) != fields_.end();
}

void HeaderFields::set(std::string_view name, std::string_view value) {
    const auto found = exactly(fields_, name);
    if (found != fields_.end())
        found->second = value;
    else
        add(name, value);
}

void HeaderFields::append(std::string_view name, std::string_view value, std::string_view separator) {
    const auto place = places_.find(lowercaseASCII(name));
    if (place != places_.end())
        fields_[place->second].second.append(separator).append(value);
    else
        add(name, value);
}

void HeaderFields::extendLast(std::string_view text) {
    if (!fields_.empty())
        fields_.back().second.append(text);
}

void HeaderFields::add(std::string_view name, std::string_view value) {
    // The first field of a name is the one that is found; replies may hold thousands.
    places_.try_emplace(lowercaseASCII(name), fields_.size());
    fields_.emplace_back(name, value);
}

} // namespace qvx::platform
