// numberConversion.h: numbers from text and text from numbers, through streams.
//
// Text to number: the result variable is written only by the stream's extraction,
// so a refused text may leave it untouched (a "-" for an unsigned value) or as the
// extraction left it. Trailing characters after a number are not an error, as for
// any stream extraction: "12ab" gives 12.
#ifndef NUMBER_CONVERSION_H
#define NUMBER_CONVERSION_H

#include <cstdint>
#include <string>

namespace applsupp {
namespace comm {

/// Bases of numberToString(); any other value writes decimal.
enum NumberBase { DecimalBase = 0, HexBase = 1, OctalBase = 2 };

/// Unsigned value from text; false for a text holding "-" anywhere or a failed extraction.
bool stringToNumber(const std::string& text, uint64_t& result);
/// Unsigned value from text; false for a text holding "-" anywhere or a failed extraction.
bool stringToNumber(const std::string& text, uint32_t& result);
/// Unsigned value from text; false for a text holding "-" anywhere or a failed extraction.
bool stringToNumber(const std::string& text, uint16_t& result);
/// As the unsigned forms, and false for a value of 256 or more (result untouched).
bool stringToNumber(const std::string& text, uint8_t& result);
/// Signed value from text; false for a failed extraction.
bool stringToNumber(const std::string& text, int64_t& result);
/// Signed value from text; false for a failed extraction.
bool stringToNumber(const std::string& text, int32_t& result);
/// Signed value from text; false for a failed extraction.
bool stringToNumber(const std::string& text, int16_t& result);

/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(uint64_t value, std::string& text, int base);
/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(int64_t value, std::string& text, int base);
/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(uint32_t value, std::string& text, int base);
/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(int32_t value, std::string& text, int base);
/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(uint16_t value, std::string& text, int base);
/// Appends value in base 1 (hex), 2 (octal) or decimal, lower case, no prefix; false if the stream
/// failed.
bool numberToString(int16_t value, std::string& text, int base);
/// Appends value as a number (not a character) in the given base; false if the stream failed.
bool numberToString(uint8_t value, std::string& text, int base);
/// Appends value as a number (not a character) in the given base; false if the stream failed.
bool numberToString(int8_t value, std::string& text, int base);

}  // namespace comm
}  // namespace applsupp

#endif  // NUMBER_CONVERSION_H
