// BufferHeader: the kernel's record in front of every signal buffer.
//
// The user part of a buffer starts right behind its header. Headers live in pool
// memory that is never given back to the operating system, so a header can always
// be read, also after the buffer was freed: that is what turns a double free or a
// stale pointer into a kernel error instead of undefined behaviour.
#ifndef OSE_BUFFER_HEADER_H
#define OSE_BUFFER_HEADER_H

#include "ose.h"

#include <atomic>
#include <cstdint>
#include <cstring>

namespace ose {

/// Owner of a buffer that the kernel itself holds: a pending hunt, attach or time-out.
constexpr PROCESS kKernelOwner = 0xFFFFFFFFu;

struct BufferHeader {
    static constexpr uint32_t kLive = 0x4C495645u;  // "LIVE"
    static constexpr uint32_t kFree = 0x46524545u;  // "FREE"

    // Written only by the owner (or by the kernel while it holds the buffer); read by
    // anyone who checks a pointer, hence atomic.
    std::atomic<uint32_t> state{kFree};
    OSBUFSIZE size = 0;  // as asked of alloc()
    std::atomic<PROCESS> owner{0};
    PROCESS sender = 0;     // set by send
    PROCESS addressee = 0;  // the process the signal was sent to (a phantom stays the addressee)
    uint16_t sizeClass = 0;
    uint16_t reserved = 0;
    BufferHeader* next = nullptr;  // link in a signal queue or a free list

    void* user() { return reinterpret_cast<unsigned char*>(this) + sizeof(BufferHeader); }
    union SIGNAL* signal() {
        return static_cast<union SIGNAL*>(user());
    }
    SIGSELECT sigNo() const {
        SIGSELECT n;
        std::memcpy(&n, reinterpret_cast<const unsigned char*>(this) + sizeof(BufferHeader),
                    sizeof n);
        return n;
    }
    bool live() const { return state.load(std::memory_order_acquire) == kLive; }
};

static_assert(sizeof(BufferHeader) == 32, "the user part must stay 16-byte aligned");

}  // namespace ose

#endif  // OSE_BUFFER_HEADER_H
