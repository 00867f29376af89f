#include "numberText.h"

#include <sstream>

namespace {

template <typename Number>
bool readNumber(const std::string& text, Number& out) {
    std::istringstream stream(text);
    Number value{};
    stream >> std::dec >> value;
    if (stream.fail() || stream.bad()) {
        return false;
    }
    out = value;
    return true;
}

}  // namespace

bool readS32(const std::string& text, int32_t& out) {
    return readNumber(text, out);
}

bool readU32(const std::string& text, uint32_t& out) {
    // The stream would take "-1" as a huge unsigned number.
    if (text.find('-') != std::string::npos) {
        return false;
    }
    return readNumber(text, out);
}

bool readS64(const std::string& text, int64_t& out) {
    return readNumber(text, out);
}
