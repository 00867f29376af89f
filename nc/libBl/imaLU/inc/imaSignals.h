// imaSignals.h: the signals of the attribute-read service "DOVK_OMF_MAO_IMA_SERVICE_NAME",
// and bounded reads of them.
//
// A read request and its confirmation have one layout, in the machine's byte order:
//
//   offset  0  signal number
//   offset  4  clientRef, the reader's own reference, given back in the confirmation
//   offset  8  reserved (0)
//   offset 12  length of the XML text, without its NUL
//   offset 16  the XML text and its NUL
//
// and a size of the length + 20 (the NUL and three spare bytes). Both sides read a
// received one with imaClientRef() and imaText(), which never look outside the signal.
#ifndef IMA_SIGNALS_H
#define IMA_SIGNALS_H

#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

constexpr SIGSELECT OMF_MAO_IMA_NC_READ_REQ = 0x1740204;
constexpr SIGSELECT OMF_MAO_IMA_NC_READ_CFM = 0x1740205;
/// The reader's own attach signal for the service's process: the number alone.
constexpr SIGSELECT NC_OMF_MAO_IMA_ATTACH_IND = 0x170CC61;

namespace ima {

/// The name under which the service is published at the name server.
constexpr const char* kServiceName = "DOVK_OMF_MAO_IMA_SERVICE_NAME";
/// The version of the documents, the root element's attribute.
constexpr const char* kDocumentVersion = "R1A";

constexpr std::size_t kClientRefOffset = 4;
constexpr std::size_t kReservedOffset = 8;
constexpr std::size_t kLengthOffset = 12;
constexpr std::size_t kTextOffset = 16;
/// What a signal holds beyond its text: the head, the NUL and three spare bytes.
constexpr std::size_t kSizeBeyondText = 20;
/// The longest text that a signal can carry.
constexpr std::size_t kLongestText = OS_MAX_SIGSIZE - kSizeBeyondText;

/// A new request or confirmation with that text; the caller has made sure that the
/// text is at most kLongestText long. Every byte behind the fields is 0.
inline union SIGNAL* makeSignal(SIGSELECT number, uint32_t clientRef, const std::string& text) {
    const std::size_t size = text.size() + kSizeBeyondText;
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), number);
    unsigned char* bytes = reinterpret_cast<unsigned char*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    const uint32_t length = static_cast<uint32_t>(text.size());
    std::memcpy(bytes + kClientRefOffset, &clientRef, sizeof clientRef);
    std::memcpy(bytes + kLengthOffset, &length, sizeof length);
    std::memcpy(bytes + kTextOffset, text.data(), text.size());
    return signal;
}

/// The clientRef of a received signal of size bytes; false when it is too short.
inline bool readClientRef(const union SIGNAL* signal, OSBUFSIZE size, uint32_t& clientRef) {
    if (size < kClientRefOffset + sizeof clientRef) {
        return false;
    }
    std::memcpy(&clientRef, reinterpret_cast<const unsigned char*>(signal) + kClientRefOffset,
                sizeof clientRef);
    return true;
}

/// The text of a received signal of size bytes: as many bytes as its length word says,
/// followed by a NUL, all inside the signal. False (text untouched) when the signal is
/// too short for its head and a NUL, when the length reaches past the signal, or when
/// no NUL stands behind the text.
inline bool readText(const union SIGNAL* signal, OSBUFSIZE size, std::string& text) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(signal);
    if (size <= kTextOffset) {
        return false;
    }
    uint32_t length = 0;
    std::memcpy(&length, bytes + kLengthOffset, sizeof length);
    if (length > size - kTextOffset - 1 || bytes[kTextOffset + length] != '\0') {
        return false;
    }
    text.assign(reinterpret_cast<const char*>(bytes + kTextOffset), length);
    return true;
}

}  // namespace ima

#endif  // IMA_SIGNALS_H
