// BufferPool: the signal buffer pool of the Linux process.
//
// Buffers come in the eight size classes of the load module's pool. Memory is taken
// in chunks and never returned: a freed buffer goes back to a free list of its class,
// its header stays readable, and every use checks the header's state. A pointer is
// recognised as a buffer only if it is the start of a slot's user part in a chunk the
// pool owns, so garbage pointers are detected without reading arbitrary memory.
//
// Each thread keeps a small cache of free buffers per class; only refilling or
// draining a cache takes the class lock, once per batch.
#ifndef OSE_BUFFER_POOL_H
#define OSE_BUFFER_POOL_H

#include "BufferHeader.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace ose {

class BufferPool {
  public:
    static constexpr std::size_t kClasses = 8;
    static constexpr std::array<OSBUFSIZE, kClasses> kClassSizes{31,   63,   127,   255,
                                                                 1023, 4095, 16383, 65535};

    /// The one pool of the Linux process; it outlives every kernel.
    static BufferPool& instance();

    /// A live buffer of size bytes (1..OS_MAX_SIGSIZE) owned by owner; sigNo is its first word.
    BufferHeader* allocate(OSBUFSIZE size, SIGSELECT sigNo, PROCESS owner);
    /// Ends a live buffer; the caller has checked that it may.
    void release(BufferHeader* header);
    /// The header of the buffer whose user part starts at p; null if p is no such place.
    BufferHeader* find(const void* p) const;
    /// Frees a list linked through BufferHeader::next.
    void releaseList(BufferHeader* head);

    /// Moves a batch of free buffers of a class into a thread's cache (internal).
    BufferHeader* takeBatch(std::size_t sizeClass, uint32_t& count);
    /// Gives a batch of free buffers back from a thread's cache (internal).
    void giveBatch(std::size_t sizeClass, BufferHeader* head, uint32_t count);

  private:
    BufferPool() = default;

    struct Chunk {
        uintptr_t begin;
        uintptr_t end;
        uint32_t stride;
    };
    // Immutable once published; readers find chunks without a lock.
    struct ChunkTable {
        std::vector<Chunk> chunks;  // sorted by begin
    };
    struct Batch {
        BufferHeader* head;
        uint32_t count;
    };
    struct FreeClass {
        std::mutex mutex;
        std::vector<Batch> batches;  // guarded by mutex
    };

    void addChunk(std::size_t sizeClass);

    std::array<FreeClass, kClasses> m_free;
    std::mutex m_growMutex;  // guards m_tables and publishing m_table
    // Every table ever published, kept because a reader may still hold an old one.
    std::vector<std::unique_ptr<ChunkTable>> m_tables;
    std::atomic<const ChunkTable*> m_table{nullptr};
};

/// The size class that holds size bytes; size is 1..OS_MAX_SIGSIZE.
std::size_t sizeClassOf(OSBUFSIZE size);

}  // namespace ose

#endif  // OSE_BUFFER_POOL_H
