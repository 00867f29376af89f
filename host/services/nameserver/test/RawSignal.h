// RawSignal: a received signal owned by the test, and reads of its fields.
#ifndef HOSTNS_TEST_RAW_SIGNAL_H
#define HOSTNS_TEST_RAW_SIGNAL_H

#include "ose.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace nstest {

struct SignalFreer {
    void operator()(union SIGNAL* signal) const { free_buf(&signal); }
};
using RawSignal = std::unique_ptr<union SIGNAL, SignalFreer>;

inline uint32_t word(const RawSignal& signal, std::size_t offset) {
    uint32_t value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(signal.get()) + offset,
                sizeof value);
    return value;
}
inline std::string text(const RawSignal& signal, std::size_t offset) {
    return reinterpret_cast<const char*>(signal.get()) + offset;
}
inline OSBUFSIZE sizeOf(const RawSignal& signal) {
    union SIGNAL* raw = signal.get();
    return sigsize(&raw);
}
inline PROCESS senderOf(const RawSignal& signal) {
    union SIGNAL* raw = signal.get();
    return sender(&raw);
}

}  // namespace nstest

#endif  // HOSTNS_TEST_RAW_SIGNAL_H
