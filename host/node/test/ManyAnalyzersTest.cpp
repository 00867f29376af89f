// Ten analyzers sampling side by side in one node, each on a port of its own, driven
// through the management client, in two rounds of runs: every file reaches the FTP
// server, the upload's name-server subscriptions do not pile up, and a round of runs
// leaves nothing behind in the load module's heap.
#include "ManyAnalyzers.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

namespace {

std::size_t live(const ulsascenario::ManyAnalyzersResult& result, const std::string& when) {
    for (const ulsascenario::HeapPoint& point : result.heap) {
        if (point.when == when)
            return point.liveBytes;
    }
    ADD_FAILURE() << "no heap point " << when;
    return 0;
}

TEST(ManyAnalyzers, tenAnalyzersSideBySideUploadEveryFileAndARoundOfRunsLeavesNoMemoryBehind) {
    ulsascenario::ManyAnalyzersConfig config;
    config.analyzers = 10;
    config.limitS = 60;
    config.rounds = 2;
    ulsascenario::ManyAnalyzersResult result;
    runWithTimeLimit(std::chrono::seconds(80),
                     [&] { result = ulsascenario::runManyAnalyzers(config); });
    ASSERT_EQ(result.problem, "");
    EXPECT_EQ(result.failures, std::vector<std::string>{});
    EXPECT_EQ(result.uploaded, 10);
    // One signal subscription of the upload's proxy at most stays, whatever the uploads.
    EXPECT_LE(result.nameServerSubscriptions, 4u);
    // A run repeats until all have a file up, so the rounds differ by a run or two of
    // an analyzer; a leak of each run's client, strings or subscriptions (kilobytes a
    // run) still shows.
    EXPECT_LE(live(result, "ended 2"), live(result, "ended 1") + 2048);
    EXPECT_LT(live(result, "deleted"), live(result, "created"));
    EXPECT_LT(result.heapPeakBytes, 14680064u);
}

}  // namespace
