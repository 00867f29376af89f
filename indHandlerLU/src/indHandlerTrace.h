// indHandlerTrace: the trace of the signals the indication handler receives and sends.
#ifndef IND_HANDLER_TRACE_H
#define IND_HANDLER_TRACE_H

#include "ose.h"
#include "traceAndError.h"

#include <string>

namespace indhandler {

/// The fields of a signal of the handler's interface as one line; empty for another
/// number, or when the signal is too short to hold them. Never reads past size.
std::string signalFieldText(const union SIGNAL* sig, OSBUFSIZE size);

/// A received signal: its fields at level 11, its contents at level 16.
void traceReceived(const TraceObject* trace, const union SIGNAL* sig, OSBUFSIZE size);

/// A signal about to be sent: its fields at level 10, its contents at level 15.
void traceSent(const TraceObject* trace, const union SIGNAL* sig, OSBUFSIZE size);

}  // namespace indhandler

#endif  // IND_HANDLER_TRACE_H
