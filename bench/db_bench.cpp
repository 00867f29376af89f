// db_bench: what FroDatabase costs on top of the database itself.
//
//   db_save_commit_1000_ms    1,000 fROs saved in one transaction and committed through
//                             the transaction server into SQLite: from the first saveFRO
//                             to the commit indication.
//   db_overhead_fraction      the part of that time spent outside the ODBC calls, i.e.
//                             in signals, text building and the load module's logic.
//   db_restore_4095_ms        4,095 stored fROs of one type read back as a restart does:
//                             retrieveFROs, then retrieveFRO of each.
//
// The database's time is measured where every ODBC call of the process passes
// (OdbcTiming.h): both the load module's reads through the call table and the server's
// apply at commit are so counted, on whatever thread they run.
#include "FroDatabase.h"
#include "OdbcTiming.h"
#include "SignalDistributorAPI.h"
#include "hostServices.h"
#include "ose.h"
#include "oseHost.h"
#include "proxyProcesses.h"
#include "tarvo_dbagent.h"
#include "tarvo_transaction.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Run {
    double totalMs = 0;
    double odbcMs = 0;
    int64_t odbcCalls = 0;
};

Attributes attributesOf(uint32_t id) {
    return {{"name", "STRING", "fro 'number' " + std::to_string(id)},
            {"level", "U32", std::to_string(id)},
            {"shape", "struct", "<struct><m name=\"a\">" + std::to_string(id) + "</m></struct>"}};
}

// Saves count fROs of the type in one transaction and commits it; the time from the
// first saveFRO to the commit indication.
Run saveAndCommit(FroDatabase& db, uint32_t froType, uint32_t count) {
    uint32_t transaction = 0;
    TarvoTransaction_create_e(1, &transaction, 1);
    TarvoTransaction_registerResource_e(transaction, 0, 1);
    db.open();
    const int64_t odbcBefore = g_odbcNanos[0];
    const int64_t callsBefore = g_odbcCalls[0];
    const auto start = Clock::now();
    for (uint32_t id = 1; id <= count; ++id) {
        db.saveFRO(transaction, id, froType,
                   "Top=1,T" + std::to_string(froType) + "=" + std::to_string(id),
                   attributesOf(id));
    }
    TarvoTransaction_commit_e(transaction, 1);
    const SIGSELECT wanted[] = {2, TARVO_TRANS_COMMIT_IND, TARVO_TRANS_ROLLBACK_IND};
    union SIGNAL* indication = receive_w_tmo(60000, wanted);
    Run run;
    run.totalMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    run.odbcMs = static_cast<double>(g_odbcNanos[0] - odbcBefore) / 1e6;
    run.odbcCalls = g_odbcCalls[0] - callsBefore;
    SIGSELECT number = 0;
    if (indication != nullptr) {
        std::memcpy(&number, indication, sizeof(number));
        db.handleCommitInd(indication);
        free_buf(&indication);
    }
    db.close();
    if (number != TARVO_TRANS_COMMIT_IND) {
        std::fprintf(stderr, "the commit of type %u failed\n", froType);
        std::exit(1);
    }
    return run;
}

Run restore(FroDatabase& db, uint32_t froType, std::size_t expected) {
    db.open();
    const int64_t odbcBefore = g_odbcNanos[0];
    const int64_t callsBefore = g_odbcCalls[0];
    const auto start = Clock::now();
    std::vector<FroInfo> infos;
    bool ok = db.retrieveFROs({froType}, infos);
    for (const FroInfo& info : infos) {
        std::string ldn;
        Attributes attributes;
        ok = db.retrieveFRO(info.froId, info.froType, ldn, attributes) && ok;
    }
    Run run;
    run.totalMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    run.odbcMs = static_cast<double>(g_odbcNanos[0] - odbcBefore) / 1e6;
    run.odbcCalls = g_odbcCalls[0] - callsBefore;
    db.close();
    if (!ok || infos.size() != expected) {
        std::fprintf(stderr, "the restore read %zu of %zu fROs\n", infos.size(), expected);
        std::exit(1);
    }
    return run;
}

// The load module's main process: a thread of its own made a kernel process.
void runAsMainProcess(const std::function<void()>& body) {
    std::thread runner([&body] {
        ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
        body();
        ose_leave_thread();
    });
    runner.join();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main() {
    const std::string folder =
        (std::filesystem::temp_directory_path() / ("ulsa-db-bench-" + std::to_string(getpid())))
            .string();
    hostdb::DatabaseConfig config;
    config.stateDir = folder;
    hostns::startNameServer();
    hostdb::startDatabaseAgent(config);
    hostdb::startDatabase({config, 0, 100});
    hosttx::startTransactionServer({config, 4096, 64u << 20});
    start(create_process(OS_PRI_PROC, "VqDb_name_proc", VqDb_name_proc, 768, 14, 0, 0, nullptr, 0,
                         0));

    constexpr int kRounds = 5;
    std::vector<Run> saves;
    Run restoreRun;
    runAsMainProcess([&] {
        if (!TarvoDbAgent_bind(5000)) {
            std::fprintf(stderr, "no database agent\n");
            std::exit(1);
        }
        std::vector<FroTypeEntry> types;
        for (uint32_t type = 1; type <= kRounds + 1; ++type) {
            types.emplace_back(type, "Type" + std::to_string(type));
        }
        FroDatabase::instance()->initialize("", types);
        // Each round a type of its own: its data table is made by the first saveFRO, as
        // at a node's first configuration.
        for (uint32_t type = 1; type <= kRounds; ++type) {
            saves.push_back(saveAndCommit(*FroDatabase::instance(), type, 1000));
        }
        saveAndCommit(*FroDatabase::instance(), kRounds + 1, 4095);
        // The restart: a new instance on the same database.
        FroDatabase::deleteInstance();
        FroDatabase::instance()->initialize("", types);
        restoreRun = restore(*FroDatabase::instance(), kRounds + 1, 4095);
        FroDatabase::deleteInstance();
        destroySignalDistributorAPI();
    });
    ose_shutdown();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);

    std::vector<double> totals;
    std::vector<double> fractions;
    for (const Run& run : saves) {
        std::printf("raw save_commit_1000 total_ms %.2f odbc_ms %.2f odbc_calls %lld\n",
                    run.totalMs, run.odbcMs, static_cast<long long>(run.odbcCalls));
        totals.push_back(run.totalMs);
        fractions.push_back((run.totalMs - run.odbcMs) / run.totalMs);
    }
    std::printf("raw restore_4095 total_ms %.2f odbc_ms %.2f odbc_calls %lld\n", restoreRun.totalMs,
                restoreRun.odbcMs, static_cast<long long>(restoreRun.odbcCalls));
    std::printf("figure db_save_commit_1000_ms %.2f\n", median(totals));
    std::printf("figure db_overhead_fraction %.3f\n", median(fractions));
    std::printf("figure db_restore_4095_ms %.2f\n", restoreRun.totalMs);
    std::printf("figure db_restore_4095_overhead_fraction %.3f\n",
                (restoreRun.totalMs - restoreRun.odbcMs) / restoreRun.totalMs);
    return 0;
}
