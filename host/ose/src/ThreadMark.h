// ThreadMark: the mark of the process whose code the calling thread runs.
//
// A host that wants to tell the threads of some processes apart marks them
// (ose_set_mark); the node marks the load module's processes, so that the memory
// they take can be counted (host/heap). The thread of a process carries its mark
// while it runs the process's own code; during a kernel call the mark is off, so that
// what the kernel takes for itself (signal pool chunks, process records, hunts,
// time-outs) counts as the kernel's, as on a target where the kernel has memory of
// its own.
#ifndef OSE_THREAD_MARK_H
#define OSE_THREAD_MARK_H

#include <cstdint>

namespace ose {

/// The calling thread's mark; 0 on threads of unmarked processes and on any other.
uint32_t threadMark();
void setThreadMark(uint32_t mark);

/// Turns the calling thread's mark off for its own lifetime.
class KernelCallScope {
  public:
    KernelCallScope() : m_saved(threadMark()) { setThreadMark(0); }
    ~KernelCallScope() { setThreadMark(m_saved); }
    KernelCallScope(const KernelCallScope&) = delete;
    KernelCallScope& operator=(const KernelCallScope&) = delete;

  private:
    uint32_t m_saved;
};

}  // namespace ose

#endif  // OSE_THREAD_MARK_H
