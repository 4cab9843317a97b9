#include "platform/values/PropertyList.h"

#include "platform/files/FileManager.h"
#include "platform/values/PropertyListFormats.h"

namespace qvx::platform {

namespace {

/// More than any Info.plist, little enough to be read at once.
constexpr size_t maximumFileSize = size_t{16} << 20;

/// Whether the first character, in whatever encoding, is one that XML begins with.
// The mark of UTF-16 and its NULs are skipped byte by byte: whichever order they are in, the first character
// that is left is ASCII.
bool looksLikeXML(std::string_view bytes) {
    constexpr std::string_view marksAndBlanks("\xEF\xBB\xBF\xFE\xFF\0 \t\r\n", 10);
    const size_t first = bytes.find_first_not_of(marksAndBlanks);
    return first != std::string_view::npos && bytes[first] == '<';
}

} // namespace

Result<Value> propertyListWithData(const Data& data) {
    if (data.size() > maximumFileSize)
        return propertyListReadError("The property list is too large.");
    const std::string bytes = data.string();
    std::string failure;
    std::optional<Value> value = bytes.starts_with("bplist00") ? PropertyListFormats::readBinary(bytes)
                                 : looksLikeXML(bytes)         ? PropertyListFormats::readXML(bytes, failure)
                                                               : PropertyListFormats::readOldStyle(bytes);
    if (value)
        return *std::move(value);
    return propertyListReadError("The data is no property list" +
                                 (failure.empty() ? "." : ": " + failure + "."));
}

std::optional<Dictionary> dictionaryWithContentsOfFile(std::string_view path) {
    const Result<Data> data = Data::readFile(path, maximumFileSize);
    if (!data)
        return std::nullopt;
    const Result<Value> value = propertyListWithData(*data);
    const Dictionary* dictionary = value ? value->get<Dictionary>() : nullptr;
    return dictionary ? std::optional(*dictionary) : std::nullopt;
}

std::optional<Error> writeToFileAtomically(const Dictionary& dictionary, std::string_view path) {
    return FileManager::writeFileAtomically(xmlPropertyList(dictionary), path);
}

} // namespace qvx::platform
