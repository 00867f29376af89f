#include "froMgmtTrace.h"

const TraceHandle& froMgmtTrace() {
    // Never destroyed: fROs and LDN nodes may still trace while statics of other
    // units are being destroyed at exit.
    static const TraceHandle* handle = new TraceHandle("FroMgmtLU");
    return *handle;
}
