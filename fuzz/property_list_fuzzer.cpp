// Takes any bytes for a property list, of whichever form they look like, and writes and reads again what they
// hold: from then on nothing may change.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform/values/PropertyList.h"

namespace {

using namespace qvx::platform;

std::string rewritten(const std::string& text) {
    const Result<Value> value = propertyListWithData(Data::withBytes(text));
    require(bool(value) && value->get<Dictionary>() != nullptr);
    return xmlPropertyList(*value->get<Dictionary>());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const Result<Value> value = propertyListWithData(Data::withBytes(input));
    require(value || value.error().code == 3840);
    if (!value)
        return 0;
    // What XML cannot hold is replaced the first time.
    const std::string once = rewritten(xmlPropertyList({{"value", *value}}));
    require(rewritten(once) == once);
    return 0;
}
