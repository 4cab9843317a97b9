#include "platform/PropertyListGuard.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qvx::platform {

namespace {

constexpr int maximumDepth = 512;

/// What a binary property list may unfold to: shared objects are copied for each reference to them.
constexpr uint64_t maximumUnfoldedSize = uint64_t{16} << 20;
constexpr uint64_t nodeSize = 64;

/// Follows the references of a binary property list from its root.
class BinaryWalk {
public:
    explicit BinaryWalk(std::string_view bytes) : bytes_(bytes) {}

    bool run() {
        constexpr size_t trailerSize = 32;
        if (bytes_.size() < 8 + trailerSize)
            return false;
        const size_t trailer = bytes_.size() - trailerSize;
        offsetSize_ = number(trailer + 6, 1);
        referenceSize_ = number(trailer + 7, 1);
        objectCount_ = number(trailer + 8, 8);
        offsetTable_ = number(trailer + 24, 8);
        if (offsetSize_ == 0 || offsetSize_ > 8 || referenceSize_ == 0 || referenceSize_ > 8)
            return false;
        if (offsetTable_ > trailer || objectCount_ > (trailer - offsetTable_) / offsetSize_)
            return false;
        return visit(number(trailer + 16, 8), 0, false);
    }

private:
    /// Big-endian number; the caller has checked that it lies in the bytes.
    [[nodiscard]] uint64_t number(uint64_t offset, uint64_t size) const {
        uint64_t value = 0;
        for (uint64_t index = 0; index < size; ++index)
            value = value << 8 | static_cast<unsigned char>(bytes_[offset + index]);
        return value;
    }

    [[nodiscard]] bool lies(uint64_t offset, uint64_t size) const {
        return offset <= bytes_.size() && size <= bytes_.size() - offset;
    }

    bool spend(uint64_t size) {
        spent_ += size;
        return spent_ <= maximumUnfoldedSize;
    }

    bool visit(uint64_t object, int depth, bool isKey) {
        if (object >= objectCount_ || !spend(nodeSize))
            return false;
        uint64_t offset = number(offsetTable_ + object * offsetSize_, offsetSize_);
        if (!lies(offset, 1))
            return false;
        const uint64_t marker = number(offset, 1);
        const uint64_t kind = marker >> 4;
        uint64_t count = marker & 15;
        offset += 1;
        const bool isCounted = kind >= 4 && kind != 8;
        if (isCounted && count == 15 && !readCount(offset, count))
            return false;
        if (isKey && kind == 6 && holdsNUL(offset, count))
            return false;
        if (kind < 10)
            return !isCounted || (count <= bytes_.size() && spend(count * 2));
        if (depth == maximumDepth)
            return false;
        const uint64_t references = kind == 13 ? 2 : 1;
        if (count > bytes_.size() || !lies(offset, count * references * referenceSize_))
            return false;
        for (uint64_t index = 0; index < count * references; ++index) {
            const bool isKeyOfDictionary = kind == 13 && index < count;
            if (!visit(number(offset + index * referenceSize_, referenceSize_), depth + 1, isKeyOfDictionary))
                return false;
        }
        return true;
    }

    /// Of UTF-16 text. The library stops the process when it comes upon such a key.
    [[nodiscard]] bool holdsNUL(uint64_t offset, uint64_t count) const {
        if (count > bytes_.size() || !lies(offset, count * 2))
            return true;
        for (uint64_t index = 0; index < count; ++index) {
            if (number(offset + index * 2, 2) == 0)
                return true;
        }
        return false;
    }

    /// A count that did not fit into the marker stands behind it as an integer object.
    bool readCount(uint64_t& offset, uint64_t& count) const {
        if (!lies(offset, 1) || number(offset, 1) >> 4 != 1)
            return false;
        const uint64_t exponent = number(offset, 1) & 15;
        if (exponent > 3 || !lies(offset + 1, uint64_t{1} << exponent))
            return false;
        count = number(offset + 1, uint64_t{1} << exponent);
        offset += 1 + (uint64_t{1} << exponent);
        return true;
    }

    std::string_view bytes_;
    uint64_t offsetSize_ = 0, referenceSize_ = 0, objectCount_ = 0, offsetTable_ = 0, spent_ = 0;
};

/// Follows the tags of an XML property list where the library sees them: it takes quoted text for one piece
/// inside a tag, so an end tag that stands in quotes must not count here either.
class XMLWalk {
public:
    explicit XMLWalk(std::string_view text) : text_(text) {}

    bool run() {
        // No XML holds one, and the library takes it for the end of a tag's name.
        if (text_.find('\0') != std::string_view::npos)
            return false;
        while ((position_ = text_.find('<', position_)) != std::string_view::npos) {
            if (!passMarkup() || depth_ < 0 || depth_ > maximumDepth)
                return false;
        }
        return true;
    }

private:
    [[nodiscard]] bool startsWith(std::string_view start) const {
        return text_.substr(position_).starts_with(start);
    }

    bool passMarkup() {
        if (startsWith("<!--"))
            return passPlain(4, "-->");
        if (startsWith("<![CDATA["))
            return passPlain(9, "]]>");
        position_ += 1;
        if (startsWith("?"))
            return findUnquoted([this] { return startsWith("?>"); });
        if (startsWith("!"))
            return passDoctype();
        return passTag();
    }

    bool passPlain(size_t start, std::string_view end) {
        position_ = text_.find(end, position_ + start);
        return position_ != std::string_view::npos;
    }

    bool passDoctype() {
        if (!findUnquoted([this] { return startsWith("[") || startsWith(">"); }))
            return false;
        return startsWith(">") || findUnquoted([this] { return startsWith("]>"); });
    }

    bool passTag() {
        const size_t end = std::min(text_.find_first_of(" \t\r\n<>", position_), text_.size());
        std::string_view name = text_.substr(position_, end - position_);
        position_ = end;
        if (!findUnquoted([this] { return startsWith("<") || startsWith(">"); }) || startsWith("<"))
            return false;
        const bool isEmpty = text_[position_ - 1] == '/';
        if (isEmpty && position_ == end)
            name.remove_suffix(1);
        if (name == "/dict" || name == "/array")
            depth_ -= 1;
        else if ((name == "dict" || name == "array") && !isEmpty)
            depth_ += 1;
        return true;
    }

    /// Goes on to where `isFound` holds, over quoted text.
    template <class IsFound>
    bool findUnquoted(const IsFound& isFound) {
        for (; position_ < text_.size(); ++position_) {
            if (isFound())
                return true;
            if (text_[position_] == '"')
                position_ = std::min(text_.find('"', position_ + 1), text_.size());
        }
        return false;
    }

    std::string_view text_;
    size_t position_ = 0;
    int depth_ = 0;
};

} // namespace

bool isSafePropertyList(std::string_view bytes) {
    return isBinaryPropertyList(bytes) ? BinaryWalk(bytes).run() : XMLWalk(bytes).run();
}

} // namespace qvx::platform
