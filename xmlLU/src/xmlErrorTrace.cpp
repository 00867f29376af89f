#include "xmlErrorTrace.h"

const TraceObject* xmlErrorTrace() {
    const TraceObject* object = traceDefaultRef;
    return object != nullptr ? object : &traceDummyObject;
}
