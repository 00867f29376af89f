#include "zip.h"

#include <zlib.h>

#include <climits>
#include <cstring>

namespace applsupp {
namespace comm {

namespace {

// The version the load module was built against; zlib compares only its first
// character with its own, so any 1.x library accepts it.
const char kZlibVersion[] = "1.2.3";

// The target's 32-bit z_stream is 56 bytes; zlib checks this against its own
// sizeof(z_stream), so on a 64-bit host the host's size (112) must be given.
constexpr int kStreamSize = static_cast<int>(sizeof(z_stream));

constexpr int kChunk = 128;

}  // namespace

bool zip(const std::string& text, std::vector<unsigned char>& bytes) {
    if (text.size() > UINT_MAX) {
        return false;
    }
    const std::size_t before = bytes.size();
    z_stream stream;
    std::memset(&stream, 0, sizeof stream);
    if (deflateInit_(&stream, 9, kZlibVersion, kStreamSize) != Z_OK) {
        return false;
    }
    // zlib's interface is not const-correct; deflate only reads its input.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    int result = Z_OK;
    do {
        unsigned char out[kChunk];
        stream.next_out = out;
        stream.avail_out = kChunk;
        result = deflate(&stream, Z_FINISH);
        bytes.insert(bytes.end(), out, out + (kChunk - stream.avail_out));
    } while (result == Z_OK);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        bytes.resize(before);
        return false;
    }
    return true;
}

bool unzip(const std::vector<unsigned char>& bytes, std::string& text) {
    if (bytes.size() > UINT_MAX) {
        return false;
    }
    const std::size_t before = text.size();
    z_stream stream;
    std::memset(&stream, 0, sizeof stream);
    if (inflateInit_(&stream, kZlibVersion, kStreamSize) != Z_OK) {
        return false;
    }
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    int result = Z_OK;
    do {
        unsigned char out[kChunk];
        stream.next_out = out;
        stream.avail_out = kChunk;
        result = inflate(&stream, Z_NO_FLUSH);
        text.append(reinterpret_cast<const char*>(out), kChunk - stream.avail_out);
    } while (result == Z_OK);
    inflateEnd(&stream);
    if (result != Z_STREAM_END) {
        text.resize(before);
        return false;
    }
    return true;
}

}  // namespace comm
}  // namespace applsupp
