// The host-only kernel calls of oseHost.h.
#include "oseHost.h"

#include "Kernel.h"
#include "KernelError.h"
#include "ThreadMark.h"

#include <algorithm>
#include <cstring>

using ose::Kernel;
using ose::kernelError;

extern "C" {

OseErrorHandler ose_set_error_handler(OseErrorHandler handler) {
    return ose::setErrorHandler(handler);
}

PROCESS ose_adopt_thread(const char* name) {
    if (name == nullptr || *name == '\0') {
        kernelError("ose_adopt_thread@oseHost.h", OSE_ERR_BAD_ARGUMENT, "an empty name");
        return 0;
    }
    Kernel& k = Kernel::get();
    const ose::Process* self = k.current();
    if (self != nullptr && !self->dead() && !self->adopted()) {
        kernelError("ose_adopt_thread@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "the thread of process 0x%x cannot be adopted", self->pid());
        return 0;
    }
    const PROCESS pid = k.adopt(name);
    if (pid == 0) {
        kernelError("ose_adopt_thread@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "no process can be made now");
    }
    return pid;
}

void ose_leave_thread(void) {
    Kernel* k = Kernel::existing();
    if (k == nullptr) {
        return;
    }
    const ose::Process* self = k->current();
    if (self != nullptr && !self->adopted()) {
        kernelError("ose_leave_thread@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "process 0x%x has a thread of the kernel's own", self->pid());
        return;
    }
    k->leave();
}

void ose_shutdown(void) {
    if (!Kernel::shutdown()) {
        kernelError("ose_shutdown@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "called from a process the kernel would have to join");
    }
}

PROCESS ose_current_process_or_zero(void) {
    const Kernel* k = Kernel::existing();
    if (k == nullptr) {
        return 0;
    }
    const ose::Process* self = k->current();
    return self != nullptr ? self->pid() : 0;
}

OSBOOLEAN ose_set_mark(PROCESS pid, uint32_t mark) {
    const Kernel* k = Kernel::existing();
    ose::Process* p = k != nullptr ? k->find(pid) : nullptr;
    if (p == nullptr) {
        return 0;
    }
    p->setMark(mark);
    return 1;
}

uint32_t ose_thread_mark(void) {
    return ose::threadMark();
}

OSBOOLEAN ose_process_name(PROCESS pid, char* buf, size_t size) {
    const Kernel* k = Kernel::existing();
    const ose::Process* p = k != nullptr ? k->find(pid) : nullptr;
    if (p == nullptr || buf == nullptr || size == 0) {
        return 0;
    }
    const std::size_t n = std::min(size - 1, p->name().size());
    std::memcpy(buf, p->name().data(), n);
    buf[n] = '\0';
    return 1;
}

OSBOOLEAN ose_wait_ended(PROCESS pid, OSTIME timeout) {
    Kernel* k = Kernel::existing();
    return k != nullptr && k->waitEnded(pid, timeout) ? 1 : 0;
}

void ose_clock_set_manual(OSBOOLEAN manual) {
    Kernel::get().setClockManual(manual != 0);
}

void ose_clock_advance(OSTIME ms) {
    Kernel& k = Kernel::get();
    if (!k.clock().manual()) {
        kernelError("ose_clock_advance@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "the clock runs in real time");
        return;
    }
    k.advanceClock(ms);
}

OSTIME ose_clock_now_ms(void) {
    return Kernel::get().clock().msSinceStart();
}

OSBOOLEAN ose_wait_idle(PROCESS pid, OSTIME realTimeoutMs) {
    return Kernel::get().waitIdle(pid, realTimeoutMs) ? 1 : 0;
}

PROCESS ose_create_link_phantom(const char* name, OseLinkOutlet outlet, void* context) {
    if (name == nullptr || *name == '\0' || outlet == nullptr) {
        kernelError("ose_create_link_phantom@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "a link phantom needs a name and an outlet");
        return 0;
    }
    Kernel& k = Kernel::get();
    const PROCESS pid = k.createLinkPhantom(name, outlet, context);
    if (pid == 0 && !k.shuttingDown()) {
        kernelError("ose_create_link_phantom@oseHost.h", OSE_ERR_BAD_ARGUMENT,
                    "no process can be made now");
    }
    return pid;
}

void ose_set_hunt_observer(OseHuntObserver observer, void* context) {
    Kernel::get().setHuntObserver(observer, context);
}

void ose_set_wait_watch(const OseWaitWatch* watch) {
    Kernel::get().setWaitWatch(watch);
}

void ose_waiting_hunts(const char* prefix, OseHuntObserver visit, void* context) {
    if (prefix == nullptr || visit == nullptr) {
        return;
    }
    for (const std::string& name : Kernel::get().huntedNames(prefix)) {
        visit(context, name.c_str());
    }
}

}  // extern "C"
