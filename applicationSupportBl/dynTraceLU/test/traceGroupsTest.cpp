// The load module's trace groups: the dummy before start-up, the order of
// registration, the gate of bit 21 and the start-up banner.
#include "TraceCapture.h"
#include "dynTrace.h"
#include "oseHost.h"
#include "traceGroups.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace traceGroups;

struct Group {
    TraceRef* global;
    const char* name;
};

TEST(TraceGroups, GroupsAreTheDummyUntilRegisteredAndThenRegisteredInStartUpOrder) {
    traceConfigure("");
    const std::vector<Group> order = {
        {&OSA_PRI_IF, "OSA_PRI_IF"},
        {&TARVO_DBI_IF, "TARVO_DBI_IF"},
        {&TARVO_SCSPI_IF, "TARVO_SCSPI_IF"},
        {&OSA_AVLI_IF, "OSA_AVLI_IF"},
        {&TARVO_IPAPPLREGI_IF, "TARVO_IPAPPLREGI_IF"},
        {&TARVO_LDLI_IF, "TARVO_LDLI_IF"},
        {&ulSpectrumAnalyzerCtrlSwU, "ulSpectrumAnalyzerCtrlSwU"},
        {&ulSpectrumAnalyzerCtrlInit, "ulSpectrumAnalyzerCtrlInit"},
        {&ulsaRoSigHndSwU, "ulsaRoSigHndSwU"},
        {&ulsaRmciIf, "ulsaRmciIf"},
        {&ulsaRftiIf, "ulsaRftiIf"},
        {&ulsaUsiIf, "ulsaUsiIf"},
        {&Ft_ADMISSION_CONTROL, "Ft_ADMISSION_CONTROL"},
        {&Ft_ANTENNA_CONTROL, "Ft_ANTENNA_CONTROL"},
        {&Ft_CELL_CONFIG, "Ft_CELL_CONFIG"},
        {&Ft_CELL_POWER_SETTING, "Ft_CELL_POWER_SETTING"},
        {&Ft_CONFIG, "Ft_CONFIG"},
        {&Ft_DEVICE_SCAN, "Ft_DEVICE_SCAN"},
        {&Ft_ETH_FUNCTION, "Ft_ETH_FUNCTION"},
        {&Ft_FAULT_HANDLING, "Ft_FAULT_HANDLING"},
        {&Ft_MO_CONFIG, "Ft_MO_CONFIG"},
        {&Ft_RESTART, "Ft_RESTART"},
        {&Ft_SECTOR_CONFIG, "Ft_SECTOR_CONFIG"},
        {&Ft_SYSCONST, "Ft_SYSCONST"},
        {&Ft_TIMING_DISTRIBUTION, "Ft_TIMING_DISTRIBUTION"},
        {&ETH_FUNCTION, "ETH_FUNCTION"},
        {&Ft_BB_RESOURCE_SET_HANDLING, "Ft_BB_RESOURCE_SET_HANDLING"},
        {&ncRadioDeviceCtrlSwU, "ncRadioDeviceCtrlSwU"},
        {&ncTimeOutLU, "ncTimeOutLU"},
        {&ncImaIf, "ncImaIf"},
    };
    for (const Group& group : order) {
        EXPECT_EQ(group.global->load(), &traceDummyObject) << group.name;
    }
    {
        // Before start-up a group trace goes through the dummy object and its levels.
        TraceCapture capture;
        for (unsigned level = 0; level <= 16; ++level) {
            TRACE_GROUP(ulsaRmciIf, level, "early %u", level);
        }
        EXPECT_EQ(capture.texts("traceDummy"),
                  (std::vector<std::string>{"early 0", "early 1", "early 4"}));
    }

    registerTraceGroup("OSA_PRI_IF", &OSA_PRI_IF);
    registerProxyTraceGroups();
    registerApplicationTraceGroups();
    registerFtTraceGroups();

    uint32_t previousId = 0;
    for (const Group& group : order) {
        const TraceObject* object = group.global->load();
        ASSERT_NE(object, &traceDummyObject) << group.name;
        EXPECT_STREQ(object->name, group.name);
        EXPECT_GT(object->id, previousId) << group.name << " out of order";
        previousId = object->id;
    }
    // All 58 groups of the node-control library follow the Ft_ groups.
    int ncGroups = 0;
    for (const TraceObjectInfo& info : traceGetObjects()) {
        if (info.name.compare(0, 2, "nc") != 0) {
            continue;
        }
        ++ncGroups;
        TraceRef ref{nullptr};
        TraceCall call{};
        call.ref = &ref;
        call.name = info.name.c_str();
        ASSERT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0);
        EXPECT_GT(ref.load()->id, Ft_BB_RESOURCE_SET_HANDLING.load()->id) << info.name;
    }
    EXPECT_EQ(ncGroups, kNcTraceGroupCount);
}

TEST(TraceGroups, GroupTraceNeedsItsLevelAndBit21OfTheDefaultObject) {
    traceConfigure("grpGate=5");
    TraceRef group{&traceDummyObject};
    registerTraceGroup("grpGate", &group);
    TraceCall attach{};
    attach.ref = &traceDefaultRef;
    ASSERT_EQ(traceAndErrorInit(TRACE_OP_ATTACH, &attach), 0);
    ASSERT_STREQ(traceDefaultRef.load()->name, kTraceDefaultObjectName);

    TraceCapture capture;
    TRACE_GROUP(group, 5, "group on");
    TRACE_GROUP(group, 6, "level off");
    EXPECT_EQ(traceSetMask(kTraceDefaultObjectName, kTraceDefaultObjectMask & ~(1u << 21)), 1);
    TRACE_GROUP(group, 5, "bit 21 off");
    TRACE(group, 5, "plain trace");
    traceConfigure("grpGate=5");
    TRACE_GROUP(group, 5, "bit 21 back");
    EXPECT_EQ(capture.texts("grpGate"),
              (std::vector<std::string>{"group on", "plain trace", "bit 21 back"}));
    traceConfigure("");
}

TEST(TraceGroups, BannerNamesTheLoadModuleAndReportsValuesThatAreNotSet) {
    traceConfigure("Ft_RESTART=0+1+13");
    registerTraceGroup("Ft_RESTART", &Ft_RESTART);
    ose_adopt_thread("banner_test");
    {
        TraceCapture capture;
        elibTraceRestartTimeTraceStartHook();
        EXPECT_EQ(capture.texts("Ft_RESTART"), (std::vector<std::string>{
                                                   "Env variable OSE_LM_MAIN_NAME not set",
                                                   "Env variable LM_VERS not set",
                                                   "Startup of  ()",
                                               }));
        const std::vector<TraceLine> lines = capture.parsed();
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[0].level, 1u);
        EXPECT_EQ(lines[1].level, 1u);
        EXPECT_EQ(lines[2].level, 13u);
    }
    {
        ASSERT_TRUE(set_env(0, "LM_VERS", "CXP9021234/1 R2B 2025-11-21 05:20"));
        TraceCapture capture;
        elibTraceRestartTimeTraceStartHook();
        EXPECT_EQ(capture.texts("Ft_RESTART"),
                  (std::vector<std::string>{"Env variable OSE_LM_MAIN_NAME not set",
                                            "Startup of  (CXP9021234/1 R2B 2025-11-21 05:20)"}));
    }
    {
        ASSERT_TRUE(set_env(0, "OSE_LM_MAIN_NAME", "kgmULSpectrumAnalzyerCtrlLm_lm"));
        TraceCapture capture;
        elibTraceRestartTimeTraceStartHook();
        EXPECT_EQ(
            capture.texts("Ft_RESTART"),
            (std::vector<std::string>{
                "Startup of kgmULSpectrumAnalzyerCtrlLm_lm (CXP9021234/1 R2B 2025-11-21 05:20)"}));
        // The banner is a group trace: nothing without its level.
        capture.clear();
        traceConfigure("Ft_RESTART=0+1");
        elibTraceRestartTimeTraceStartHook();
        EXPECT_TRUE(capture.lines().empty());
    }
    ose_leave_thread();
    ose_shutdown();
    traceConfigure("");
}

}  // namespace
