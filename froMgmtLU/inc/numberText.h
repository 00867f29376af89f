// Reading numbers from attribute text. All readers go through a standard input
// string stream in decimal: blanks in front are skipped and anything behind the
// number is ignored ("12abc" reads as 12), while an empty text, a text without a
// leading digit and a number out of range fail.
#ifndef NUMBER_TEXT_H
#define NUMBER_TEXT_H

#include <cstdint>
#include <string>

/// Reads a signed 32-bit number; an optional sign is allowed.
bool readS32(const std::string& text, int32_t& out);
/// Reads an unsigned 32-bit number; a text holding "-" anywhere fails.
bool readU32(const std::string& text, uint32_t& out);
/// Reads a signed 64-bit number; an optional sign is allowed.
bool readS64(const std::string& text, int64_t& out);

#endif  // NUMBER_TEXT_H
