// Bounded reads from a received signal and writes into a new one. A field that lies
// outside the buffer is reported as missing instead of being read.
#ifndef HOSTTX_SIGNAL_FIELDS_H
#define HOSTTX_SIGNAL_FIELDS_H

#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace hosttx {

class SignalFields {
  public:
    SignalFields(const union SIGNAL* signal, OSBUFSIZE size)
        : m_bytes(reinterpret_cast<const unsigned char*>(signal)), m_size(size) {}

    OSBUFSIZE size() const { return m_size; }

    /// The 32-bit word at offset; false when it does not fit.
    bool word(std::size_t offset, uint32_t& value) const {
        if (offset > m_size || m_size - offset < sizeof value)
            return false;
        std::memcpy(&value, m_bytes + offset, sizeof value);
        return true;
    }

    /// The text at offset up to its NUL, looked for in at most limit bytes and never
    /// past the end; false when there is no NUL there.
    bool text(std::size_t offset, std::size_t limit, std::string& value) const {
        if (offset >= m_size)
            return false;
        const std::size_t room = m_size - offset < limit ? m_size - offset : limit;
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

/// A new signal of the given words: number first, then the fields in order.
template <std::size_t N>
union SIGNAL* makeSignal(SIGSELECT number, const uint32_t (&fields)[N]) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(4 + 4 * N), number);
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, fields, sizeof fields);
    return signal;
}

}  // namespace hosttx

#endif  // HOSTTX_SIGNAL_FIELDS_H
