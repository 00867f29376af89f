#include "Kernel.h"

#include "ThreadMark.h"

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <thread>
#include <utility>

namespace ose {
namespace {

// Never reset, so that no pid, attach or time-out reference of one kernel means
// something else in the next one.
std::atomic<PROCESS> g_nextPid{0x10000};
std::atomic<OSATTREF> g_nextAttachRef{1};
std::atomic<OSTMOREF> g_nextTimeoutRef{1};
std::atomic<uint64_t> g_nextGeneration{1};

// Redirections followed for one signal before it counts as going nowhere (a loop).
constexpr int kMaxRedirections = 16;

// How long a step of the manual clock waits for the processes to come to rest, and
// how often it looks.
constexpr OSTIME kSettleLimitMs = 2000;
constexpr std::chrono::microseconds kIdlePoll{50};

// The calling thread's process, valid only in the kernel of that generation.
struct Identity {
    std::shared_ptr<Process> process;
    uint64_t generation = 0;
};
thread_local Identity t_identity;

}  // namespace

std::atomic<Kernel*> Kernel::s_current{nullptr};
std::mutex Kernel::s_lifeMutex;

Kernel& Kernel::create() {
    std::lock_guard<std::mutex> lock(s_lifeMutex);
    Kernel* k = s_current.load(std::memory_order_acquire);
    if (k == nullptr) {
        k = new Kernel();
        s_current.store(k, std::memory_order_release);
    }
    return *k;
}

Kernel::Kernel()
    : m_generation(g_nextGeneration.fetch_add(1)),
      m_firstPid(g_nextPid.load()),
      m_table(m_firstPid),
      m_timers(
          m_clock, [this](BufferHeader* h, PROCESS owner) { deliver(h, owner, owner); },
          [](BufferHeader* h) { release(h); }) {}

Kernel::~Kernel() = default;

bool Kernel::shutdown() {
    std::lock_guard<std::mutex> lock(s_lifeMutex);
    Kernel* k = s_current.load(std::memory_order_acquire);
    if (k == nullptr) {
        return true;
    }
    Process* self = k->current();
    if (self != nullptr && !self->adopted()) {
        return false;
    }
    if (self != nullptr) {
        k->leave();
    }
    k->setClockManual(false);  // a thread that is no process may sleep on the manual clock
    k->shutDownProcesses();
    s_current.store(nullptr, std::memory_order_release);
    delete k;
    return true;
}

void Kernel::shutDownProcesses() {
    std::vector<std::shared_ptr<Process>> all;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_shuttingDown = true;
        all = m_processes;
    }
    all.erase(std::remove(all.begin(), all.end(), nullptr), all.end());
    for (auto& p : all) {
        p->requestKill();  // first, so that a running process stops at its next call
        endProcess(*p, Process::Life::Killed);
    }
    {
        // Threads unwind at their next kernel call; a thread that never makes one
        // (stuck outside the kernel) holds the shutdown up here.
        std::lock_guard<std::mutex> joinLock(m_joinMutex);
        for (auto& p : all) {
            if (p->thread.joinable()) {
                p->thread.join();
            }
        }
    }
    std::vector<BufferHeader*> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        dropped = m_names.clear();
        m_huntObserver = nullptr;
        m_waitWatch.store(nullptr, std::memory_order_release);
        std::vector<BufferHeader*> attaches = m_attaches.clear();
        dropped.insert(dropped.end(), attaches.begin(), attaches.end());
        m_finished.clear();
    }
    for (BufferHeader* h : dropped) {
        release(h);
    }
    m_environment.clear();
}

bool Kernel::shuttingDown() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_shuttingDown;
}

Process* Kernel::current() const {
    return t_identity.generation == m_generation ? t_identity.process.get() : nullptr;
}

std::shared_ptr<Process> Kernel::shared(PROCESS pid) const {
    const std::size_t index = pid - m_firstPid;
    return index < m_processes.size() ? m_processes[index] : nullptr;
}

void Kernel::deliver(BufferHeader* h, PROCESS from, PROCESS to) {
    h->sender = from;
    h->addressee = to;
    PROCESS dest = to;
    for (int hop = 0; hop < kMaxRedirections; ++hop) {
        Process* p = find(dest);
        if (p == nullptr || p->dead()) {
            break;
        }
        const PROCESS next = p->route(h->sigNo());
        if (next == dest && !p->phantom()) {
            h->owner.store(dest, std::memory_order_relaxed);
            if (p->queue().push(h)) {
                return;
            }
            break;  // the process ended while the signal was on its way
        }
        if (p->outlet() != nullptr) {
            // A link phantom: its link takes a copy, the buffer ends here.
            p->outlet()(p->outletContext(), h->user(), h->size, from, dest);
            break;
        }
        if (next == 0 || next == dest) {
            break;
        }
        dest = next;
    }
    release(h);
}

PROCESS Kernel::addProcess(std::shared_ptr<Process> p) {
    const PROCESS pid = p->pid();
    std::vector<PendingHunt> hunts;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_shuttingDown || !m_table.insert(pid, p.get())) {
            return 0;
        }
        // By pid, not in the order of arrival: a pid is handed out under the lock, but
        // another thread may add a later one before this one comes here.
        const std::size_t index = pid - m_firstPid;
        if (index >= m_processes.size())
            m_processes.resize(index + 1);
        m_processes[index] = p;
        m_names.add(p->name(), pid);
        hunts = m_names.takeHunts(p->name());
    }
    for (const PendingHunt& h : hunts) {
        deliver(h.signal, pid, h.hunter);
    }
    return pid;
}

PROCESS Kernel::createProcess(uint32_t type, const char* name, OSENTRYPOINT* entry,
                              OSPRIORITY priority, PROCESS block, const OS_redir_entry* redir,
                              uint32_t mark) {
    std::shared_ptr<Process> p;
    {
        // Pids are handed out under the lock, so that they stay dense in the table.
        std::lock_guard<std::mutex> lock(m_mutex);
        p = std::make_shared<Process>(g_nextPid.fetch_add(1), name, type, priority, block, entry,
                                      redir, false);
    }
    p->setMark(mark);
    return addProcess(std::move(p));
}

PROCESS Kernel::createLinkPhantom(const char* name, OseLinkOutlet outlet, void* context) {
    std::shared_ptr<Process> p;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        p = std::make_shared<Process>(g_nextPid.fetch_add(1), name, OS_PHANTOM, 0, 0, nullptr,
                                      nullptr, false);
    }
    p->setOutlet(outlet, context);
    return addProcess(std::move(p));
}

void Kernel::setHuntObserver(OseHuntObserver observer, void* context) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_huntObserver = observer;
    m_huntObserverContext = context;
}

std::vector<std::string> Kernel::huntedNames(const std::string& prefix) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_names.huntedNames(prefix);
}

Kernel::Start Kernel::start(Process& p) {
    joinFinished();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (p.phantom() || p.adopted()) {
            return Start::NothingToDo;
        }
        if (p.dead()) {
            return Start::Dead;
        }
        if (!p.markRunning()) {
            return Start::NothingToDo;
        }
        try {
            p.thread = std::thread(&Kernel::runProcess, this, shared(p.pid()));
            p.hasThread = true;
            return Start::Started;
        } catch (const std::system_error&) {
            // Out of threads: the process cannot run; it ends below, out of the lock.
        }
    }
    endProcess(p, Process::Life::Killed);
    return Start::NoThread;
}

void Kernel::runProcess(std::shared_ptr<Process> p) {
    t_identity = Identity{p, m_generation};
    try {
        p->checkKilled();
        setThreadMark(p->mark());
        p->entry()();
    } catch (const ProcessKilled&) {
        // The kill did the rest: the process is dead already.
    }
    setThreadMark(0);
    endProcess(*p, Process::Life::Ended);
    BufferPool::instance().releaseList(p->queue().drainPrivate());
    t_identity = Identity{};
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        p->threadDone = true;
        m_finished.push_back(p);
    }
    m_ended.notify_all();
}

void Kernel::joinFinished() {
    // Whoever holds the join lock joins; the others need not wait for it.
    std::unique_lock<std::mutex> joinLock(m_joinMutex, std::try_to_lock);
    if (!joinLock.owns_lock()) {
        return;
    }
    std::vector<std::shared_ptr<Process>> done;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        done.swap(m_finished);
    }
    for (auto& p : done) {
        if (p->thread.joinable()) {
            p->thread.join();
        }
    }
}

void Kernel::endProcess(Process& p, Process::Life how) {
    std::vector<AttachRecord> attachers;
    std::vector<BufferHeader*> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!p.markDead(how)) {
            return;
        }
        m_names.remove(p.name(), p.pid());
        attachers = m_attaches.takeTargeting(p.pid());
        dropped = m_attaches.dropMadeBy(p.pid());
        std::vector<BufferHeader*> hunts = m_names.dropHuntsBy(p.pid());
        dropped.insert(dropped.end(), hunts.begin(), hunts.end());
    }
    BufferPool::instance().releaseList(p.queue().close());
    m_timers.cancelAllOf(p.pid());
    m_environment.forget(p.pid());
    for (const AttachRecord& a : attachers) {
        deliver(a.signal, p.pid(), a.attacher);
    }
    for (BufferHeader* h : dropped) {
        release(h);
    }
    m_ended.notify_all();
}

void Kernel::kill(Process& target, Process* caller) {
    if (target.dead()) {
        return;
    }
    target.requestKill();  // first, so that a running process stops at its next call
    endProcess(target, Process::Life::Killed);
    if (&target == caller) {
        if (target.adopted()) {
            BufferPool::instance().releaseList(target.queue().drainPrivate());
        } else {
            target.checkKilled();  // unwinds this thread, unless it is unwinding already
        }
    }
}

bool Kernel::hunt(const char* name, Process* hunter, PROCESS& found, BufferHeader* signal) {
    const std::string key(name);
    OseHuntObserver observer = nullptr;
    void* observerContext = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        found = m_names.find(key);
        if (found == 0 && signal != nullptr && hunter != nullptr && !hunter->dead()) {
            m_names.addHunt(key, hunter->pid(), signal);
            signal = nullptr;
        }
        if (found == 0 && key.find('/') != std::string::npos) {
            observer = m_huntObserver;
            observerContext = m_huntObserverContext;
        }
    }
    if (observer != nullptr) {
        observer(observerContext, name);  // a link may make the name appear now
    }
    if (signal != nullptr) {
        if (found != 0 && hunter != nullptr) {
            deliver(signal, found, hunter->pid());
        } else {
            release(signal);
        }
    }
    return found != 0;
}

OSATTREF Kernel::attach(Process& attacher, PROCESS target, BufferHeader* signal) {
    OSATTREF ref = g_nextAttachRef.fetch_add(1);
    bool endedAlready = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const Process* t = find(target);
        endedAlready = t == nullptr || t->dead();
        if (!endedAlready && !attacher.dead()) {
            m_attaches.add(AttachRecord{ref, attacher.pid(), target, signal});
            signal = nullptr;
        }
    }
    if (signal != nullptr) {
        if (endedAlready) {
            deliver(signal, target, attacher.pid());
        } else {
            release(signal);
        }
    }
    return ref;
}

AttachTable::Detach Kernel::detach(Process& caller, OSATTREF ref) {
    BufferHeader* signal = nullptr;
    AttachTable::Detach result;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        result = m_attaches.take(ref, caller.pid(), signal);
    }
    if (result == AttachTable::Detach::Taken) {
        release(signal);
    }
    return result;
}

bool Kernel::attachRefIssued(OSATTREF ref) {
    return ref != 0 && ref < g_nextAttachRef.load();
}

OSTMOREF Kernel::requestTimeout(Process& owner, OSTIME ms, BufferHeader* signal) {
    const OSTMOREF ref = g_nextTimeoutRef.fetch_add(1);
    if (owner.dead()) {
        release(signal);  // nobody would receive it
    } else {
        m_timers.request(ref, owner.pid(), ms, signal);
    }
    return ref;
}

TimerService::Cancel Kernel::cancelTimeout(Process& caller, OSTMOREF ref, BufferHeader*& signal) {
    return m_timers.cancel(ref, caller.pid(), signal);
}

bool Kernel::timeoutRefIssued(OSTMOREF ref) {
    return ref != 0 && ref < g_nextTimeoutRef.load();
}

PROCESS Kernel::adopt(const char* name) {
    Process* self = current();
    if (self != nullptr && !self->dead()) {
        return self->pid();
    }
    std::shared_ptr<Process> p;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        p = std::make_shared<Process>(g_nextPid.fetch_add(1), name, OS_PRI_PROC, 0, 0, nullptr,
                                      nullptr, true);
    }
    // The identity comes first: a hunt fired by the new name may already be answered.
    t_identity = Identity{p, m_generation};
    const PROCESS pid = addProcess(p);
    if (pid == 0) {
        t_identity = Identity{};
    }
    return pid;
}

bool Kernel::leave() {
    Process* self = current();
    if (self == nullptr || !self->adopted()) {
        return false;
    }
    endProcess(*self, Process::Life::Ended);
    BufferPool::instance().releaseList(self->queue().drainPrivate());
    t_identity = Identity{};
    return true;
}

bool Kernel::waitEnded(PROCESS pid, OSTIME ms) {
    Process* p = find(pid);
    if (p == nullptr) {
        return false;
    }
    Process* self = current();
    auto done = [&] {
        return (p->dead() && (!p->hasThread || p->threadDone)) ||
               (self != nullptr && self != p && self->mayNotBlock());
    };
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (ms == OS_WAIT_FOREVER) {
            m_ended.wait(lock, done);
        } else {
            m_ended.wait_for(lock, std::chrono::milliseconds(ms), done);
        }
    }
    if (self != nullptr && self != p) {
        self->checkKilled();
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    return p->dead() && (!p->hasThread || p->threadDone);
}

std::vector<std::shared_ptr<Process>> Kernel::withQueues() const {
    std::vector<std::shared_ptr<Process>> live;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& p : m_processes) {
        if (p && !p->phantom() && !p->dead()) {
            live.push_back(p);
        }
    }
    return live;
}

void Kernel::setClockManual(bool manual) {
    if (!m_clock.setManual(manual)) {
        return;
    }
    for (const auto& p : withQueues()) {
        p->queue().clockChanged();
    }
    m_timers.clockChanged();
}

PROCESS Kernel::busyProcess(const Process* self) const {
    std::vector<std::shared_ptr<Process>> running;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& p : m_processes) {
            // Adopted threads belong to tests and tools, which do as they please.
            if (!p || p.get() == self || p->phantom() || p->adopted() ||
                p->life() == Process::Life::Stopped) {
                continue;
            }
            if (p->dead() && (!p->hasThread || p->threadDone)) {
                continue;
            }
            running.push_back(p);
        }
    }
    for (const auto& p : running) {
        if (p->dead() || !p->queue().idle()) {  // a dead one is still unwinding
            return p->pid();
        }
    }
    return 0;
}

bool Kernel::waitIdle(PROCESS pid, OSTIME ms) {
    Process* one = nullptr;
    if (pid != 0) {
        one = find(pid);
        if (one == nullptr) {
            return false;
        }
    }
    const Process* self = current();
    const Clock::time_point until = Clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        if (one != nullptr ? !one->dead() && one->queue().idle() : busyProcess(self) == 0) {
            return true;
        }
        if ((one != nullptr && one->dead()) || Clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(kIdlePoll);
    }
}

void Kernel::settle(const Process* self) {
    if (waitIdle(0, kSettleLimitMs)) {
        return;
    }
    const PROCESS busy = busyProcess(self);
    if (busy != 0) {
        const Process* p = find(busy);
        std::fprintf(stderr,
                     "ose_clock_advance: process 0x%x \"%s\" did not come to rest within %u ms; "
                     "the clock moves on\n",
                     busy, p != nullptr ? p->name().c_str() : "?", kSettleLimitMs);
    }
}

void Kernel::advanceClock(OSTIME ms) {
    const Process* self = current();
    settle(self);  // what was sent before the clock moves is handled at the time it was sent
    const Clock::time_point target = m_clock.now() + std::chrono::milliseconds(ms);
    for (;;) {
        std::vector<std::shared_ptr<Process>> live = withQueues();
        Clock::time_point next = target;
        Clock::time_point due;
        if (m_timers.earliest(due) && due < next) {
            next = due;
        }
        for (const auto& p : live) {
            if (p->queue().manualDeadline(due) && due < next) {
                next = due;
            }
        }
        m_clock.setNow(next);
        m_timers.fireDue(next);
        for (const auto& p : live) {
            p->queue().wakeIfDue(next);
        }
        settle(self);
        if (next >= target) {
            return;
        }
    }
}

}  // namespace ose
