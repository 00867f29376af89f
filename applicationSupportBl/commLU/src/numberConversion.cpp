#include "numberConversion.h"

#include <sstream>

namespace applsupp {
namespace comm {

namespace {

template <typename T>
bool unsignedFromText(const std::string& text, T& result) {
    // A stream extracts "-1" into an unsigned type as its largest value; refuse
    // any minus before the stream sees it.
    if (text.find('-') != std::string::npos) {
        return false;
    }
    std::istringstream in(text);
    in >> result;
    return !in.fail();
}

template <typename T>
bool signedFromText(const std::string& text, T& result) {
    std::istringstream in(text);
    in >> result;
    return !in.fail();
}

void setBase(std::ostream& out, int base) {
    if (base == HexBase) {
        out << std::hex;
    } else if (base == OctalBase) {
        out << std::oct;
    } else {
        out << std::dec;
    }
}

template <typename T>
bool appendNumber(T value, std::string& text, int base) {
    std::ostringstream out;
    setBase(out, base);
    out << value;
    if (out.fail()) {
        return false;
    }
    text += out.str();
    return true;
}

}  // namespace

bool stringToNumber(const std::string& text, uint64_t& result) {
    return unsignedFromText(text, result);
}

bool stringToNumber(const std::string& text, uint32_t& result) {
    return unsignedFromText(text, result);
}

bool stringToNumber(const std::string& text, uint16_t& result) {
    return unsignedFromText(text, result);
}

bool stringToNumber(const std::string& text, uint8_t& result) {
    // A stream would read one character into an 8-bit type; read a number.
    unsigned int wide = 0;
    if (!unsignedFromText(text, wide) || wide >= 256u) {
        return false;
    }
    result = static_cast<uint8_t>(wide);
    return true;
}

bool stringToNumber(const std::string& text, int64_t& result) {
    return signedFromText(text, result);
}

bool stringToNumber(const std::string& text, int32_t& result) {
    return signedFromText(text, result);
}

bool stringToNumber(const std::string& text, int16_t& result) {
    return signedFromText(text, result);
}

bool numberToString(uint64_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(int64_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(uint32_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(int32_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(uint16_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(int16_t value, std::string& text, int base) {
    return appendNumber(value, text, base);
}

bool numberToString(uint8_t value, std::string& text, int base) {
    return appendNumber(static_cast<unsigned int>(value), text, base);
}

bool numberToString(int8_t value, std::string& text, int base) {
    // A stream writes a negative 16-bit value in hex or octal as its 16-bit
    // pattern; 8 bits are written the same way, as their 8-bit pattern.
    if (base == HexBase || base == OctalBase) {
        return appendNumber(static_cast<unsigned int>(static_cast<uint8_t>(value)), text, base);
    }
    return appendNumber(static_cast<int>(value), text, base);
}

}  // namespace comm
}  // namespace applsupp
