// Reads each of the given files as a property list and writes what it holds as an XML list of one key,
// "value"; a text that begins with "error: " for one that cannot be read; each followed by a NUL.

#include <cstdio>
#include <string>

#include "platform/values/PropertyList.h"

int main(int argc, char** argv) {
    using namespace qvx::platform;
    for (int index = 1; index < argc; ++index) {
        const Result<Data> data = Data::readFile(argv[index], size_t{1} << 30);
        const Result<Value> value = data ? propertyListWithData(*data) : data.error();
        const std::string text =
            value ? xmlPropertyList({{"value", *value}}) : "error: " + value.error().text;
        std::fwrite(text.c_str(), 1, text.size() + 1, stdout);
    }
}
