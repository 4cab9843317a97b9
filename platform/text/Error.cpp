#include "platform/text/Error.h"

#include <cstring>

namespace qvx::platform {

std::string Error::description() const {
    return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + text + "\"";
}

Error posixError(int number, std::string_view subject) {
    return {"NSPOSIXErrorDomain", number, std::string(subject) + ": " + std::strerror(number)};
}

Error propertyListReadError(std::string_view text) {
    return {"NSCocoaErrorDomain", 3840, std::string(text)};
}

} // namespace qvx::platform
