#include "oseCalls.h"

namespace plab::messaging::detail {

const TraceObject* messagingTrace() {
    // Deliberately never destroyed: a static destructor could run after the trace
    // service is gone, and handlers may still trace while the process ends.
    static const TraceHandle* handle = new TraceHandle("MessagingOseLU");
    return handle->get();
}

void traceRefusedCall(const OseCall& call, const char* why) {
    TRACE(messagingTrace(), 1, "%s (line %u) not called: %s", call.name, call.line, why);
}

union SIGNAL* guardedAlloc(OSBUFSIZE size, SIGSELECT sigNo) {
    if (size < sizeof(SIGSELECT) || size > OS_MAX_SIGSIZE) {
        TRACE(messagingTrace(), 1, "%s (line %u) not called: size %u for signal 0x%x",
              kAllocCall.name, kAllocCall.line, size, sigNo);
        return nullptr;
    }
    return alloc(size, sigNo);
}

void guardedFree(union SIGNAL** signal) {
    if (*signal != nullptr) {
        free_buf(signal);
        *signal = nullptr;
    }
}

void guardedSend(union SIGNAL** signal, PROCESS addressee) {
    if (*signal == nullptr) {
        traceRefusedCall(kSendCall, "no signal to send");
        return;
    }
    send(signal, addressee);
}

void guardedSendWithSender(union SIGNAL** signal, PROCESS sender, PROCESS addressee) {
    if (*signal == nullptr) {
        traceRefusedCall(kSendWithSenderCall, "no signal to send");
        return;
    }
    send_w_s(signal, sender, addressee);
}

OSBOOLEAN guardedHunt(const char* name, union SIGNAL** signal) {
    return hunt(name, 0, nullptr, *signal != nullptr ? signal : nullptr);
}

OSATTREF guardedAttach(union SIGNAL** signal, PROCESS pid) {
    return attach(*signal != nullptr ? signal : nullptr, pid);
}

void guardedDetach(OSATTREF* reference) {
    if (*reference == 0) {
        traceRefusedCall(kDetachCall, "no attach reference");
        return;
    }
    detach(reference);
}

union SIGNAL* guardedReceive(OSTIME timeout, const SIGSELECT* selection, PROCESS sender) {
    if (sender != 0) {
        return receive_from(timeout, selection, sender);
    }
    return receive_w_tmo(timeout, selection);
}

}  // namespace plab::messaging::detail
