// The load module's start: configuration block, process table, the start-up code's
// order around the database agent, its receive loop, and the whole load.
#include "TraceCapture.h"
#include "TempFolder.h"
#include "hostServices.h"
#include "kernelTestSupport.h"
#include "lmConfiguration.h"
#include "lmStartup.h"
#include "traceGroups.h"
#include "SignalDistributorAPI.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace testSupport;

std::string blockValue(const char* key) {
    char* value = get_env(0, key);
    if (value == nullptr) {
        return "<unset>";
    }
    std::string text(value);
    free_buf(reinterpret_cast<union SIGNAL**>(&value));
    return text;
}

class LmStartupTest : public ::testing::Test {
  protected:
    LmStartupTest() {
        clearErrors();
        m_previous = ose_set_error_handler(recordError);
        tester() = ose_adopt_thread("lmTest");
    }
    ~LmStartupTest() override {
        onAgentRequest() = nullptr;
        ose_leave_thread();
        ose_shutdown();
        ose_set_error_handler(m_previous);
    }
    OseErrorHandler m_previous;
};

TEST_F(LmStartupTest, theConfigurationBlockIsReadIntoTheBlocksEnvironment) {
    const std::string text(ulsaLmConfiguration);
    ASSERT_LT(text.size(), kLmConfigurationSize);
    for (std::size_t i = text.size(); i < kLmConfigurationSize; ++i) {
        ASSERT_EQ(ulsaLmConfiguration[i], '\0') << i;
    }
    std::vector<std::string> keys;
    std::size_t line = text.find('\n') + 1;
    EXPECT_EQ(text.substr(0, line), "OSE Configuration\n");
    for (std::size_t end; (end = text.find('\n', line)) != std::string::npos; line = end + 1) {
        const std::string entry = text.substr(line, end - line);
        keys.push_back(entry.substr(0, entry.find('=')));
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"OSE_LM_POOL_SIZE",
                                              "OSE_LM_SUPERVISOR_MODE",
                                              "OSE_LM_SIGNAL_SIZES",
                                              "OSE_LM_MAIN_PRIORITY",
                                              "OSE_LM_STACK_SIZES",
                                              "OSE_LM_MAIN_NAME",
                                              "HEAP_ALGO_TLSF",
                                              "HEAP_SMALL_BUF_EXT_SIZE",
                                              "OSE_LM_PROGRAM_TYPE",
                                              "HEAP_SHARED_MODE",
                                              "OSE_LM_DATA_INIT",
                                              "OSE_LM_MAIN_STACK",
                                              "HEAP_MAX_SIZE",
                                              "OSE_LM_EXEC_MODEL",
                                              "OSE_LM_MAIN_STACK_SIZE",
                                              "HEAP_SMALL_BUF_INIT_SIZE",
                                              "OSE_LM_BSS_INIT",
                                              "HEAP_ALGO_BUDDY",
                                              "OSE_LM_IDENTITY",
                                              "@(#)LM_PATH",
                                              "@(#)LM_VERS",
                                              "@(#)LM_CMINFO"}));

    EXPECT_EQ(lmLoadConfiguration(ulsaLmConfiguration, kLmConfigurationSize), 22);
    EXPECT_EQ(blockValue("OSE_LM_MAIN_NAME"), "kgmULSpectrumAnalzyerCtrlLm_lm");
    EXPECT_EQ(blockValue("OSE_LM_SIGNAL_SIZES"), "31,63,127,255,1023,4095,16383,65535");
    EXPECT_EQ(blockValue("LM_VERS").rfind("CXP 901 0001/1 R1A ", 0), 0u);
    EXPECT_EQ(blockValue("OSE_LM_MAIN_STACK_SIZE"), "4064");
}

TEST_F(LmStartupTest, aMalformedBlockIsRefusedOrReadAsFarAsItMakesSense) {
    EXPECT_EQ(lmLoadConfiguration(nullptr, 10), -1);
    const char noHeading[] = "OSE Configurations\nA=1\n";
    EXPECT_EQ(lmLoadConfiguration(noHeading, sizeof noHeading), -1);
    const char odd[] = "OSE Configuration\nA_KEY=1\nno equals sign\n=novalue\n@(#)B_KEY=x=y";
    EXPECT_EQ(lmLoadConfiguration(odd, sizeof odd), 2);
    EXPECT_EQ(blockValue("A_KEY"), "1");
    EXPECT_EQ(blockValue("B_KEY"), "x=y");
    // Only size bytes are read, terminated or not.
    const char cut[] = {'O', 'S', 'E', ' ', 'C',  'o', 'n', 'f', 'i', 'g', 'u', 'r', 'a',
                        't', 'i', 'o', 'n', '\n', 'C', '_', 'K', 'E', 'Y', '=', '7', '7'};
    EXPECT_EQ(lmLoadConfiguration(cut, sizeof cut - 1), 1);
    EXPECT_EQ(blockValue("C_KEY"), "7");
}

// --- the start-up code on a table of test processes -----------------------------------

enum Kind : uint32_t { kStarted = 1, kAgentSawGroups, kAgentSawStopped };

PROCESS g_pids[3];

template <uint32_t Index>
void testProcess() {
    report(kStarted, Index);
    static const SIGSELECT any[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(any);
        free_buf(&signal);
    }
}

const LmProcessBlock kBlock{0};

LmProcessTable testTable() {
    return LmProcessTable{
        kLmProcessTableVersion,
        {{0, 0, "testMain", testProcess<0>, 8192, lmPriorityWord(28), 0, &kBlock, 0, 0, &g_pids[0]},
         {0, 0, "testSupport", testProcess<1>, 8192, lmPriorityWord(10), 0, &kBlock, 0, 0,
          &g_pids[1]},
         {0, 0, "testName", testProcess<2>, 8192, lmPriorityWord(14), 0, &kBlock, 0, 0,
          &g_pids[2]}}};
}

TEST_F(LmStartupTest, processesAreCreatedStoppedOnceAndOnlyFromATableOfTheRightVersion) {
    LmProcessTable wrongVersion = testTable();
    wrongVersion.version = 4;
    bool started = false;
    std::fill(std::begin(g_pids), std::end(g_pids), 0);
    EXPECT_FALSE(lmCreateStaticProcesses(wrongVersion, started));
    EXPECT_TRUE(errorReported(kLmFatalProcessTable));
    EXPECT_EQ(g_pids[0], 0u);
    EXPECT_FALSE(started);

    clearErrors();
    LmProcessTable table = testTable();
    ASSERT_TRUE(lmCreateStaticProcesses(table, started));
    EXPECT_TRUE(noErrors());
    EXPECT_EQ(table.version, 0u);
    for (PROCESS pid : g_pids) {
        ASSERT_NE(pid, 0u);
        EXPECT_EQ(processStatus(pid), OS_STATE_STOPPED);
    }
    const PROCESS first = g_pids[0];

    // A second run: the word is cleared; with the word restored the flag still refuses.
    EXPECT_FALSE(lmCreateStaticProcesses(table, started));
    EXPECT_TRUE(errorReported(kLmFatalProcessTable));
    clearErrors();
    table.version = kLmProcessTableVersion;
    EXPECT_FALSE(lmCreateStaticProcesses(table, started));
    EXPECT_TRUE(errorReported(kLmFatalProcessTable));
    EXPECT_EQ(g_pids[0], first);
}

bool g_agentSawOnlyFirstGroup = false;
bool g_agentSawAllStopped = false;

void inspectStartAtAgentRequest() {
    g_agentSawOnlyFirstGroup = traceGroups::OSA_PRI_IF != &traceDummyObject &&
                               traceGroups::TARVO_DBI_IF == &traceDummyObject &&
                               traceGroups::ulsaUsiIf == &traceDummyObject;
    g_agentSawAllStopped = true;
    for (PROCESS pid : g_pids) {
        g_agentSawAllStopped = g_agentSawAllStopped && processStatus(pid) == OS_STATE_STOPPED;
    }
}

LmProcessTable g_runTable;
bool g_runStarted = false;

OS_PROCESS(testEntry) {
    lmRunStartup(g_runTable, g_runStarted, 5000);
}

TEST_F(LmStartupTest, theAgentHoldsUpTheStartAndTheEntryProcessStaysUntilTheEndSignal) {
    TraceCapture capture;
    traceSetMask("Ft_RESTART", (1u << 1) | (1u << 13));
    ASSERT_EQ(lmLoadConfiguration(ulsaLmConfiguration, kLmConfigurationSize), 22);
    startDatabaseAgent();
    onAgentRequest() = inspectStartAtAgentRequest;
    g_runTable = testTable();
    g_runStarted = false;

    const PROCESS entry =
        create_process(OS_PRI_PROC, "testLm", testEntry, 4064, 28, 0, 0, nullptr, 0, 0);
    start(entry);
    auto reports = collectReports(3);
    std::sort(reports.begin(), reports.end());
    EXPECT_EQ(reports, (std::vector<std::pair<uint32_t, uint32_t>>{
                           {kStarted, 0}, {kStarted, 1}, {kStarted, 2}}));
    EXPECT_TRUE(g_agentSawOnlyFirstGroup);
    EXPECT_TRUE(g_agentSawAllStopped);

    // The groups were registered in their order (the service numbers them as they come).
    const std::vector<const TraceObject*> order{traceGroups::OSA_PRI_IF,
                                                traceGroups::TARVO_DBI_IF,
                                                traceGroups::TARVO_SCSPI_IF,
                                                traceGroups::OSA_AVLI_IF,
                                                traceGroups::TARVO_IPAPPLREGI_IF,
                                                traceGroups::TARVO_LDLI_IF,
                                                traceGroups::ulSpectrumAnalyzerCtrlSwU,
                                                traceGroups::ulSpectrumAnalyzerCtrlInit,
                                                traceGroups::ulsaRoSigHndSwU,
                                                traceGroups::ulsaRmciIf,
                                                traceGroups::ulsaRftiIf,
                                                traceGroups::ulsaUsiIf,
                                                traceGroups::Ft_ADMISSION_CONTROL,
                                                traceGroups::Ft_RESTART};
    for (std::size_t i = 1; i < order.size(); ++i) {
        EXPECT_LT(order[i - 1]->id, order[i]->id) << i;
    }
    EXPECT_TRUE(capture.contains("Startup of kgmULSpectrumAnalzyerCtrlLm_lm (CXP 901 0001/1 R1A "));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tarvoDbAgentTable[106]), 0x2000u + 106);

    // Anything but the end signal is an error -2, and the loop goes on.
    sendTo(entry, 0x1234);
    EXPECT_TRUE(errorReported(0xfffffffe));
    EXPECT_NE(processStatus(entry), OS_STATE_ENDED);

    for (PROCESS pid : g_pids) {
        ASSERT_TRUE(waitUntilReceiving(pid));
    }
    sendTo(entry, kLmEndSignal);
    ASSERT_TRUE(ose_wait_ended(entry, 5000));
    for (PROCESS pid : g_pids) {
        EXPECT_TRUE(ose_wait_ended(pid, 5000));
    }
}

TEST_F(LmStartupTest, withoutAnAgentTheStartGoesOnAfterTheWait) {
    TraceCapture capture;
    EXPECT_FALSE(lmRegisterTraceGroups(50));
    EXPECT_TRUE(capture.contains("No response hunting for Osa_dbAgent_proc after 50 msec."));
    EXPECT_TRUE(errorReported(kTarvoDbAgentNoResponseError));
    EXPECT_NE(traceGroups::ulsaUsiIf, &traceDummyObject);
    EXPECT_NE(traceGroups::Ft_RESTART, &traceDummyObject);
}

TEST_F(LmStartupTest, theLoadedModuleRunsItsProcessesUntilTheEndSignal) {
    TraceCapture capture;
    traceSetMask("ulsaApplicationLU", (1u << 1) | (1u << 8));
    // The analyzer's manager needs the platform's services: the host's, on SQLite.
    hostdbtest::TempFolder folder;
    hostdb::DatabaseConfig database;
    database.stateDir = folder.path();
    std::string problem;
    ASSERT_TRUE(hostdb::prepareDatabaseConfig(database, problem)) << problem;
    hostns::startNameServer();
    hostdb::startDatabaseAgent(database);
    hostdb::startDatabase({database, 5000, 1000});
    hosttx::startTransactionServer({database, 4096, 64u << 20});
    const PROCESS entry = ulsaLmLoad();
    ASSERT_NE(entry, 0u);
    EXPECT_EQ(find("kgmULSpectrumAnalzyerCtrlLm_lm"), entry);
    const PROCESS mainProcess = find("ulSpectrumAnalyzer_main_thread");
    ASSERT_NE(mainProcess, 0u);
    // The application starts the analyzer's manager, then serves its loop; the entry
    // process has set the identities before it started the processes.
    ASSERT_TRUE(waitForTrace(capture, "Starting PLAB Messaging Receive loop."));
    ASSERT_TRUE(waitUntilReceiving(mainProcess));
    EXPECT_EQ(mainProcess, ulsaMainThreadPid);
    EXPECT_EQ(find("Vq_IfSupport_proc"), vqIfSupportPid);
    EXPECT_EQ(find("VqDb_name_proc"), vqDbNamePid);
    EXPECT_TRUE(noErrors());

    ASSERT_TRUE(waitUntilReceiving(entry));
    ASSERT_TRUE(waitUntilReceiving(vqIfSupportPid));
    ASSERT_TRUE(waitUntilReceiving(vqDbNamePid));
    sendTo(entry, kLmEndSignal);
    EXPECT_TRUE(ose_wait_ended(entry, 5000));
    EXPECT_TRUE(ose_wait_ended(mainProcess, 5000));
    EXPECT_TRUE(ose_wait_ended(vqIfSupportPid, 5000));
    EXPECT_TRUE(ose_wait_ended(vqDbNamePid, 5000));
    destroySignalDistributorAPI();
}

}  // namespace
