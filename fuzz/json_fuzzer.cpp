// Feeds any bytes to the JSON reader and stops the process when it gives what it must not.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform/text/String.h"
#include "platform/values/JSON.h"

namespace {

using namespace qvx::platform;

void examine(const Value& value, int depth) {
    if (const auto* text = value.get<std::string>())
        require(isUTF8(*text));
    const auto* array = value.get<Value::Array>();
    const auto* dictionary = value.get<Dictionary>();
    require(depth < 512 || (!array && !dictionary));
    for (const Value& item : array ? *array : Value::Array())
        examine(item, depth + 1);
    for (const auto& [key, item] : dictionary ? dictionary->items() : std::vector<Dictionary::Item>()) {
        require(isUTF8(key));
        examine(item, depth + 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto read = [](std::string text) { return JSONObjectWithData(Data::withString(std::move(text))); };
    const std::optional<Value> value = read(input);
    if (!value) {
        require(!read(input + " "));
        return 0;
    }
    require(value->get<Value::Array>() || value->get<Dictionary>());
    examine(*value, 0);
    require(isUTF8(input) && read(input + " \r\n") == value);
    require(!read(input + "x") && !read(input.substr(0, input.find_last_of("]}"))));
    return 0;
}
