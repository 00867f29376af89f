// The kernel operations of ose.h: argument checks, error reports, and the kernel.
//
// Each call first unwinds a killed process's thread (the kill takes effect at the
// process's next kernel call), then checks what it was given. A call that finds
// something wrong reports it with its own text and returns without effect.
#include "ose.h"

#include "BufferPool.h"
#include "Kernel.h"
#include "KernelError.h"
#include "ThreadMark.h"

#include <cstring>
#include <string>

using ose::BufferHeader;
using ose::BufferPool;
using ose::Kernel;
using ose::kernelError;
using ose::Process;
using ose::fatalUserError;
using ose::reportUserError;

namespace {

// Counts above this are taken for a negative number: a malformed selection.
constexpr SIGSELECT kMaxSelectionCount = 0x7FFFFFFFu;

// The caller of a kernel call; while it lives, the thread's mark is off.
struct Caller {
    Kernel& kernel;
    Process* self;  // null on a thread that is no kernel process
    ose::KernelCallScope scope{};
    PROCESS pid() const { return self != nullptr ? self->pid() : 0; }
};

Caller enter() {
    Kernel& k = Kernel::get();
    return Caller{k, k.current()};
}

// A killed process unwinds only at a call that could block (receive, delay): other
// calls are made from destructors too, where an exception would end the Linux process.
void unwindIfKilled(const Caller& c) {
    if (c.self != nullptr) {
        c.self->checkKilled();
    }
}

bool requireProcess(const char* call, const Caller& c) {
    if (c.self == nullptr) {
        kernelError(call, OSE_ERR_NOT_PROCESS, "called from a thread that is no kernel process");
        return false;
    }
    return true;
}

// The header of *sig if the caller may use it; otherwise reports why and gives null.
BufferHeader* owned(const char* call, union SIGNAL** sig, PROCESS caller) {
    if (sig == nullptr || *sig == nullptr) {
        kernelError(call, OSE_ERR_NULL_BUFFER, "a null signal where a buffer is required");
        return nullptr;
    }
    BufferHeader* h = BufferPool::instance().find(*sig);
    if (h == nullptr) {
        kernelError(call, OSE_ERR_NOT_BUFFER, "%p is no signal buffer", static_cast<void*>(*sig));
        return nullptr;
    }
    if (!h->live()) {
        kernelError(call, OSE_ERR_NOT_BUFFER, "buffer %p was freed already",
                    static_cast<void*>(*sig));
        return nullptr;
    }
    const PROCESS owner = h->owner.load(std::memory_order_relaxed);
    if (owner != caller) {
        kernelError(call, OSE_ERR_NOT_OWNER, "buffer %p is owned by 0x%x, not by the caller 0x%x",
                    static_cast<void*>(*sig), owner, caller);
        return nullptr;
    }
    return h;
}

// A process given by pid that has to exist in this kernel (it may have ended).
Process* existingProcess(const char* call, const Caller& c, PROCESS pid) {
    Process* p = c.kernel.find(pid);
    if (p == nullptr) {
        kernelError(call, OSE_ERR_NO_PROCESS, "no process 0x%x", pid);
    }
    return p;
}

// For the environment: pid 0 (the block) or a live process.
bool envOwner(const char* call, const Caller& c, PROCESS pid, const char* name) {
    if (name == nullptr) {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "a null name");
        return false;
    }
    if (pid == 0) {
        return true;
    }
    const Process* p = c.kernel.find(pid);
    if (p == nullptr || p->dead()) {
        kernelError(call, OSE_ERR_NO_PROCESS, "no live process 0x%x", pid);
        return false;
    }
    return true;
}

// from: the sender to give the signal; mine: the caller itself.
void sendAs(const char* call, union SIGNAL** sig, bool mine, PROCESS from, PROCESS to) {
    Caller c = enter();
    if (mine) {
        from = c.pid();
    }
    BufferHeader* h = owned(call, sig, c.pid());
    if (h == nullptr) {
        return;
    }
    if (c.kernel.find(to) == nullptr) {
        kernelError(call, OSE_ERR_NO_PROCESS, "no process 0x%x to send signal %u to", to,
                    h->sigNo());
        return;
    }
    *sig = NIL;
    c.kernel.deliver(h, from, to);
}

union SIGNAL* receiveAs(const char* call, OSTIME timeout, const SIGSELECT* sigsel, bool byFrom,
                        PROCESS from) {
    Caller c = enter();
    unwindIfKilled(c);
    if (!requireProcess(call, c)) {
        return NIL;
    }
    if (sigsel == nullptr || sigsel[0] > kMaxSelectionCount) {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "a malformed selection");
        return NIL;
    }
    Process& self = *c.self;
    if (self.mayNotBlock()) {
        // Killed: what it held in its queue is gone, and it may not wait any more.
        BufferPool::instance().releaseList(self.queue().drainPrivate());
        return NIL;
    }
    using Wait = ose::SignalQueue::Wait;
    const Wait wait = timeout == 0                 ? Wait::Poll
                      : timeout == OS_WAIT_FOREVER ? Wait::Forever
                                                   : Wait::Until;
    const ose::KernelClock& clock = c.kernel.clock();
    const auto deadline = wait == Wait::Until
                              ? clock.now() + std::chrono::milliseconds(timeout)
                              : ose::Clock::time_point{};
    BufferHeader* h =
        self.queue().take(ose::Selection{sigsel, byFrom, from}, wait, deadline, clock,
                          c.kernel.waitWatch());
    if (h != nullptr) {
        return h->signal();
    }
    self.checkKilled();  // woken by a kill
    return NIL;
}

}  // namespace

extern "C" {

union SIGNAL* alloc(OSBUFSIZE size, SIGSELECT signo) {
    Caller c = enter();
    if (size == 0 || size > OS_MAX_SIGSIZE) {
        kernelError("alloc@ose.h", OSE_ERR_BUFFER_SIZE, "size %u is not 1..%u", size,
                    OS_MAX_SIGSIZE);
        return NIL;
    }
    return BufferPool::instance().allocate(size, signo, c.pid())->signal();
}

void free_buf(union SIGNAL** sig) {
    Caller c = enter();
    BufferHeader* h = owned("free_buf@ose.h", sig, c.pid());
    if (h == nullptr) {
        return;
    }
    *sig = NIL;
    Kernel::release(h);
}

OSBUFSIZE sigsize(union SIGNAL** sig) {
    Caller c = enter();
    const BufferHeader* h = owned("sigsize@ose.h", sig, c.pid());
    return h != nullptr ? h->size : 0;
}

PROCESS sender(union SIGNAL** sig) {
    Caller c = enter();
    const BufferHeader* h = owned("sender@ose.h", sig, c.pid());
    return h != nullptr ? h->sender : 0;
}

PROCESS addressee(union SIGNAL** sig) {
    Caller c = enter();
    const BufferHeader* h = owned("addressee@ose.h", sig, c.pid());
    return h != nullptr ? h->addressee : 0;
}

void send(union SIGNAL** sig, PROCESS to) {
    sendAs("send@ose.h", sig, true, 0, to);
}

void send_w_s(union SIGNAL** sig, PROCESS from, PROCESS to) {
    sendAs("send_w_s@ose.h", sig, false, from, to);
}

union SIGNAL* receive(const SIGSELECT* sigsel) {
    return receiveAs("receive@ose.h", OS_WAIT_FOREVER, sigsel, false, 0);
}

union SIGNAL* receive_w_tmo(OSTIME timeout, const SIGSELECT* sigsel) {
    return receiveAs("receive_w_tmo@ose.h", timeout, sigsel, false, 0);
}

union SIGNAL* receive_from(OSTIME timeout, const SIGSELECT* sigsel, PROCESS from) {
    return receiveAs("receive_from@ose.h", timeout, sigsel, true, from);
}

OSBOOLEAN hunt(const char* name, OSUSER user, PROCESS* name_, union SIGNAL** hunt_sig) {
    (void)user;  // one user on the host
    Caller c = enter();
    if (name_ != nullptr) {
        *name_ = 0;
    }
    if (name == nullptr || *name == '\0') {
        kernelError("hunt@ose.h", OSE_ERR_BAD_ARGUMENT, "an empty name");
        return 0;
    }
    BufferHeader* h = nullptr;
    if (hunt_sig != nullptr && *hunt_sig != nullptr) {
        if (!requireProcess("hunt@ose.h", c)) {
            return 0;
        }
        h = owned("hunt@ose.h", hunt_sig, c.pid());
        if (h == nullptr) {
            return 0;
        }
        *hunt_sig = NIL;
        h->owner.store(ose::kKernelOwner, std::memory_order_relaxed);
    }
    PROCESS found = 0;
    const bool exists = c.kernel.hunt(name, c.self, found, h);
    if (name_ != nullptr) {
        *name_ = found;
    }
    return exists ? 1 : 0;
}

OSATTREF attach(union SIGNAL** sig, PROCESS pid) {
    Caller c = enter();
    if (!requireProcess("attach@ose.h", c)) {
        return 0;
    }
    BufferHeader* h = nullptr;
    if (sig != nullptr && *sig != nullptr) {
        h = owned("attach@ose.h", sig, c.pid());
        if (h == nullptr) {
            return 0;
        }
        *sig = NIL;
    } else {
        h = BufferPool::instance().allocate(sizeof(SIGSELECT), OS_ATTACH_SIG, 0);
    }
    h->owner.store(ose::kKernelOwner, std::memory_order_relaxed);
    return c.kernel.attach(*c.self, pid, h);
}

void detach(OSATTREF* attref) {
    Caller c = enter();
    if (!requireProcess("detach@ose.h", c)) {
        return;
    }
    if (attref == nullptr || !Kernel::attachRefIssued(*attref)) {
        kernelError("detach@ose.h", OSE_ERR_BAD_ARGUMENT, "no such attach reference");
        return;
    }
    if (c.kernel.detach(*c.self, *attref) == ose::AttachTable::Detach::NotAttacher) {
        kernelError("detach@ose.h", OSE_ERR_BAD_ARGUMENT, "attach %u was made by another process",
                    *attref);
        return;
    }
    *attref = 0;
}

PROCESS create_process(enum PROCESS_TYPE proc_type, const char* name, OSENTRYPOINT* entrypoint,
                       OSADDRESS stack_size, OSPRIORITY priority, OSTIME timeslice, PROCESS block,
                       struct OS_redir_entry* redir_table, OSVECTOR vector, OSUSER user) {
    // Threads get the platform's stack size; time slices, vectors and users have no
    // meaning on the host.
    (void)stack_size;
    (void)timeslice;
    (void)vector;
    (void)user;
    const char* call = "create_process@ose.h";
    Caller c = enter();
    if (proc_type != OS_PRI_PROC && proc_type != OS_BG_PROC && proc_type != OS_PHANTOM) {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "process type %d is not available on the host",
                    static_cast<int>(proc_type));
        return 0;
    }
    if (name == nullptr || *name == '\0') {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "an empty name");
        return 0;
    }
    if (proc_type != OS_PHANTOM && entrypoint == nullptr) {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "process \"%s\" has no entry", name);
        return 0;
    }
    if (redir_table != nullptr && (redir_table[0].sig == 0 || redir_table[0].sig > 65536)) {
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "redirection table of \"%s\" has %u entries", name,
                    redir_table[0].sig);
        return 0;
    }
    // A marked process's children carry its mark.
    const PROCESS pid =
        c.kernel.createProcess(static_cast<uint32_t>(proc_type), name, entrypoint, priority, block,
                               redir_table, c.self != nullptr ? c.self->mark() : 0);
    if (pid == 0 && !c.kernel.shuttingDown()) {  // in a shutdown the caller is dying too
        kernelError(call, OSE_ERR_BAD_ARGUMENT, "no process can be made now");
    }
    return pid;
}

void start(PROCESS pid) {
    Caller c = enter();
    Process* p = existingProcess("start@ose.h", c, pid);
    if (p == nullptr) {
        return;
    }
    switch (c.kernel.start(*p)) {
        case Kernel::Start::Started:
        case Kernel::Start::NothingToDo:
            break;
        case Kernel::Start::Dead:
            kernelError("start@ose.h", OSE_ERR_NO_PROCESS, "process 0x%x has ended", pid);
            break;
        case Kernel::Start::NoThread:
            kernelError("start@ose.h", OSE_ERR_NO_PROCESS, "no thread for process 0x%x", pid);
            break;
    }
}

void kill_proc(PROCESS pid) {
    Caller c = enter();
    Process* p = existingProcess("kill_proc@ose.h", c, pid);
    if (p != nullptr) {
        c.kernel.kill(*p, c.self);
    }
}

PROCESS current_process(void) {
    Caller c = enter();
    return requireProcess("current_process@ose.h", c) ? c.self->pid() : 0;
}

struct OS_pcb* get_pcb(PROCESS pid) {
    Caller c = enter();
    const Process* p = c.kernel.find(pid);
    if (p == nullptr && !c.kernel.earlierProcess(pid)) {
        kernelError("get_pcb@ose.h", OSE_ERR_NO_PROCESS, "no process 0x%x", pid);
        return nullptr;
    }
    BufferHeader* h = BufferPool::instance().allocate(sizeof(OS_pcb), 0, c.pid());
    auto* pcb = static_cast<OS_pcb*>(h->user());
    std::memset(pcb, 0, sizeof *pcb);
    if (p == nullptr) {
        // Pids only grow: this one belonged to a kernel before the last ose_shutdown(),
        // which killed it.
        pcb->status = OS_STATE_KILLED;
        pcb->pid = pid;
        return pcb;
    }
    pcb->sigNo = 0;
    pcb->type = p->type();
    pcb->status = p->status();
    pcb->priority = p->priority();
    pcb->block = p->block();
    pcb->pid = p->pid();
    pcb->sigqueue = p->phantom() ? 0 : p->queue().count();
    std::memset(pcb->name, 0, sizeof pcb->name);
    std::strncpy(pcb->name, p->name().c_str(), sizeof pcb->name - 1);
    return pcb;
}

OSTMOREF request_tmo_sig(OSTIME timeout, union SIGNAL** sig) {
    Caller c = enter();
    if (!requireProcess("request_tmo_sig@ose.h", c)) {
        return 0;
    }
    BufferHeader* h = owned("request_tmo_sig@ose.h", sig, c.pid());
    if (h == nullptr) {
        return 0;
    }
    *sig = NIL;
    h->owner.store(ose::kKernelOwner, std::memory_order_relaxed);
    return c.kernel.requestTimeout(*c.self, timeout, h);
}

union SIGNAL* cancel_tmo_sig(OSTMOREF* tmoref) {
    Caller c = enter();
    if (!requireProcess("cancel_tmo_sig@ose.h", c)) {
        return NIL;
    }
    if (tmoref == nullptr || !Kernel::timeoutRefIssued(*tmoref)) {
        kernelError("cancel_tmo_sig@ose.h", OSE_ERR_BAD_ARGUMENT, "no such time-out reference");
        return NIL;
    }
    BufferHeader* h = nullptr;
    switch (c.kernel.cancelTimeout(*c.self, *tmoref, h)) {
        case ose::TimerService::Cancel::NotOwner:
            kernelError("cancel_tmo_sig@ose.h", OSE_ERR_BAD_ARGUMENT,
                        "time-out %u was requested by another process", *tmoref);
            return NIL;
        case ose::TimerService::Cancel::Gone:
            *tmoref = 0;
            return NIL;
        case ose::TimerService::Cancel::Returned:
            break;
    }
    *tmoref = 0;
    h->owner.store(c.self->pid(), std::memory_order_relaxed);
    return h->signal();
}

void delay(OSTIME timeout) {
    Caller c = enter();
    unwindIfKilled(c);
    const ose::KernelClock& clock = c.kernel.clock();
    const auto deadline = clock.now() + std::chrono::milliseconds(timeout);
    if (c.self == nullptr) {
        clock.sleepUntil(deadline);
        return;
    }
    if (c.self->mayNotBlock()) {
        return;
    }
    if (!c.self->queue().sleepUntil(deadline, clock)) {
        c.self->checkKilled();
    }
}

OSADDRESS get_envp(PROCESS pid, const char* name) {
    Caller c = enter();
    if (!envOwner("get_envp@ose.h", c, pid, name)) {
        return 0;
    }
    return c.kernel.environment().pointer(pid, name);
}

OSBOOLEAN set_envp(PROCESS pid, const char* name, OSADDRESS value) {
    Caller c = enter();
    if (!envOwner("set_envp@ose.h", c, pid, name)) {
        return 0;
    }
    c.kernel.environment().setPointer(pid, name, value);
    return 1;
}

char* get_env(PROCESS pid, const char* name) {
    Caller c = enter();
    if (!envOwner("get_env@ose.h", c, pid, name)) {
        return nullptr;
    }
    std::string value;
    if (!c.kernel.environment().text(pid, name, value)) {
        return nullptr;
    }
    const auto size = static_cast<OSBUFSIZE>(value.size() + 1);
    if (size > OS_MAX_SIGSIZE) {
        kernelError("get_env@ose.h", OSE_ERR_BUFFER_SIZE, "value of %s is too long for a buffer",
                    name);
        return nullptr;
    }
    BufferHeader* h = BufferPool::instance().allocate(size, 0, c.pid());
    std::memcpy(h->user(), value.c_str(), size);
    return static_cast<char*>(h->user());
}

OSBOOLEAN set_env(PROCESS pid, const char* name, const char* value) {
    Caller c = enter();
    if (!envOwner("set_env@ose.h", c, pid, name)) {
        return 0;
    }
    c.kernel.environment().setText(pid, name, value);
    return 1;
}

void error(uint32_t code) {
    if (!fatalUserError(code)) {
        reportUserError("error@ose.h", "error 0x%x reported by process 0x%x", code,
                        ose_current_process_or_zero());
        return;
    }
    kernelError("error@ose.h", OSE_ERR_USER, "error 0x%x reported by process 0x%x", code,
                ose_current_process_or_zero());
}

void error2(uint32_t code, OSADDRESS extra) {
    if (!fatalUserError(code)) {
        reportUserError("error2@ose.h", "error 0x%x (extra 0x%llx) reported by process 0x%x",
                        code, static_cast<unsigned long long>(extra),
                        ose_current_process_or_zero());
        return;
    }
    kernelError("error2@ose.h", OSE_ERR_USER, "error 0x%x (extra 0x%llx) reported by process 0x%x",
                code, static_cast<unsigned long long>(extra), ose_current_process_or_zero());
}

}  // extern "C"
