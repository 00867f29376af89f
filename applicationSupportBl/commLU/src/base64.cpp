#include "base64.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace applsupp {
namespace comm {

namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The characters that survive cleaning: a set, not an alphabet of its own.
const char kAccepted[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+/=";

constexpr int kPad = 64;
constexpr int kInvalid = -1;

int sextet(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    if (c == '=') {
        return kPad;
    }
    return kInvalid;
}

}  // namespace

void encode(const std::vector<unsigned char>& bytes, std::string& text) {
    const std::size_t n = bytes.size();
    text.assign((n + 2) / 3 * 4, '=');
    std::size_t out = 0;
    for (std::size_t i = 0; i < n; i += 3) {
        const std::size_t left = n - i;
        uint32_t group = static_cast<uint32_t>(bytes[i]) << 16;
        if (left > 1) {
            group |= static_cast<uint32_t>(bytes[i + 1]) << 8;
        }
        if (left > 2) {
            group |= bytes[i + 2];
        }
        text[out] = kAlphabet[(group >> 18) & 0x3F];
        text[out + 1] = kAlphabet[(group >> 12) & 0x3F];
        if (left > 1) {
            text[out + 2] = kAlphabet[(group >> 6) & 0x3F];
        }
        if (left > 2) {
            text[out + 3] = kAlphabet[group & 0x3F];
        }
        out += 4;
    }
}

bool decode(const std::string& text, std::vector<unsigned char>& bytes) {
    std::string clean(text);
    clean.erase(
        std::remove_if(clean.begin(), clean.end(),
                       [](char c) { return c == '\0' || std::strchr(kAccepted, c) == nullptr; }),
        clean.end());
    bytes.assign(clean.size() * 3 / 4, 0);

    std::size_t out = 0;
    bool padded = false;
    for (std::size_t i = 0; i + 4 <= clean.size(); i += 4) {
        int s[4];
        for (int k = 0; k < 4; ++k) {
            s[k] = sextet(clean[i + k]);
        }
        // Padding may stand only in the last one or two places of the last group.
        const bool wellFormed =
            !padded && s[0] != kPad && s[1] != kPad && !(s[2] == kPad && s[3] != kPad);
        if (!wellFormed) {
            bytes.clear();
            return false;
        }
        const uint32_t group = (static_cast<uint32_t>(s[0]) << 18) |
                               (static_cast<uint32_t>(s[1]) << 12) |
                               (static_cast<uint32_t>(s[2] == kPad ? 0 : s[2]) << 6) |
                               static_cast<uint32_t>(s[3] == kPad ? 0 : s[3]);
        bytes[out++] = static_cast<unsigned char>(group >> 16);
        if (s[2] != kPad) {
            bytes[out++] = static_cast<unsigned char>(group >> 8);
        }
        if (s[3] != kPad) {
            bytes[out++] = static_cast<unsigned char>(group);
        }
        padded = s[3] == kPad;
    }
    // The vector was sized for a text without padding; padding gives fewer bytes.
    bytes.resize(out);
    return true;
}

}  // namespace comm
}  // namespace applsupp
