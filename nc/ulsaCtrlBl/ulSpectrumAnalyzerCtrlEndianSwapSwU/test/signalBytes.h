// Helpers of this unit's tests: signals as exact-sized byte vectors (so that a read
// past the end is caught under ASan), and a writer of the radio unit's big-endian
// order that does not share code with the conversion.
#ifndef ENDIAN_SWAP_TEST_SIGNAL_BYTES_H
#define ENDIAN_SWAP_TEST_SIGNAL_BYTES_H

#include "oseHost.h"
#include "radioSignalReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace swaptest {

using Bytes = std::vector<uint8_t>;

inline union SIGNAL* asSignal(Bytes& bytes) {
    return reinterpret_cast<union SIGNAL*>(bytes.data());
}

inline OSBUFSIZE sizeOf(const Bytes& bytes) {
    return static_cast<OSBUFSIZE>(bytes.size());
}

/// A signal of size bytes: the number in host order, then the pattern 1, 2, 3, ...
inline Bytes patterned(SIGSELECT number, std::size_t size) {
    uint8_t head[sizeof number];
    std::memcpy(head, &number, sizeof number);
    Bytes bytes;
    bytes.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(i < sizeof number ? head[i] : static_cast<uint8_t>(i + 1));
    }
    return bytes;
}

/// Copies a kernel signal into a byte vector of its size and frees it.
inline Bytes take(union SIGNAL* signal) {
    union SIGNAL* own = signal;
    Bytes bytes(sigsize(&own));
    std::memcpy(bytes.data(), own, bytes.size());
    free_buf(&own);
    return bytes;
}

/// Appends big-endian fields, as the radio unit sends them.
struct BigEndianWriter {
    Bytes bytes;
    void u16(uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(value >> 8));
        bytes.push_back(static_cast<uint8_t>(value));
    }
    void u32(uint32_t value) {
        u16(value >> 16);
        u16(value & 0xFFFFu);
    }
    void zeros(std::size_t count) { bytes.insert(bytes.end(), count, 0); }
    void at16(std::size_t offset, uint32_t value) {
        bytes[offset] = static_cast<uint8_t>(value >> 8);
        bytes[offset + 1] = static_cast<uint8_t>(value);
    }
};

/// Each test runs as a kernel process of a fresh kernel (builders allocate signals).
class KernelTest : public ::testing::Test {
  protected:
    void SetUp() override { ose_adopt_thread("endianSwapTest"); }
    void TearDown() override {
        ose_leave_thread();
        ose_shutdown();
    }
};

}  // namespace swaptest

#endif  // ENDIAN_SWAP_TEST_SIGNAL_BYTES_H
