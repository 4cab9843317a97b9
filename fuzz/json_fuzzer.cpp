// Feeds any bytes to the JSON reader and stops the process when it gives what it must not.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "platform/text/String.h"
#include "platform/values/JSON.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qvx::platform;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto read = [](std::string text) { return JSONObjectWithData(Data::withString(std::move(text))); };
    if (const std::optional<Value> value = read(input)) {
        require(isUTF8(input) && (value->get<Value::Array>() || value->get<Dictionary>()));
        require(read(input + " \r\n") == value && !read(input + "x"));
    }
    return 0;
}
