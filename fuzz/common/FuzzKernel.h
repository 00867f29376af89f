// FuzzKernel: what every fuzz target shares. The fuzzer's thread becomes a kernel
// process once (in LLVMFuzzerInitialize), and each input becomes one signal of exactly
// the input's size: its first four bytes are the signal number, as on the wire.
#ifndef ULSA_FUZZ_KERNEL_H
#define ULSA_FUZZ_KERNEL_H

#include "ose.h"
#include "oseHost.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fuzzkernel {

/// A signal holds at least its number and at most the kernel's largest buffer.
inline bool fitsSignal(std::size_t size) {
    return size >= sizeof(SIGSELECT) && size <= OS_MAX_SIGSIZE;
}

/// A signal's number, its first word.
inline SIGSELECT numberOf(const union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

/// The input as a signal owned by the calling process, its number as the input says.
inline union SIGNAL* signalOf(const uint8_t* data, std::size_t size) {
    SIGSELECT number;
    std::memcpy(&number, data, sizeof number);
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), number);
    std::memcpy(signal, data, size);
    return signal;
}

/// The input as a signal of the given number: the input's own first word is replaced.
inline union SIGNAL* signalOf(const uint8_t* data, std::size_t size, SIGSELECT number) {
    union SIGNAL* signal = signalOf(data, size);
    std::memcpy(signal, &number, sizeof number);
    return signal;
}

/// Frees everything waiting in the calling process's queue (answers of the service
/// under test), so that a long run does not pile them up.
inline void drainQueue() {
    static const SIGSELECT any[] = {0};
    while (union SIGNAL* signal = receive_w_tmo(0, any)) {
        free_buf(&signal);
    }
}

}  // namespace fuzzkernel

#endif  // ULSA_FUZZ_KERNEL_H
