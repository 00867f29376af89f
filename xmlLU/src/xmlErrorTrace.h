// Where the XML unit's failures are traced: the process's default trace object,
// whose errors are on unless switched off.
#ifndef XML_ERROR_TRACE_H
#define XML_ERROR_TRACE_H

#include "traceAndError.h"

/// The default object of the calling process, or the dummy object before attach.
const TraceObject* xmlErrorTrace();

#endif  // XML_ERROR_TRACE_H
