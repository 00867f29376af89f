// AttachTable: who waits for whose end, with which signal.
//
// Not locked itself: the kernel guards it with its lock, so that an attach to a
// process that is ending either is stored before the end fires it or sees the end.
#ifndef OSE_ATTACH_TABLE_H
#define OSE_ATTACH_TABLE_H

#include "BufferHeader.h"

#include <unordered_map>
#include <vector>

namespace ose {

struct AttachRecord {
    OSATTREF ref;
    PROCESS attacher;
    PROCESS target;
    BufferHeader* signal;
};

class AttachTable {
  public:
    enum class Detach { Taken, Gone, NotAttacher };

    /// Stores an attach under a reference the caller chose (nonzero, unique).
    void add(const AttachRecord& record);
    /// Takes back an attach the caller made. Gone: it fired or was detached already.
    Detach take(OSATTREF ref, PROCESS caller, BufferHeader*& signal);
    /// Takes out every attach to a process that ended, oldest first.
    std::vector<AttachRecord> takeTargeting(PROCESS target);
    /// Takes out the signals of the attaches a process made.
    std::vector<BufferHeader*> dropMadeBy(PROCESS attacher);
    /// Forgets everything; returns the signals.
    std::vector<BufferHeader*> clear();

  private:
    void unlinkTarget(PROCESS target, OSATTREF ref);

    std::unordered_map<OSATTREF, AttachRecord> m_records;
    std::unordered_map<PROCESS, std::vector<OSATTREF>> m_byTarget;  // in order of attach
};

}  // namespace ose

#endif  // OSE_ATTACH_TABLE_H
