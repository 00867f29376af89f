// Kernel: the one kernel of a Linux process, made on first use.
//
// It owns the process records and what ties processes together: names and hunts,
// attaches, time-outs and the environment. Signal traffic itself does not take the
// kernel's lock: a send finds its destination in the lock-free process table and
// takes only the destination queue's lock.
//
// Locks, in the order they may be taken (never the other way round):
//   s_lifeMutex (making and ending kernels) -> m_joinMutex -> m_mutex
// m_mutex is never held while a queue, the timer service, the environment, the clock or
// the pool is locked, nor while a signal is delivered or an error reported.
#ifndef OSE_KERNEL_H
#define OSE_KERNEL_H

#include "AttachTable.h"
#include "BufferPool.h"
#include "Environment.h"
#include "KernelClock.h"
#include "NameTable.h"
#include "Process.h"
#include "ProcessTable.h"
#include "TimerService.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace ose {

class Kernel {
  public:
    enum class Start { Started, NothingToDo, Dead, NoThread };

    /// The kernel of this Linux process, made on first use.
    static Kernel& get() {
        Kernel* k = s_current.load(std::memory_order_acquire);
        return k != nullptr ? *k : create();
    }
    /// The kernel if one exists; never makes one.
    static Kernel* existing() { return s_current.load(std::memory_order_acquire); }
    /// Kills everything and forgets the kernel; false if called from a process thread.
    static bool shutdown();

    /// True once shutdown has begun: no process can be made any more.
    bool shuttingDown() const;
    /// The calling thread's process in this kernel (maybe dead already), or null.
    Process* current() const;
    /// The record of a pid of this kernel, or null. Lock-free.
    Process* find(PROCESS pid) const { return m_table.find(pid); }
    /// A pid that a kernel before this one gave out: pids only grow across ose_shutdown().
    bool earlierProcess(PROCESS pid) const { return pid >= 0x10000u && pid < m_firstPid; }

    /// Hands a signal to its destination as sent by from to to, through redirections.
    /// A signal that no live process takes is freed.
    void deliver(BufferHeader* h, PROCESS from, PROCESS to);
    /// Frees a buffer the kernel or a checked caller holds.
    static void release(BufferHeader* h) { BufferPool::instance().release(h); }

    /// Creates a process (phantoms run at once, others are stopped) with a mark; 0 if none
    /// can be made.
    PROCESS createProcess(uint32_t type, const char* name, OSENTRYPOINT* entry, OSPRIORITY priority,
                          PROCESS block, const OS_redir_entry* redir, uint32_t mark);
    /// Gives a stopped process its thread.
    Start start(Process& p);
    /// Kills a process. A process thread that kills itself unwinds (ProcessKilled).
    void kill(Process& target, Process* caller);

    /// Creates a phantom whose signals go to outlet; 0 if none can be made.
    PROCESS createLinkPhantom(const char* name, OseLinkOutlet outlet, void* context);
    /// Installs the observer of hunts for link paths that nothing answers.
    void setHuntObserver(OseHuntObserver observer, void* context);
    /// What a blocking receive watches besides its queue (ose_set_wait_watch).
    void setWaitWatch(const OseWaitWatch* watch) { m_waitWatch.store(watch, std::memory_order_release); }
    const OseWaitWatch* waitWatch() const { return m_waitWatch.load(std::memory_order_acquire); }
    /// The names with that prefix that hunt signals wait for.
    std::vector<std::string> huntedNames(const std::string& prefix) const;

    /// Finds a process by name; keeps the signal for a name that does not exist yet.
    bool hunt(const char* name, Process* hunter, PROCESS& found, BufferHeader* signal);
    /// Delivers signal to the attacher when target ends (now, if it has).
    OSATTREF attach(Process& attacher, PROCESS target, BufferHeader* signal);
    /// Takes an attach back and frees its signal.
    AttachTable::Detach detach(Process& caller, OSATTREF ref);
    /// True if ref was ever handed out by an attach (of any kernel).
    static bool attachRefIssued(OSATTREF ref);
    /// Delivers signal to owner after ms.
    OSTMOREF requestTimeout(Process& owner, OSTIME ms, BufferHeader* signal);
    /// Takes a time-out back; its signal is given in signal.
    TimerService::Cancel cancelTimeout(Process& caller, OSTMOREF ref, BufferHeader*& signal);
    /// True if ref was ever handed out by a time-out request (of any kernel).
    static bool timeoutRefIssued(OSTMOREF ref);

    Environment& environment() { return m_environment; }
    const KernelClock& clock() const { return m_clock; }

    /// Switches the clock to manual time or back to real time; every timed wait follows.
    void setClockManual(bool manual);
    /// Moves the manual clock on by ms in steps, one per due time: what falls due is
    /// delivered or woken, and the processes come to rest, before the next step.
    void advanceClock(OSTIME ms);
    /// Waits at most ms of real time until the process is idle (pid 0: every process with
    /// a thread of the kernel's own is idle, stopped or gone).
    bool waitIdle(PROCESS pid, OSTIME ms);

    /// Makes the calling thread a process of that name (or gives the one it is).
    PROCESS adopt(const char* name);
    /// Ends the calling thread's adopted process; false if it is no adopted process.
    bool leave();
    /// Waits until a process has ended and its thread is gone.
    bool waitEnded(PROCESS pid, OSTIME ms);

  private:
    Kernel();
    ~Kernel();
    Kernel(const Kernel&) = delete;
    Kernel& operator=(const Kernel&) = delete;

    static Kernel& create();
    void shutDownProcesses();
    std::shared_ptr<Process> shared(PROCESS pid) const;
    /// Marks a process dead and tells everybody who cares; nothing if it was dead already.
    void endProcess(Process& p, Process::Life how);
    void runProcess(std::shared_ptr<Process> p);
    void joinFinished();
    PROCESS addProcess(std::shared_ptr<Process> p);
    /// The live processes that have a queue.
    std::vector<std::shared_ptr<Process>> withQueues() const;
    /// A process other than self whose thread is not at rest, or 0 if all are.
    PROCESS busyProcess(const Process* self) const;
    /// Waits a while for every process but self to come to rest; says which one did not.
    void settle(const Process* self);

    static std::atomic<Kernel*> s_current;
    static std::mutex s_lifeMutex;

    const uint64_t m_generation;
    const PROCESS m_firstPid;

    mutable std::mutex m_mutex;
    std::condition_variable m_ended;  // with m_mutex: a process ended or its thread left
    // Guarded by m_mutex.
    std::vector<std::shared_ptr<Process>> m_processes;  // index pid - m_firstPid; null: not (yet) added
    std::vector<std::shared_ptr<Process>> m_finished;   // threads to join
    NameTable m_names;
    AttachTable m_attaches;
    bool m_shuttingDown = false;
    std::atomic<const OseWaitWatch*> m_waitWatch{nullptr};
    OseHuntObserver m_huntObserver = nullptr;
    void* m_huntObserverContext = nullptr;

    std::mutex m_joinMutex;  // one thread joins at a time

    ProcessTable m_table;  // written under m_mutex, read without a lock
    Environment m_environment;
    KernelClock m_clock;
    TimerService m_timers;  // last: its thread delivers through the members above
};

}  // namespace ose

#endif  // OSE_KERNEL_H
