#include "xmlErrorTrace.h"

const TraceObject* xmlErrorTrace() {
    const TraceObject* object = traceRefGet(traceDefaultRef);
    return object != nullptr ? object : &traceDummyObject;
}
