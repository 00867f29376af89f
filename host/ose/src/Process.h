// Process: the kernel's record of one process.
//
// A prioritised process has a thread of its own (made by start()) or is an adopted
// Linux thread; a phantom has neither and only routes what is sent to it. Records
// stay until the kernel is shut down, so that get_pcb() can still tell how a process
// ended and a pid is never given to another process.
#ifndef OSE_PROCESS_H
#define OSE_PROCESS_H

#include "SignalQueue.h"
#include "oseHost.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace ose {

/// Thrown at a kernel call of a killed process to unwind its thread; caught at the
/// thread's entry. Deliberately not a std::exception.
struct ProcessKilled {};

class Process {
  public:
    enum class Life : uint32_t { Stopped, Running, Killed, Ended };

    Process(PROCESS pid, std::string name, uint32_t type, OSPRIORITY priority, PROCESS block,
            OSENTRYPOINT* entryPoint, const OS_redir_entry* redir, bool adopted);

    PROCESS pid() const { return m_pid; }
    const std::string& name() const { return m_name; }
    uint32_t type() const { return m_type; }
    OSPRIORITY priority() const { return m_priority; }
    PROCESS block() const { return m_block; }
    OSENTRYPOINT* entry() const { return m_entry; }
    bool phantom() const { return m_type == OS_PHANTOM; }
    bool adopted() const { return m_adopted; }
    SignalQueue& queue() { return m_queue; }
    const SignalQueue& queue() const { return m_queue; }

    Life life() const { return m_life.load(std::memory_order_acquire); }
    bool dead() const { return life() == Life::Killed || life() == Life::Ended; }
    /// The state word of get_pcb().
    uint32_t status() const;
    /// Moves Stopped to Running; false if it was not stopped. Under the kernel's lock.
    bool markRunning();
    /// Moves to Killed (always, once a kill was requested) or Ended; false if it was
    /// dead already. Under the kernel's lock.
    bool markDead(Life how);

    /// Any thread: the process is to unwind at its next kernel call; wakes it if blocked.
    void requestKill();
    /// Owner thread, at every kernel call: unwinds the thread of a killed process (once).
    void checkKilled() {
        if (m_killRequested.load(std::memory_order_relaxed) && !m_unwinding && !m_adopted) {
            m_unwinding = true;
            throw ProcessKilled{};
        }
    }
    /// Owner thread: true once the process is dead and may no longer block.
    bool mayNotBlock() const { return m_killRequested.load(std::memory_order_relaxed) || dead(); }

    /// Where a signal of that number sent to this process goes: itself, another
    /// process, or 0 (nowhere: it is freed).
    PROCESS route(SIGSELECT sigNo) const;

    /// A link phantom's outlet: every signal sent to it is given to outlet on the
    /// sending thread. Set once, before the process is published.
    void setOutlet(OseLinkOutlet linkOutlet, void* context) {
        m_outlet = linkOutlet;
        m_outletContext = context;
    }
    OseLinkOutlet outlet() const { return m_outlet; }
    void* outletContext() const { return m_outletContext; }

    /// The host's mark of the process (ose_set_mark): given on by create_process, read
    /// by the thread at its start.
    uint32_t mark() const { return m_mark.load(std::memory_order_acquire); }
    void setMark(uint32_t mark) { m_mark.store(mark, std::memory_order_release); }

    // The thread of a started process; set by start() and joined by the kernel,
    // both under the kernel's lock discipline (never by two threads at once).
    std::thread thread;
    // Guarded by the kernel's lock: a thread was made, and it has left the entry.
    bool hasThread = false;
    bool threadDone = false;

  private:
    const PROCESS m_pid;
    const std::string m_name;
    const uint32_t m_type;
    const OSPRIORITY m_priority;
    const PROCESS m_block;
    OSENTRYPOINT* const m_entry;
    const bool m_adopted;
    // The redirection table, fixed at creation.
    PROCESS m_defaultRoute = 0;
    std::vector<OS_redir_entry> m_redirection;
    OseLinkOutlet m_outlet = nullptr;
    void* m_outletContext = nullptr;

    std::atomic<uint32_t> m_mark{0};
    std::atomic<Life> m_life;
    std::atomic<bool> m_killRequested{false};
    bool m_unwinding = false;  // owner thread only
    SignalQueue m_queue;
};

}  // namespace ose

#endif  // OSE_PROCESS_H
