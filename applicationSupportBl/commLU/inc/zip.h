// zip.h: one zlib stream (zlib header, no gzip wrapper, no length prefix) per text.
//
// These are the steps behind the compression of long XML texts in MAO-FRO
// signals; Base64 (base64.h) is the other half.
#ifndef ZIP_H
#define ZIP_H

#include <string>
#include <vector>

namespace applsupp {
namespace comm {

/// Compresses text at level 9 and appends the stream to bytes; false (bytes as they
/// were) when zlib did not finish the stream.
bool zip(const std::string& text, std::vector<unsigned char>& bytes);

/// Inflates bytes and appends the result to text; true only when the stream ended
/// properly, otherwise text is left as it was.
bool unzip(const std::vector<unsigned char>& bytes, std::string& text);

}  // namespace comm
}  // namespace applsupp

#endif  // ZIP_H
