// MaoFroSignalReader: reads the fields of a received MAO-FRO signal without ever
// leaving the buffer. Every read is bounded by the signal's size as the kernel gives
// it; a field that does not lie wholly inside the signal reads as a failure.
#ifndef MAO_FRO_SIGNAL_READER_H
#define MAO_FRO_SIGNAL_READER_H

#include "maoFroSignals.h"
#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

class MaoFroSignalReader {
  public:
    explicit MaoFroSignalReader(union SIGNAL* sig)
        : m_data(reinterpret_cast<const unsigned char*>(sig)),
          m_size(sig == nullptr ? 0 : sigsize(&sig)) {}

    OSBUFSIZE size() const { return m_size; }

    /// Whether the bytes [offset, offset + length) lie inside the signal.
    bool holds(std::size_t offset, std::size_t length) const {
        return offset <= m_size && length <= m_size - offset;
    }

    bool u32(std::size_t offset, uint32_t& out) const { return read(offset, out); }
    bool u16(std::size_t offset, uint16_t& out) const { return read(offset, out); }
    bool head(std::size_t offset, maofro::MaoFroAttrHead& out) const { return read(offset, out); }

    /// The text of the string attribute whose head is at offset: its `value` bytes must
    /// lie inside the signal and hold the text's NUL.
    bool stringAttr(std::size_t offset, std::string& out) const {
        maofro::MaoFroAttrHead attrHead{};
        if (!head(offset, attrHead)) {
            return false;
        }
        const std::size_t dataOffset = offset + maofro::kAttrDataOffset;
        if (!holds(dataOffset, attrHead.value)) {
            return false;
        }
        const void* nul = std::memchr(m_data + dataOffset, '\0', attrHead.value);
        if (nul == nullptr) {
            return false;
        }
        out.assign(reinterpret_cast<const char*>(m_data + dataOffset),
                   static_cast<const unsigned char*>(nul) - (m_data + dataOffset));
        return true;
    }

    /// The NUL-terminated text at offset, cut at the end of the signal when it has no NUL.
    std::string textUpToEnd(std::size_t offset) const {
        if (offset >= m_size) {
            return std::string();
        }
        const std::size_t room = m_size - offset;
        const void* nul = std::memchr(m_data + offset, '\0', room);
        const std::size_t length =
            nul == nullptr ? room : static_cast<const unsigned char*>(nul) - (m_data + offset);
        return std::string(reinterpret_cast<const char*>(m_data + offset), length);
    }

  private:
    template <typename T>
    bool read(std::size_t offset, T& out) const {
        if (!holds(offset, sizeof(T))) {
            return false;
        }
        std::memcpy(&out, m_data + offset, sizeof(T));
        return true;
    }

    const unsigned char* m_data;
    OSBUFSIZE m_size;
};

#endif  // MAO_FRO_SIGNAL_READER_H
