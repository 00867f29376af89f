// signalUtil.h: receiving and sending OSE signals with a trace of each.
//
// Every operation takes the trace object of its caller. Signals are traced at
// level 16 when that level is on; refused sends at level 1. A send that is refused
// leaves the signal with the caller, who must free it.
#ifndef SIGNAL_UTIL_H
#define SIGNAL_UTIL_H

#include "ose.h"
#include "traceAndError.h"

namespace applsupp {
namespace signalUtil {

/// Selects any signal.
extern const SIGSELECT anySignal[1];

/// Waits for a signal in sel (any by default) and traces it with its data.
union SIGNAL* receive(const TraceObject* trace, const SIGSELECT* sel = anySignal);

/// As receive(), waiting at most timeout ms; null when nothing came.
union SIGNAL* receiveWithTimeout(const TraceObject* trace, OSTIME timeout,
                                 const SIGSELECT* sel = anySignal);

/// Sends *sig to `to` (name, when given, is used in the trace); true if it went, then *sig is null.
bool send(const TraceObject* trace, union SIGNAL** sig, PROCESS to, const char* name = nullptr);

/// As send(), with `from` given to the receiver as the sender.
bool sendWithSender(const TraceObject* trace, union SIGNAL** sig, PROCESS from, PROCESS to,
                    const char* name = nullptr);

}  // namespace signalUtil
}  // namespace applsupp

#endif  // SIGNAL_UTIL_H
