// ProcessTable: from a pid to its process record without a lock.
//
// Every send looks up its destination, so the lookup must not contend. Pids of one
// kernel are handed out in sequence from the kernel's first pid, which makes the
// table a two-level array: segments are added under the kernel's lock and never
// move, and readers only load atomics.
#ifndef OSE_PROCESS_TABLE_H
#define OSE_PROCESS_TABLE_H

#include "Process.h"

#include <array>
#include <atomic>
#include <cstddef>

namespace ose {

class ProcessTable {
  public:
    explicit ProcessTable(PROCESS first) : m_first(first) {}
    ~ProcessTable();
    ProcessTable(const ProcessTable&) = delete;
    ProcessTable& operator=(const ProcessTable&) = delete;

    /// Enters the record of a new pid; false when the table is full. Writers are serialised.
    bool insert(PROCESS pid, Process* process);
    /// The record of a pid of this kernel, or null. Any thread.
    Process* find(PROCESS pid) const {
        const PROCESS index = pid - m_first;
        if (pid < m_first || index >= kCapacity) {
            return nullptr;
        }
        const Segment* segment = m_segments[index >> kSegmentBits].load(std::memory_order_acquire);
        if (segment == nullptr) {
            return nullptr;
        }
        return (*segment)[index & (kSegmentSize - 1)].load(std::memory_order_acquire);
    }

  private:
    static constexpr std::size_t kSegmentBits = 10;
    static constexpr std::size_t kSegmentSize = std::size_t{1} << kSegmentBits;
    static constexpr std::size_t kSegments = 4096;
    static constexpr std::size_t kCapacity = kSegmentSize * kSegments;
    using Segment = std::array<std::atomic<Process*>, kSegmentSize>;

    const PROCESS m_first;
    std::array<std::atomic<Segment*>, kSegments> m_segments{};
};

}  // namespace ose

#endif  // OSE_PROCESS_TABLE_H
