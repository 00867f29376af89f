// The trace object of the group "FroMgmtLU", shared by every class of the fRO
// framework: attributes, fROs and the LDN tree are made by the thousand, and one
// registration serves them all.
#ifndef FRO_MGMT_TRACE_H
#define FRO_MGMT_TRACE_H

#include "dynTrace.h"

/// The process-wide handle of the group "FroMgmtLU", registered on first use.
const TraceHandle& froMgmtTrace();

#endif  // FRO_MGMT_TRACE_H
