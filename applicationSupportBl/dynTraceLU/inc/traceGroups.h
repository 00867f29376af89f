// traceGroups.h: the trace groups of the load module, each with a global reference.
//
// Until the start-up code has registered them every reference points at the dummy
// object. The start-up code registers them in a fixed order, interleaved with the
// hunt of the database agent; registerTraceGroup() is its step for one group.
#ifndef TRACE_GROUPS_H
#define TRACE_GROUPS_H

#include "traceAndError.h"

namespace traceGroups {

// Groups of the platform proxies.
extern TraceObject* OSA_PRI_IF;
extern TraceObject* TARVO_DBI_IF;
extern TraceObject* TARVO_SCSPI_IF;
extern TraceObject* OSA_AVLI_IF;
extern TraceObject* TARVO_IPAPPLREGI_IF;
extern TraceObject* TARVO_LDLI_IF;

// Groups of the application.
extern TraceObject* ulSpectrumAnalyzerCtrlSwU;
extern TraceObject* ulSpectrumAnalyzerCtrlInit;
extern TraceObject* ulsaRoSigHndSwU;
extern TraceObject* ulsaRmciIf;
extern TraceObject* ulsaRftiIf;
extern TraceObject* ulsaUsiIf;

// The start-up banner's group, one of the Ft_ groups.
extern TraceObject* Ft_RESTART;

/// Registers one group under its plain name and stores its object in *reference.
void registerTraceGroup(const char* name, TraceObject** reference);

/// Registers the six proxy groups but OSA_PRI_IF (which comes before the database
/// agent's hunt), in their order.
void registerProxyTraceGroups();
/// Registers the six application groups in their order.
void registerApplicationTraceGroups();
/// Registers the Ft_ groups and the node-control library's groups in their order.
void registerFtTraceGroups();

/// The start-up banner: "Startup of %s (%s)" at level 13 in Ft_RESTART, with the
/// block's environment values OSE_LM_MAIN_NAME and LM_VERS.
void elibTraceRestartTimeTraceStartHook();

}  // namespace traceGroups

#endif  // TRACE_GROUPS_H
