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
extern TraceRef OSA_PRI_IF;
extern TraceRef TARVO_DBI_IF;
extern TraceRef TARVO_SCSPI_IF;
extern TraceRef OSA_AVLI_IF;
extern TraceRef TARVO_IPAPPLREGI_IF;
extern TraceRef TARVO_LDLI_IF;

// Groups of the application.
extern TraceRef ulSpectrumAnalyzerCtrlSwU;
extern TraceRef ulSpectrumAnalyzerCtrlInit;
extern TraceRef ulsaRoSigHndSwU;
extern TraceRef ulsaRmciIf;
extern TraceRef ulsaRftiIf;
extern TraceRef ulsaUsiIf;

// The start-up banner's group, one of the Ft_ groups.
extern TraceRef Ft_RESTART;

// The Ft_ groups, in their order of registration.
#define ULSA_FT_TRACE_GROUPS(X) \
    X(Ft_ADMISSION_CONTROL)     \
    X(Ft_ANTENNA_CONTROL)       \
    X(Ft_CELL_CONFIG)           \
    X(Ft_CELL_POWER_SETTING)    \
    X(Ft_CONFIG)                \
    X(Ft_DEVICE_SCAN)           \
    X(Ft_ETH_FUNCTION)          \
    X(Ft_FAULT_HANDLING)        \
    X(Ft_MO_CONFIG)             \
    X(Ft_RESTART)               \
    X(Ft_SECTOR_CONFIG)         \
    X(Ft_SYSCONST)              \
    X(Ft_TIMING_DISTRIBUTION)   \
    X(ETH_FUNCTION)             \
    X(Ft_BB_RESOURCE_SET_HANDLING)

// The node-control library's groups, registered after the Ft_ groups in this order.
// The library is not part of this load module and nothing here writes to these
// groups: they are registered so that the set of groups is the node's usual one.
// Only ncRadioDeviceCtrlSwU, ncTimeOutLU and ncImaIf are names the node is known to
// use; the other 55 are made up in the library's naming style to complete the 58.
// clang-format off
#define ULSA_NC_TRACE_GROUPS(X) \
    X(ncRadioDeviceCtrlSwU) \
    X(ncTimeOutLU) \
    X(ncImaIf) \
    X(ncCommonLU) \
    X(ncConnHandlerLU) \
    X(ncSigNamesLU) \
    X(ncImaLU) \
    X(ncAntennaCtrlSwU) \
    X(ncAntennaIf) \
    X(ncAuxUnitCtrlSwU) \
    X(ncAuxUnitIf) \
    X(ncBbResourceSwU) \
    X(ncCarrierCtrlSwU) \
    X(ncCellCtrlSwU) \
    X(ncCpriLinkSwU) \
    X(ncDeviceScanSwU) \
    X(ncEquipmentCtrlSwU) \
    X(ncEthFunctionSwU) \
    X(ncFaultHandlerSwU) \
    X(ncFaultIf) \
    X(ncFileTransferLU) \
    X(ncFroBaseLU) \
    X(ncHwInventoryLU) \
    X(ncIpConfigSwU) \
    X(ncLedCtrlSwU) \
    X(ncLicenseIf) \
    X(ncLinkSupervisionLU) \
    X(ncMoConfigSwU) \
    X(ncNodeRestartSwU) \
    X(ncPmCounterLU) \
    X(ncPowerCtrlSwU) \
    X(ncPowerIf) \
    X(ncRadioIf) \
    X(ncRdiIf) \
    X(ncRetCtrlSwU) \
    X(ncRetIf) \
    X(ncRfPortSwU) \
    X(ncRmciIf) \
    X(ncRftiIf) \
    X(ncSectorCtrlSwU) \
    X(ncSfpCtrlSwU) \
    X(ncSignalSupervisionLU) \
    X(ncStateMachineLU) \
    X(ncSwUpgradeSwU) \
    X(ncSyncCtrlSwU) \
    X(ncSysConstLU) \
    X(ncTimingIf) \
    X(ncTmaCtrlSwU) \
    X(ncTmaIf) \
    X(ncTopologyLU) \
    X(ncTransactionLU) \
    X(ncUsiIf) \
    X(ncVswrSupervisionSwU) \
    X(ncXmlUtilLU) \
    X(ncAlarmIf) \
    X(ncAvailabilityLogLU) \
    X(ncDbProxyLU) \
    X(ncEndianSwapLU)
// clang-format on

#define ULSA_DECLARE_TRACE_GROUP(name) extern TraceRef name;
ULSA_FT_TRACE_GROUPS(ULSA_DECLARE_TRACE_GROUP)
ULSA_NC_TRACE_GROUPS(ULSA_DECLARE_TRACE_GROUP)
#undef ULSA_DECLARE_TRACE_GROUP

/// How many node-control library groups registerFtTraceGroups() registers.
constexpr int kNcTraceGroupCount = 58;

/// Registers one group under its plain name and stores its object in *reference.
void registerTraceGroup(const char* name, TraceRef* reference);

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
