// The load module's trace groups and the start-up banner.
#include "traceGroups.h"

#include "dynTrace.h"
#include "ose.h"

#include <string>

namespace traceGroups {

// Constant-initialised to the dummy object: safe to trace through before start-up.
TraceRef OSA_PRI_IF{&traceDummyObject};
TraceRef TARVO_DBI_IF{&traceDummyObject};
TraceRef TARVO_SCSPI_IF{&traceDummyObject};
TraceRef OSA_AVLI_IF{&traceDummyObject};
TraceRef TARVO_IPAPPLREGI_IF{&traceDummyObject};
TraceRef TARVO_LDLI_IF{&traceDummyObject};

TraceRef ulSpectrumAnalyzerCtrlSwU{&traceDummyObject};
TraceRef ulSpectrumAnalyzerCtrlInit{&traceDummyObject};
TraceRef ulsaRoSigHndSwU{&traceDummyObject};
TraceRef ulsaRmciIf{&traceDummyObject};
TraceRef ulsaRftiIf{&traceDummyObject};
TraceRef ulsaUsiIf{&traceDummyObject};

#define ULSA_DEFINE_TRACE_GROUP(name) TraceRef name{&traceDummyObject};
ULSA_FT_TRACE_GROUPS(ULSA_DEFINE_TRACE_GROUP)
ULSA_NC_TRACE_GROUPS(ULSA_DEFINE_TRACE_GROUP)
#undef ULSA_DEFINE_TRACE_GROUP

#define ULSA_COUNT_TRACE_GROUP(name) +1
static_assert(0 ULSA_NC_TRACE_GROUPS(ULSA_COUNT_TRACE_GROUP) == kNcTraceGroupCount,
              "the node-control library has 58 groups");
#undef ULSA_COUNT_TRACE_GROUP

void registerTraceGroup(const char* name, TraceRef* reference) {
    // The service is set up by the first registration of the process.
    static const int setUp = [] {
        TraceCall setup{};
        return traceAndErrorInit(TRACE_OP_SETUP, &setup);
    }();
    (void)setUp;
    TraceCall call{};
    call.ref = reference;
    call.name = name;
    traceAndErrorInit(TRACE_OP_REGISTER, &call);
}

void registerProxyTraceGroups() {
    registerTraceGroup("TARVO_DBI_IF", &TARVO_DBI_IF);
    registerTraceGroup("TARVO_SCSPI_IF", &TARVO_SCSPI_IF);
    registerTraceGroup("OSA_AVLI_IF", &OSA_AVLI_IF);
    registerTraceGroup("TARVO_IPAPPLREGI_IF", &TARVO_IPAPPLREGI_IF);
    registerTraceGroup("TARVO_LDLI_IF", &TARVO_LDLI_IF);
}

void registerApplicationTraceGroups() {
    registerTraceGroup("ulSpectrumAnalyzerCtrlSwU", &ulSpectrumAnalyzerCtrlSwU);
    registerTraceGroup("ulSpectrumAnalyzerCtrlInit", &ulSpectrumAnalyzerCtrlInit);
    registerTraceGroup("ulsaRoSigHndSwU", &ulsaRoSigHndSwU);
    registerTraceGroup("ulsaRmciIf", &ulsaRmciIf);
    registerTraceGroup("ulsaRftiIf", &ulsaRftiIf);
    registerTraceGroup("ulsaUsiIf", &ulsaUsiIf);
}

void registerFtTraceGroups() {
#define ULSA_REGISTER_TRACE_GROUP(name) registerTraceGroup(#name, &name);
    ULSA_FT_TRACE_GROUPS(ULSA_REGISTER_TRACE_GROUP)
    ULSA_NC_TRACE_GROUPS(ULSA_REGISTER_TRACE_GROUP)
#undef ULSA_REGISTER_TRACE_GROUP
}

namespace {

// The block's text value of name, or "" with a level-1 trace when it is not set.
std::string blockValue(const char* name) {
    char* value = get_env(0, name);
    if (value == nullptr) {
        TRACE_GROUP(Ft_RESTART, 1, "Env variable %s not set", name);
        return std::string();
    }
    std::string text(value);
    free_buf(reinterpret_cast<union SIGNAL**>(&value));
    return text;
}

}  // namespace

void elibTraceRestartTimeTraceStartHook() {
    const std::string mainName = blockValue("OSE_LM_MAIN_NAME");
    const std::string version = blockValue("LM_VERS");
    TRACE_GROUP(Ft_RESTART, 13, "Startup of %s (%s)", mainName.c_str(), version.c_str());
}

}  // namespace traceGroups
