// The counting allocator: the replaceable global operator new and delete of C++17,
// each block with a header in front of it.
#include "heapCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace heapcount {
namespace {

// In front of every block, whether counted or not, so that a delete on any thread
// knows what to take off. 16 bytes keep the block at malloc's alignment.
struct alignas(16) Header {
    std::size_t size;       // bytes asked for
    std::uint32_t offset;   // from what malloc gave to the block
    std::uint32_t counted;  // kCounted or kPlain
};
static_assert(sizeof(Header) == 16, "the header keeps a block at 16-byte alignment");

constexpr std::uint32_t kCounted = 0x48435431u;
constexpr std::uint32_t kPlain = 0x48435430u;

std::atomic<ThreadFilter> g_filter{nullptr};
std::atomic<std::size_t> g_live{0};
std::atomic<std::size_t> g_peak{0};
std::atomic<std::size_t> g_blocks{0};
std::atomic<std::uint64_t> g_allocations{0};
std::array<std::atomic<std::size_t>, kSizeClasses> g_bySize{};

std::size_t sizeClass(std::size_t size) {
    std::size_t c = 0;
    while (c + 1 < kSizeClasses && (std::size_t{1} << c) < size) {
        ++c;
    }
    return c;
}

void count(std::size_t size) {
    const std::size_t live = g_live.fetch_add(size, std::memory_order_relaxed) + size;
    std::size_t peak = g_peak.load(std::memory_order_relaxed);
    while (live > peak && !g_peak.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
    g_blocks.fetch_add(1, std::memory_order_relaxed);
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    g_bySize[sizeClass(size)].fetch_add(size, std::memory_order_relaxed);
}

void uncount(std::size_t size) {
    g_live.fetch_sub(size, std::memory_order_relaxed);
    g_blocks.fetch_sub(1, std::memory_order_relaxed);
    g_bySize[sizeClass(size)].fetch_sub(size, std::memory_order_relaxed);
}

// A block of size bytes at alignment (a power of two, at least 16), or null.
void* take(std::size_t size, std::size_t alignment) {
    const std::size_t slack = sizeof(Header) + (alignment > sizeof(Header) ? alignment : 0);
    if (size > SIZE_MAX - slack) {
        return nullptr;
    }
    unsigned char* base = static_cast<unsigned char*>(std::malloc(size + slack));
    if (base == nullptr) {
        return nullptr;
    }
    std::uintptr_t user = reinterpret_cast<std::uintptr_t>(base) + sizeof(Header);
    user = (user + alignment - 1) & ~(std::uintptr_t{alignment} - 1);
    Header* header = reinterpret_cast<Header*>(user) - 1;
    header->size = size;
    header->offset = static_cast<std::uint32_t>(user - reinterpret_cast<std::uintptr_t>(base));
    const ThreadFilter filter = g_filter.load(std::memory_order_acquire);
    header->counted = filter != nullptr && filter() ? kCounted : kPlain;
    if (header->counted == kCounted) {
        count(size);
    }
    return reinterpret_cast<void*>(user);
}

void give(void* block) {
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    if (header->counted == kCounted) {
        uncount(header->size);
    }
    header->counted = 0;  // a second delete of the block finds no tag
    std::free(static_cast<unsigned char*>(block) - header->offset);
}

// operator new's contract: try, call the new-handler while there is one, else throw.
void* allocate(std::size_t size, std::size_t alignment) {
    for (;;) {
        if (void* block = take(size, alignment)) {
            return block;
        }
        std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void* allocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return allocate(size, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

constexpr std::size_t kPlainAlignment = sizeof(Header);

std::size_t alignmentOf(std::align_val_t alignment) {
    const auto a = static_cast<std::size_t>(alignment);
    return a < kPlainAlignment ? kPlainAlignment : a;
}

}  // namespace

void countThreads(ThreadFilter filter) {
    g_filter.store(filter, std::memory_order_release);
}

Figures figures() {
    Figures f;
    f.liveBytes = g_live.load(std::memory_order_relaxed);
    f.peakBytes = g_peak.load(std::memory_order_relaxed);
    f.liveBlocks = g_blocks.load(std::memory_order_relaxed);
    f.allocations = g_allocations.load(std::memory_order_relaxed);
    for (std::size_t c = 0; c < kSizeClasses; ++c) {
        f.liveBySize[c] = g_bySize[c].load(std::memory_order_relaxed);
    }
    return f;
}

void resetPeak() {
    g_peak.store(g_live.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

}  // namespace heapcount

using heapcount::alignmentOf;
using heapcount::allocate;
using heapcount::allocateOrNull;
using heapcount::give;
using heapcount::kPlainAlignment;

void* operator new(std::size_t size) { return allocate(size, kPlainAlignment); }
void* operator new[](std::size_t size) { return allocate(size, kPlainAlignment); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, kPlainAlignment);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, kPlainAlignment);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignmentOf(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, alignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, alignmentOf(alignment));
}

void operator delete(void* block) noexcept { give(block); }
void operator delete[](void* block) noexcept { give(block); }
void operator delete(void* block, std::size_t) noexcept { give(block); }
void operator delete[](void* block, std::size_t) noexcept { give(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { give(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { give(block); }
void operator delete(void* block, std::align_val_t) noexcept { give(block); }
void operator delete[](void* block, std::align_val_t) noexcept { give(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { give(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { give(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept { give(block); }
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    give(block);
}
