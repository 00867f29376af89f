#include "BufferPool.h"

#include <algorithm>
#include <cstring>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// Free buffers and the slack behind a buffer's size are poisoned, so that a use
// after free or past the end shows in a sanitizer build of any unit.
#define OSE_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define OSE_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define OSE_POISON(p, n) ((void)(p), (void)(n))
#define OSE_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace ose {
namespace {

// Buffers a thread keeps for itself per class; half of it moves at a time.
constexpr std::array<uint32_t, BufferPool::kClasses> kCacheLimit{512, 512, 256, 256, 64, 32, 8, 4};
constexpr std::size_t kChunkBytes = 256 * 1024;

uint32_t strideOf(std::size_t sizeClass) {
    const std::size_t raw = sizeof(BufferHeader) + BufferPool::kClassSizes[sizeClass];
    return static_cast<uint32_t>((raw + 15) & ~std::size_t{15});
}

struct ThreadCache {
    struct List {
        BufferHeader* head = nullptr;
        uint32_t count = 0;
    };
    std::array<List, BufferPool::kClasses> lists;

    ThreadCache() = default;
    ThreadCache(const ThreadCache&) = delete;
    ThreadCache& operator=(const ThreadCache&) = delete;
    ~ThreadCache() {
        for (std::size_t c = 0; c < lists.size(); ++c) {
            if (lists[c].count != 0) {
                BufferPool::instance().giveBatch(c, lists[c].head, lists[c].count);
            }
        }
    }
};

thread_local ThreadCache t_cache;

}  // namespace

std::size_t sizeClassOf(OSBUFSIZE size) {
    std::size_t c = 0;
    while (c + 1 < BufferPool::kClasses && BufferPool::kClassSizes[c] < size) {
        ++c;
    }
    return c;
}

BufferPool& BufferPool::instance() {
    // Never destroyed: threads may free buffers while the process exits.
    static BufferPool* pool = new BufferPool();
    return *pool;
}

BufferHeader* BufferPool::allocate(OSBUFSIZE size, SIGSELECT sigNo, PROCESS owner) {
    const std::size_t c = sizeClassOf(size);
    ThreadCache::List& list = t_cache.lists[c];
    if (list.head == nullptr) {
        list.head = takeBatch(c, list.count);
    }
    BufferHeader* h = list.head;
    list.head = h->next;
    --list.count;

    h->next = nullptr;
    h->size = size;
    h->sender = 0;
    h->addressee = 0;
    h->owner.store(owner, std::memory_order_relaxed);
    OSE_UNPOISON(h->user(), std::max<std::size_t>(size, sizeof sigNo));
    std::memcpy(h->user(), &sigNo, sizeof sigNo);
    h->state.store(BufferHeader::kLive, std::memory_order_release);
    return h;
}

void BufferPool::release(BufferHeader* header) {
    const std::size_t c = header->sizeClass;
    header->state.store(BufferHeader::kFree, std::memory_order_release);
    OSE_POISON(header->user(), kClassSizes[c]);
    ThreadCache::List& list = t_cache.lists[c];
    header->next = list.head;
    list.head = header;
    if (++list.count <= kCacheLimit[c]) {
        return;
    }
    // Hand the newest half to the pool: the rest stays warm in this thread.
    const uint32_t give = kCacheLimit[c] / 2;
    BufferHeader* last = list.head;
    for (uint32_t i = 1; i < give; ++i) {
        last = last->next;
    }
    BufferHeader* batch = list.head;
    list.head = last->next;
    last->next = nullptr;
    list.count -= give;
    giveBatch(c, batch, give);
}

void BufferPool::releaseList(BufferHeader* head) {
    while (head != nullptr) {
        BufferHeader* next = head->next;
        release(head);
        head = next;
    }
}

BufferHeader* BufferPool::find(const void* p) const {
    const ChunkTable* table = m_table.load(std::memory_order_acquire);
    if (table == nullptr) {
        return nullptr;
    }
    const auto a = reinterpret_cast<uintptr_t>(p);
    const auto& chunks = table->chunks;
    auto it = std::upper_bound(chunks.begin(), chunks.end(), a,
                               [](uintptr_t v, const Chunk& c) { return v < c.begin; });
    if (it == chunks.begin()) {
        return nullptr;
    }
    --it;
    if (a >= it->end || a - it->begin < sizeof(BufferHeader)) {
        return nullptr;
    }
    const uintptr_t offset = a - it->begin - sizeof(BufferHeader);
    if (offset % it->stride != 0) {
        return nullptr;
    }
    return reinterpret_cast<BufferHeader*>(it->begin + offset);
}

BufferHeader* BufferPool::takeBatch(std::size_t sizeClass, uint32_t& count) {
    FreeClass& fc = m_free[sizeClass];
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(fc.mutex);
            if (!fc.batches.empty()) {
                const Batch b = fc.batches.back();
                fc.batches.pop_back();
                count = b.count;
                return b.head;
            }
        }
        addChunk(sizeClass);
    }
}

void BufferPool::giveBatch(std::size_t sizeClass, BufferHeader* head, uint32_t count) {
    FreeClass& fc = m_free[sizeClass];
    std::lock_guard<std::mutex> lock(fc.mutex);
    fc.batches.push_back(Batch{head, count});
}

void BufferPool::addChunk(std::size_t sizeClass) {
    const uint32_t stride = strideOf(sizeClass);
    const std::size_t slots = std::max<std::size_t>(4, kChunkBytes / stride);
    const std::size_t bytes = slots * stride;
    auto* memory = static_cast<unsigned char*>(::operator new (bytes, std::align_val_t{64}));

    // Headers first, so that find() never sees a slot without one.
    for (std::size_t i = 0; i < slots; ++i) {
        auto* h = new (memory + i * stride) BufferHeader();
        h->sizeClass = static_cast<uint16_t>(sizeClass);
        h->next =
            i + 1 < slots ? reinterpret_cast<BufferHeader*>(memory + (i + 1) * stride) : nullptr;
        OSE_POISON(h->user(), kClassSizes[sizeClass]);
    }
    {
        std::lock_guard<std::mutex> lock(m_growMutex);
        auto table = std::make_unique<ChunkTable>();
        if (const ChunkTable* old = m_table.load(std::memory_order_relaxed)) {
            table->chunks = old->chunks;
        }
        const auto begin = reinterpret_cast<uintptr_t>(memory);
        const Chunk chunk{begin, begin + bytes, stride};
        table->chunks.insert(
            std::upper_bound(table->chunks.begin(), table->chunks.end(), begin,
                             [](uintptr_t v, const Chunk& c) { return v < c.begin; }),
            chunk);
        m_table.store(table.get(), std::memory_order_release);
        m_tables.push_back(std::move(table));
    }
    // Cut the chunk into batches of the size a thread cache moves.
    const uint32_t batch = std::max<uint32_t>(1, kCacheLimit[sizeClass] / 2);
    std::size_t i = 0;
    while (i < slots) {
        const std::size_t n = std::min<std::size_t>(batch, slots - i);
        auto* head = reinterpret_cast<BufferHeader*>(memory + i * stride);
        reinterpret_cast<BufferHeader*>(memory + (i + n - 1) * stride)->next = nullptr;
        giveBatch(sizeClass, head, static_cast<uint32_t>(n));
        i += n;
    }
}

}  // namespace ose
