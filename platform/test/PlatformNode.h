// PlatformNode: the host's platform services started in the test's kernel on an SQLite
// file in a folder of the test's own, and the trace objects the proxies write to.
#ifndef PLATFORM_TEST_PLATFORM_NODE_H
#define PLATFORM_TEST_PLATFORM_NODE_H

#include "KernelErrors.h"
#include "TarvoDbNameState.h"
#include "TarvoTransactionTuning.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "hostServices.h"
#include "oseHost.h"
#include "proxyProcesses.h"
#include "traceGroups.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

namespace platformtest {

constexpr auto kLimit = std::chrono::seconds(40);

/// Polls cond every 10 ms for at most ms; whether it came true. Runs on any thread.
inline bool eventually(const std::function<bool()>& cond, int ms = 5000) {
    for (int waited = 0; waited < ms; waited += 10) {
        if (cond()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return cond();
}

class PlatformNode : public ::testing::Test {
  protected:
    void SetUp() override {
        traceGroups::registerTraceGroup("OSA_PRI_IF", &traceGroups::OSA_PRI_IF);
        traceGroups::registerTraceGroup("TARVO_DBI_IF", &traceGroups::TARVO_DBI_IF);
        traceSetMask("OSA_PRI_IF", 0xFFFFFFFFu);
        traceSetMask("TARVO_DBI_IF", 0xFFFFFFFFu);
        traceSetMask(kTraceDefaultObjectName, kTraceDefaultObjectMask);
        // The transaction client's own object, registered at its first trace.
        traceSetMask("TarvoTransaction", 0xFFFFFFFFu);
        tarvodbname::reset();
        tarvodbname::setWait({});
        tarvotx::forgetServer();
        tarvotx::setAnswerWait(10000);
        database.stateDir = folder.path() + "/state";
    }

    void TearDown() override {
        ose_shutdown();
        tarvotx::forgetServer();
        traceConfigure("");
    }

    /// The name server, the database agent and the database's supervisor.
    void startDatabaseSide() {
        ASSERT_NE(hostns::startNameServer(), 0u);
        ASSERT_NE(hostdb::startDatabaseAgent(database), 0u);
        ASSERT_NE(hostdb::startDatabase({database, 0, 100}), 0u);
    }

    /// "VqDb_name_proc" as the load module's process table makes it.
    PROCESS startNameTracking() {
        const PROCESS pid = create_process(OS_PRI_PROC, "VqDb_name_proc", VqDb_name_proc, 768, 14,
                                           0, 0, nullptr, 0, 0);
        start(pid);
        return pid;
    }

    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    hostdb::DatabaseConfig database;
};

}  // namespace platformtest

#endif  // PLATFORM_TEST_PLATFORM_NODE_H
