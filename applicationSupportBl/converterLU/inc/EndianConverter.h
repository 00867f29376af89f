// EndianConverter: reads 16- and 32-bit fields of a signal in a chosen byte order.
//
// Signals are big-endian on the target; a client reads each field through a
// converter whose mode says whether the bytes must be reversed on this processor.
// A converter that was never given a mode is a programming error: every read
// asserts first and stops the process with "m_mode != Unknown".
#ifndef ENDIAN_CONVERTER_H
#define ENDIAN_CONVERTER_H

#include <cstdint>

class EndianConverter {
  public:
    /// Conversion modes; any value but Reverse leaves the bytes as they stand.
    enum Mode : uint32_t { Unknown = 0, HostOrder = 1, Reverse = 2 };

    EndianConverter() = default;
    explicit EndianConverter(uint32_t mode) : m_mode(mode) {}

    /// Chooses the mode for every later read.
    void setMode(uint32_t mode) { m_mode = mode; }
    /// The mode in use; Unknown until one was given.
    uint32_t getMode() const { return m_mode; }

    /// The 16-bit value at place (any alignment), bytes reversed in mode Reverse.
    uint16_t read16(const void* place) const;
    /// The 32-bit value at place (any alignment), bytes reversed in mode Reverse.
    uint32_t read32(const void* place) const;
    /// The 16-bit value at place exactly as it stands, whatever the mode.
    uint16_t read16NoSwap(const void* place) const;
    /// The 32-bit value at place exactly as it stands, whatever the mode.
    uint32_t read32NoSwap(const void* place) const;

  private:
    uint32_t m_mode = Unknown;
};

#endif  // ENDIAN_CONVERTER_H
