#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <memory>

#include "platform/AtomicFile.h"
#include "platform/PropertyListGuard.h"
#include "platform/String.h"

namespace qvx::platform {

namespace {

/// More than any Info.plist, little enough to be read at once.
constexpr size_t maximumFileSize = size_t{16} << 20;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

using Node = std::unique_ptr<void, decltype(&plist_free)>;

Value valueOfNode(plist_t node);

std::string textOfNode(plist_t node) {
    uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return validUTF8({text, length});
}

Value dictionaryOfNode(plist_t node) {
    Dictionary dictionary;
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    const std::unique_ptr<void, decltype(&free)> owner(position, &free);
    while (true) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, position, &key, &item);
        if (!item)
            return dictionary;
        const std::unique_ptr<char, decltype(&free)> keyOwner(key, &free);
        dictionary.append(validUTF8(key ? key : ""), valueOfNode(item));
    }
}

Value arrayOfNode(plist_t node) {
    Value::Array array;
    plist_array_iter position = nullptr;
    plist_array_new_iter(node, &position);
    const std::unique_ptr<void, decltype(&free)> owner(position, &free);
    while (true) {
        plist_t item = nullptr;
        plist_array_next_item(node, position, &item);
        if (!item)
            return array;
        array.push_back(valueOfNode(item));
    }
}

Value dateOfNode(plist_t node) {
    int32_t seconds = 0;
    plist_get_date_val(node, &seconds, nullptr);
    return Date{static_cast<double>(seconds)};
}

Value valueOfNode(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return static_cast<int64_t>(value);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING:
        return textOfNode(node);
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        return Data::withBytes({bytes, length});
    }
    case PLIST_DATE:
        return dateOfNode(node);
    case PLIST_ARRAY:
        return arrayOfNode(node);
    case PLIST_DICT:
        return dictionaryOfNode(node);
    default:
        return nullptr;
    }
}

/// What XML 1.0 can hold (section 2.2, Char): control characters but tab and line ends have no place in it,
/// even escaped.
std::string xmlText(std::string_view text) {
    constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string result;
    for (const char character : validUTF8(text)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r')
            result += replacement;
        else
            result += character;
    }
    for (const std::string_view noncharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (size_t at = 0; (at = result.find(noncharacter, at)) != std::string::npos;)
            result.replace(at, noncharacter.size(), replacement);
    }
    return result;
}

plist_t nodeOfValue(const Value& value);

struct MakeNode {
    plist_t operator()(std::nullptr_t) const { return plist_new_string(""); }
    plist_t operator()(bool value) const { return plist_new_bool(value); }
    plist_t operator()(int64_t value) const { return plist_new_uint(static_cast<uint64_t>(value)); }
    plist_t operator()(double value) const { return plist_new_real(value); }
    plist_t operator()(const std::string& value) const { return plist_new_string(xmlText(value).c_str()); }
    plist_t operator()(Date value) const { return plist_new_date(static_cast<int32_t>(value.seconds), 0); }
    plist_t operator()(const Data& value) const {
        const std::string bytes = value.string();
        return plist_new_data(bytes.data(), bytes.size());
    }
    plist_t operator()(const Value::Array& values) const {
        plist_t node = plist_new_array();
        for (const Value& value : values)
            plist_array_append_item(node, nodeOfValue(value));
        return node;
    }
    plist_t operator()(const Dictionary& dictionary) const {
        plist_t node = plist_new_dict();
        for (const auto& [key, value] : dictionary.items())
            plist_dict_set_item(node, xmlText(key).c_str(), nodeOfValue(value));
        return node;
    }
};

plist_t nodeOfValue(const Value& value) {
    return std::visit(MakeNode{}, value.storage());
}

} // namespace

Result<Value> propertyListWithData(const Data& data) {
    std::string bytes = data.string();
    if (bytes.starts_with(byteOrderMark))
        bytes.erase(0, byteOrderMark.size()); // which the library takes for text in front of the XML
    if (bytes.size() > maximumFileSize)
        return propertyListReadError("The property list is too large.");
    if (!isSafePropertyList(bytes))
        return propertyListReadError("The property list is damaged or nested too deeply.");
    plist_t root = nullptr;
    const auto parse = isBinaryPropertyList(bytes) ? &plist_from_bin : &plist_from_xml;
    parse(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    const Node owner(root, &plist_free);
    if (!root)
        return propertyListReadError("The data is not a property list.");
    return valueOfNode(root);
}

std::optional<Dictionary> dictionaryWithContentsOfFile(std::string_view path) {
    const Result<Data> data = Data::readFile(path, maximumFileSize);
    if (!data)
        return std::nullopt;
    const Result<Value> value = propertyListWithData(*data);
    const Dictionary* dictionary = value ? value->get<Dictionary>() : nullptr;
    return dictionary ? std::optional(*dictionary) : std::nullopt;
}

std::string xmlPropertyList(const Dictionary& dictionary) {
    const Node node(MakeNode{}(dictionary), &plist_free);
    char* text = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &text, &length);
    const std::unique_ptr<char, decltype(&free)> owner(text, &free);
    // A reader turns a bare carriage return into a line feed; the library writes them bare.
    std::string result;
    for (const char character : std::string_view(text, length)) {
        if (character == '\r')
            result += "&#13;";
        else
            result += character;
    }
    return result;
}

std::optional<Error> writeToFileAtomically(const Dictionary& dictionary, std::string_view path) {
    return writeFileAtomically(xmlPropertyList(dictionary), path);
}

} // namespace qvx::platform
