#include "ProcessTable.h"

namespace ose {

ProcessTable::~ProcessTable() {
    for (auto& s : m_segments) {
        delete s.load(std::memory_order_relaxed);
    }
}

bool ProcessTable::insert(PROCESS pid, Process* process) {
    const PROCESS index = pid - m_first;
    if (pid < m_first || index >= kCapacity) {
        return false;
    }
    std::atomic<Segment*>& slot = m_segments[index >> kSegmentBits];
    Segment* segment = slot.load(std::memory_order_relaxed);
    if (segment == nullptr) {
        segment = new Segment();
        for (auto& p : *segment) {
            p.store(nullptr, std::memory_order_relaxed);
        }
        slot.store(segment, std::memory_order_release);
    }
    (*segment)[index & (kSegmentSize - 1)].store(process, std::memory_order_release);
    return true;
}

}  // namespace ose
