// Feeds any bytes to the property-list reader, and what it makes of them to the writer: what was written must
// be read back as what it was, but for what XML cannot hold.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "platform/PropertyList.h"
#include "platform/String.h"

namespace {

using namespace qvx::platform;

void require(bool condition) {
    if (!condition)
        __builtin_trap();
}

// A string as XML can hold it: one U+FFFD for a character that it cannot.
std::string held(std::string_view text) {
    std::string result;
    for (size_t index = 0; index < text.size(); ++index) {
        const std::string_view three = text.substr(index, 3);
        const bool isNoncharacter = three == "\uFFFE" || three == "\uFFFF";
        if (isNoncharacter)
            index += 2;
        const auto byte = static_cast<unsigned char>(text[index]);
        if (isNoncharacter || (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r'))
            result += "\uFFFD";
        else
            result += text[index];
    }
    return result;
}

bool isHeld(const Value& before, const Value& after);

bool isHeld(const Dictionary& before, const Dictionary& after) {
    std::set<std::string> keys;
    for (const auto& [key, value] : before.items())
        keys.insert(held(key));
    if (keys.size() < before.items().size())
        return after.items().size() == keys.size(); // of pairs with one key only one can be kept
    if (after.items().size() != keys.size())
        return false;
    for (size_t index = 0; index < keys.size(); ++index) {
        const auto& [key, value] = before.items()[index];
        if (after.items()[index].first != held(key) || !isHeld(value, after.items()[index].second))
            return false;
    }
    return true;
}

bool isHeld(const Value& before, const Value& after) {
    if (const auto* text = before.get<std::string>())
        return after == Value(held(*text));
    if (before.get<std::nullptr_t>())
        return after == Value("");
    if (const auto* real = before.get<double>(); real && std::isnan(*real))
        return after.get<double>() && std::isnan(*after.get<double>());
    if (const auto* dictionary = before.get<Dictionary>())
        return after.get<Dictionary>() && isHeld(*dictionary, *after.get<Dictionary>());
    const auto* array = before.get<Value::Array>();
    const auto* other = after.get<Value::Array>();
    if (!array || !other)
        return before == after;
    bool same = array->size() == other->size();
    for (size_t index = 0; same && index < array->size(); ++index)
        same = isHeld((*array)[index], (*other)[index]);
    return same;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const Result<Value> value = propertyListWithData(Data::withBytes(input));
    if (!value) {
        require(value.error().domain == "NSCocoaErrorDomain" && value.error().code == 3840);
        return 0;
    }
    const Dictionary* dictionary = value->get<Dictionary>();
    if (!dictionary)
        return 0;
    const Result<Value> again = propertyListWithData(Data::withString(xmlPropertyList(*dictionary)));
    require(again && isHeld(*value, *again));
    return 0;
}
