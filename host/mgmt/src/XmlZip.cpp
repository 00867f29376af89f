// The type-22 form of an XML text: the text deflated as one zlib stream (level 9, the
// normal zlib header, no length prefix) and encoded in Base64 (RFC 4648 alphabet,
// "=" padding, no line breaks). The decoder skips every character outside the
// alphabet, so that line breaks do no harm.
#include "ManagementClient.h"

#include <zlib.h>

#include <cstring>
#include <vector>

namespace mgmt {

namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// An inflated answer larger than this is refused rather than grown without end.
constexpr std::size_t kMaxInflated = 16u << 20;

std::string encodeBase64(const std::vector<unsigned char>& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const uint32_t group = (uint32_t{bytes[i]} << 16) | (uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        out += kAlphabet[(group >> 18) & 63];
        out += kAlphabet[(group >> 12) & 63];
        out += kAlphabet[(group >> 6) & 63];
        out += kAlphabet[group & 63];
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        uint32_t group = uint32_t{bytes[i]} << 16;
        if (rest == 2)
            group |= uint32_t{bytes[i + 1]} << 8;
        out += kAlphabet[(group >> 18) & 63];
        out += kAlphabet[(group >> 12) & 63];
        out += rest == 2 ? kAlphabet[(group >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

int sextet(char c) {
    const char* at = std::strchr(kAlphabet, c);
    return c != '\0' && at != nullptr ? static_cast<int>(at - kAlphabet) : -1;
}

// Decodes whole groups of four; a shorter rest is dropped.
std::vector<unsigned char> decodeBase64(const std::string& text) {
    std::string clean;
    clean.reserve(text.size());
    for (char c : text) {
        if (c == '=' || sextet(c) >= 0)
            clean += c;
    }
    std::vector<unsigned char> out;
    for (std::size_t i = 0; i + 4 <= clean.size(); i += 4) {
        uint32_t group = 0;
        int pads = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            const char c = clean[i + k];
            group <<= 6;
            if (c == '=')
                ++pads;
            else
                group |= static_cast<uint32_t>(sextet(c));
        }
        out.push_back(static_cast<unsigned char>(group >> 16));
        if (pads < 2)
            out.push_back(static_cast<unsigned char>(group >> 8));
        if (pads < 1)
            out.push_back(static_cast<unsigned char>(group));
    }
    return out;
}

}  // namespace

std::string zipAndEncode(const std::string& text) {
    z_stream stream{};
    if (deflateInit(&stream, 9) != Z_OK)
        return {};
    std::vector<unsigned char> zipped;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    unsigned char chunk[4096];
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = chunk;
        stream.avail_out = sizeof chunk;
        status = deflate(&stream, Z_FINISH);
        zipped.insert(zipped.end(), chunk, chunk + (sizeof chunk - stream.avail_out));
    }
    deflateEnd(&stream);
    return status == Z_STREAM_END ? encodeBase64(zipped) : std::string{};
}

bool decodeAndUnzip(const std::string& text, std::string& out) {
    std::vector<unsigned char> zipped = decodeBase64(text);
    if (zipped.empty())
        return false;
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return false;
    stream.next_in = zipped.data();
    stream.avail_in = static_cast<uInt>(zipped.size());
    std::string inflated;
    unsigned char chunk[4096];
    int status = Z_OK;
    while (status == Z_OK && inflated.size() <= kMaxInflated) {
        stream.next_out = chunk;
        stream.avail_out = sizeof chunk;
        status = inflate(&stream, Z_NO_FLUSH);
        inflated.append(reinterpret_cast<const char*>(chunk), sizeof chunk - stream.avail_out);
    }
    inflateEnd(&stream);
    if (status != Z_STREAM_END || inflated.size() > kMaxInflated)
        return false;
    out = std::move(inflated);
    return true;
}

}  // namespace mgmt
