#include "signalUtil.h"

#include "dynTrace.h"
#include "guardedOse.h"

#include <cstdint>
#include <cstring>

namespace applsupp {
namespace signalUtil {

const SIGSELECT anySignal[1] = {0};

namespace {

SIGSELECT signalNumber(const union SIGNAL* sig) {
    SIGSELECT number;
    std::memcpy(&number, sig, sizeof number);
    return number;
}

// Addresses are 32 bits on the target; the host's 64-bit address is shown by its
// low 32 bits so that the text keeps its form.
unsigned int lowAddress(const union SIGNAL* sig) {
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(sig) & 0xFFFFFFFFu);
}

void traceReceived(const TraceObject* trace, union SIGNAL* sig) {
    if (sig == NIL || !TRACE_ON(trace, 16)) {
        return;
    }
    const OSBUFSIZE size = guardedSigsize(trace, &sig, SIGNAL_UTIL_PLACE);
    const PROCESS from = guardedSender(trace, &sig, SIGNAL_UTIL_PLACE);
    TRACE_DATA(trace, 16, sig, size & 0xFFFFu, "Received signal 0x%08x from process 0x%08x",
               signalNumber(sig), from);
}

// The checks both send forms make before the kernel is called.
bool maySend(const TraceObject* trace, union SIGNAL** sig, PROCESS to, const char* name) {
    if (sig == nullptr || *sig == NIL) {
        TRACE(trace, 1, "SignalPointer is a NULL pointer.");
        return false;
    }
    if (to == 0) {
        if (name != nullptr) {
            TRACE(trace, 1,
                  "Failed to send signal! Signal name = \"%s\", destination PID = %u, sig_p=0x%x",
                  name, to, lowAddress(*sig));
        } else {
            TRACE(trace, 1,
                  "Failed to send signal! Signal number = 0x%x; destination PID = %u, sig_p=0x%x",
                  signalNumber(*sig), to, lowAddress(*sig));
        }
        return false;
    }
    return true;
}

void traceSending(const TraceObject* trace, const union SIGNAL* sig, PROCESS to, const char* name,
                  const PROCESS* from) {
    if (!TRACE_ON(trace, 16)) {
        return;
    }
    std::string text = "Sending signal ";
    text += name != nullptr ? std::string(name) : traceFormat("0x%x", signalNumber(sig));
    text += traceFormat(" to process 0x%08x", to);
    if (from != nullptr) {
        text += traceFormat(" using pid 0x%08x as sender.", *from);
    }
    TRACE(trace, 16, "%s", text.c_str());
}

}  // namespace

union SIGNAL* receive(const TraceObject* trace, const SIGSELECT* sel) {
    union SIGNAL* sig = guardedReceive(sel);
    traceReceived(trace, sig);
    return sig;
}

union SIGNAL* receiveWithTimeout(const TraceObject* trace, OSTIME timeout, const SIGSELECT* sel) {
    union SIGNAL* sig = guardedReceiveWithTimeout(timeout, sel);
    traceReceived(trace, sig);
    return sig;
}

bool send(const TraceObject* trace, union SIGNAL** sig, PROCESS to, const char* name) {
    if (!maySend(trace, sig, to, name)) {
        return false;
    }
    traceSending(trace, *sig, to, name, nullptr);
    guardedSend(trace, sig, to, SIGNAL_UTIL_PLACE);
    return *sig == NIL;
}

bool sendWithSender(const TraceObject* trace, union SIGNAL** sig, PROCESS from, PROCESS to,
                    const char* name) {
    if (!maySend(trace, sig, to, name)) {
        return false;
    }
    traceSending(trace, *sig, to, name, &from);
    guardedSendWithSender(trace, sig, from, to, SIGNAL_UTIL_PLACE);
    return *sig == NIL;
}

}  // namespace signalUtil
}  // namespace applsupp
