// guardedOse.h: the kernel calls of signalUtil, each with its name and the place
// of the call.
//
// The kernel reports an illegal call itself, by the call's text ("send@ose.h").
// Where the result shows that the call failed (a send that left the buffer with
// the caller, a size of 0), the guard adds a level 1 trace naming the call and the
// caller's place, so that the failure can be found in the caller's trace too.
#ifndef GUARDED_OSE_H
#define GUARDED_OSE_H

#include "dynTrace.h"
#include "ose.h"

namespace applsupp {
namespace signalUtil {

struct CallPlace {
    const char* file;
    unsigned line;
};

#define SIGNAL_UTIL_PLACE               \
    ::applsupp::signalUtil::CallPlace { \
        __FILE__, __LINE__              \
    }

inline void guardedSend(const TraceObject* trace, union SIGNAL** sig, PROCESS to, CallPlace place) {
    ::send(sig, to);
    if (*sig != NIL) {
        TRACE(trace, 1, "%s failed at %s:%u", "send@ose.h", place.file, place.line);
    }
}

inline void guardedSendWithSender(const TraceObject* trace, union SIGNAL** sig, PROCESS from,
                                  PROCESS to, CallPlace place) {
    ::send_w_s(sig, from, to);
    if (*sig != NIL) {
        TRACE(trace, 1, "%s failed at %s:%u", "send_w_s@ose.h", place.file, place.line);
    }
}

inline OSBUFSIZE guardedSigsize(const TraceObject* trace, union SIGNAL** sig, CallPlace place) {
    const OSBUFSIZE size = ::sigsize(sig);
    if (size == 0) {
        TRACE(trace, 1, "%s failed at %s:%u", "sigsize@ose.h", place.file, place.line);
    }
    return size;
}

inline PROCESS guardedSender(const TraceObject* trace, union SIGNAL** sig, CallPlace place) {
    const PROCESS pid = ::sender(sig);
    if (pid == 0) {
        TRACE(trace, 1, "%s failed at %s:%u", "sender@ose.h", place.file, place.line);
    }
    return pid;
}

// A failed receive cannot be told from an empty queue by its result; the kernel's
// own report is all there is.
inline union SIGNAL* guardedReceive(const SIGSELECT* sel) {
    return ::receive(sel);
}

inline union SIGNAL* guardedReceiveWithTimeout(OSTIME timeout, const SIGSELECT* sel) {
    return ::receive_w_tmo(timeout, sel);
}

}  // namespace signalUtil
}  // namespace applsupp

#endif  // GUARDED_OSE_H
