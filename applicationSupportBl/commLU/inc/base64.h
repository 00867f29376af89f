// base64.h: standard Base64 (RFC 4648 alphabet, "=" padding) over byte vectors.
//
// Compressed XML travels in signals as Base64 text; a peer may have broken that
// text into lines, so decoding first erases every character outside the alphabet
// and "=".
#ifndef BASE64_H
#define BASE64_H

#include <string>
#include <vector>

namespace applsupp {
namespace comm {

/// Replaces text by the Base64 form of bytes: (n + 2) / 3 * 4 characters, no line breaks.
void encode(const std::vector<unsigned char>& bytes, std::string& text);

/// Replaces bytes by the decoded text; characters outside the alphabet are skipped, a
/// rest of fewer than four is dropped. False (bytes empty) for misplaced "=".
bool decode(const std::string& text, std::vector<unsigned char>& bytes);

}  // namespace comm
}  // namespace applsupp

#endif  // BASE64_H
