// The trace of this unit: the group "ulSpectrumAnalyzerCtrlSwU".
#ifndef ULSA_CTRL_TRACE_H
#define ULSA_CTRL_TRACE_H

#include "dynTrace.h"
#include "traceGroups.h"

#define ULSA_TRACE(level, ...) \
    TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlSwU, (level), __VA_ARGS__)

#endif  // ULSA_CTRL_TRACE_H
