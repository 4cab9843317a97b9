#include "tools/inspect/JSONText.h"

#include "platform/text/String.h"

namespace qvx::inspector {

std::string jsonString(std::optional<std::string_view> text) {
    if (!text)
        return "null";
    constexpr char digits[] = "0123456789abcdef";
    std::string result = "\"";
    for (const char character : platform::validUTF8(*text)) {
        if (character == '"' || character == '\\')
            result += '\\';
        if (static_cast<unsigned char>(character) < 0x20) {
            result += "\\u00";
            result += digits[character >> 4];
            result += digits[character & 15];
        } else {
            result += character;
        }
    }
    return result + '"';
}

std::string object(std::initializer_list<Member> members) {
    std::string result = "{";
    for (const Member& member : members)
        result += (result.size() > 1 ? ", \"" : "\"") + std::string(member.name) + "\": " + member.json;
    return result + '}';
}

} // namespace qvx::inspector
