// SignalView: bounded reads from a received signal, and writes into a new one.
//
// Everything a host service reads comes from other processes: a field that lies
// outside the buffer, or a name without its NUL inside the buffer, is reported as
// missing instead of being read.
#ifndef HOSTSVC_SIGNAL_VIEW_H
#define HOSTSVC_SIGNAL_VIEW_H

#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace hostsvc {

class SignalView {
  public:
    SignalView(const union SIGNAL* signal, OSBUFSIZE size)
        : m_bytes(reinterpret_cast<const unsigned char*>(signal)), m_size(size) {}

    OSBUFSIZE size() const { return m_size; }

    /// The 32-bit word at offset; false when it does not fit in the signal.
    bool word(std::size_t offset, uint32_t& value) const {
        if (offset > m_size || m_size - offset < sizeof value)
            return false;
        std::memcpy(&value, m_bytes + offset, sizeof value);
        return true;
    }

    /// The NUL-terminated text at offset, looked for in at most limit bytes and never
    /// past the end; false when there is no NUL in that range.
    bool text(std::size_t offset, std::size_t limit, std::string& value) const {
        if (offset >= m_size)
            return false;
        std::size_t room = m_size - offset < limit ? m_size - offset : limit;
        const void* end = std::memchr(m_bytes + offset, '\0', room);
        if (end == nullptr)
            return false;
        value.assign(reinterpret_cast<const char*>(m_bytes + offset),
                     static_cast<const unsigned char*>(end) - (m_bytes + offset));
        return true;
    }

  private:
    const unsigned char* m_bytes;
    OSBUFSIZE m_size;
};

/// Writes a 32-bit word into a signal being built.
inline void putWord(union SIGNAL* signal, std::size_t offset, uint32_t value) {
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &value, sizeof value);
}

/// Writes a text and its NUL into a signal being built; the caller sized the signal.
inline void putText(union SIGNAL* signal, std::size_t offset, const std::string& text) {
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, text.c_str(), text.size() + 1);
}

/// A name's field length in the signals that carry one at a fixed place: the text
/// and at least one NUL, rounded up to whole words.
inline std::size_t paddedLength(const std::string& text) {
    return (text.size() + 4) & ~std::size_t{3};
}

/// A new signal of the given words: number first, then the fields in order.
template <std::size_t N>
union SIGNAL* makeSignal(SIGSELECT number, const uint32_t (&fields)[N]) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(4 + 4 * N), number);
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, fields, sizeof fields);
    return signal;
}

}  // namespace hostsvc

#endif  // HOSTSVC_SIGNAL_VIEW_H
