// mao_bench: the MAO-FRO service layer of a whole node, driven by the management client.
//
//   mao_get_us                   median time of client.get() of one fRO with four
//                                attributes: from the client's request (document built,
//                                signal sent) to its receipt and reading of the confirm.
//   mao_get_vs_kernel_rt_ratio   that median over the median bare kernel round trip
//                                between the same two processes: a signal that the load
//                                module's main process answers at once, from a subscriber
//                                of this program's manager at the main process's signal
//                                distributor (so through the main loop's receive and
//                                dispatch, as the get). Gets and round trips alternate in
//                                batches of 20 in the same run. (goal <= 3)
//   mao_create_commit_1000_ms    1,000 creates of fROs with four attributes in one
//                                transaction, each confirmed, then the commit through
//                                "TarvoTransaction" into SQLite: from the transaction's
//                                creation to the commit's answer; median of 5 rounds, the
//                                fROs deleted (untimed) after each. (goal <= 300)
//   restore_4095_ms              a node started on a database that holds 4,095 fROs of one
//                                type: from the main process's first trace ("ULSpectrumAnalyzer
//                                Main Process started", caught by a trace sink) to the
//                                management client's receipt of the service's publication
//                                from "ose_ns"; the run of median time of 5. (goal <= 1500)
//   restore_4095_db_ms           the part of that run spent in ODBC calls on the main process
//
// Beside the figures ("raw" and "reference" lines): the round trip to a bare echo process
// made like the main process; each create round's parts (creates, commit, ODBC time on the
// main process and elsewhere, the process's CPU time); each restore's steps (database
// open, the list of stored fROs, making them, publication), its ODBC calls and time, and
// the main process's CPU time and the times it blocked or was preempted: on a machine that
// others load, wall time beyond CPU time is time spent waiting for a vCPU.
//
// Each node is booted by ulsaNodeBoot with a manager of this program that registers its
// fRO classes through FroHandler, in a child Linux process of its own (the load module's
// process-wide state outlives a stop, so a restart is a new Linux process): one child for
// the gets and the creates, one that stores the 4,095 fROs through the client, then one
// child per restore. "mao_bench restore --stored 500 --restores 1" and the like run one
// part on a smaller case, for a profiler.
//
// The database's time is measured where every ODBC call of the process passes, as in
// db_bench (OdbcTiming.h, with the entry points of prepared statements and connections
// added here). Calls on the main process are counted apart from the others.
#include "FroDatabase.h"
#include "FroDatabaseWriter.h"
#include "FroHandler.h"
#include "ManagementClient.h"
#include "MaoFroGenericBase.h"
#include "NodeBoot.h"
#include "OdbcTiming.h"
#include "RestoreHandlerGenericBase.h"
#include "SignalDistributorAPI.h"
#include "SignalSubscriber.h"
#include "TraniGenericBase.h"
#include "froMgr.h"
#include "ose.h"
#include "oseHost.h"
#include "traceHost.h"
#include "transMgr.h"

#include <sql.h>
#include <sqlext.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// ---------------------------------------------------------------------------------------
// ODBC time, per thread role: 1 the load module's main process, 0 every other thread.

struct OdbcCount {
    int64_t nanos[kRoles] = {};
    int64_t calls[kRoles] = {};
    static OdbcCount now() {
        OdbcCount c;
        for (int r = 0; r < kRoles; ++r) {
            c.nanos[r] = g_odbcNanos[r];
            c.calls[r] = g_odbcCalls[r];
        }
        return c;
    }
    double ms(int role) const { return static_cast<double>(nanos[role]) / 1e6; }
    double allMs() const { return ms(0) + ms(1); }
    OdbcCount operator-(const OdbcCount& o) const {
        OdbcCount c;
        for (int r = 0; r < kRoles; ++r) {
            c.nanos[r] = nanos[r] - o.nanos[r];
            c.calls[r] = calls[r] - o.calls[r];
        }
        return c;
    }
};

}  // namespace

extern "C" {
SQLRETURN SQL_API SQLExecute(SQLHSTMT s) {
    static SQLRETURN (*real)(SQLHSTMT) = nullptr;
    return timed(real, "SQLExecute", s);
}
SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT s, SQLSMALLINT* n) {
    static SQLRETURN (*real)(SQLHSTMT, SQLSMALLINT*) = nullptr;
    return timed(real, "SQLNumResultCols", s, n);
}
SQLRETURN SQL_API SQLRowCount(SQLHSTMT s, SQLLEN* n) {
    static SQLRETURN (*real)(SQLHSTMT, SQLLEN*) = nullptr;
    return timed(real, "SQLRowCount", s, n);
}
SQLRETURN SQL_API SQLDriverConnect(SQLHDBC h, SQLHWND w, SQLCHAR* in, SQLSMALLINT inLength,
                                   SQLCHAR* out, SQLSMALLINT outMax, SQLSMALLINT* outLength,
                                   SQLUSMALLINT completion) {
    static SQLRETURN (*real)(SQLHDBC, SQLHWND, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT,
                             SQLSMALLINT*, SQLUSMALLINT) = nullptr;
    return timed(real, "SQLDriverConnect", h, w, in, inLength, out, outMax, outLength,
                 completion);
}
SQLRETURN SQL_API SQLDisconnect(SQLHDBC h) {
    static SQLRETURN (*real)(SQLHDBC) = nullptr;
    return timed(real, "SQLDisconnect", h);
}
}

namespace {

// ---------------------------------------------------------------------------------------
// Small tools.

constexpr OSTIME kWait = 20000;
constexpr OSTIME kConnectWait = 180000;  // a start under a profiler is slow
constexpr uint32_t kProbeType = 0x2001;  // the fRO of the gets; the restored fROs
constexpr uint32_t kBulkType = 0x2002;   // the creates of the transaction benchmark
constexpr SIGSELECT kPing = 0x7E5B01;    // answered at once by the main process
constexpr const char* kMainProcessName = "ulSpectrumAnalyzer_main_thread";
constexpr const char* kMainStartedText = "ULSpectrumAnalyzer Main Process started";

// Which parts run and how long: "mao_bench [get] [create] [restore] [--batches N]
// [--stored N] [--restores N]"; all parts, 200 batches of gets, 4,095 stored fROs and 5
// restores by default. A profile takes one part on a smaller case.
struct Options {
    bool gets = true;
    bool creates = true;
    bool restores = true;
    int getBatches = 200;
    int stored = 4095;
    int restoreRuns = 5;
};
Options g_options;
constexpr int kGetsPerBatch = 20;
constexpr int kCreateRounds = 5;
constexpr int kCreates = 1000;

double msBetween(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double, std::milli>(b - a).count();
}

double usSince(Clock::time_point a) {
    return std::chrono::duration<double, std::micro>(Clock::now() - a).count();
}

double median(std::vector<double> v) {
    if (v.empty()) {
        return 0;
    }
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

double percentile(std::vector<double> v, double p) {
    if (v.empty()) {
        return 0;
    }
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(p * static_cast<double>(v.size())))];
}

std::string loadAverage() {
    std::ifstream in("/proc/loadavg");
    std::string a, b, c;
    in >> a >> b >> c;
    return a + " " + b + " " + c;
}

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "mao_bench: %s\n", what.c_str());
    std::fflush(stderr);
    std::_Exit(2);
}

// What a child hands its parent: "name value" lines.
class Results {
  public:
    void put(const std::string& name, double value) {
        char line[256];
        std::snprintf(line, sizeof line, "%s %.4f\n", name.c_str(), value);
        m_text += line;
    }
    const std::string& text() const { return m_text; }

  private:
    std::string m_text;
};

// The four attributes of every fRO of the benchmark.
Attributes fourAttributes(int n) {
    return {{"level", "U32", std::to_string(n % 1000)},
            {"name", "STRING", "probe number " + std::to_string(n)},
            {"count", "U32", std::to_string(n * 7 % 65536)},
            {"label", "STRING", "uplink port " + std::to_string(n % 6)}};
}
const std::vector<std::string> kFourNames = {"level", "name", "count", "label"};

std::string probeLdn(int n) { return "Top=1,Probe=" + std::to_string(n); }
std::string bulkLdn(int n) { return "Top=1,Bulk=" + std::to_string(n); }

// CPU time and context switches of the calling thread and of the whole process: on a
// machine that others load, they tell the time this program ran from the time it waited.
struct CpuMark {
    double threadMs = 0;
    double processMs = 0;
    long voluntary = 0;    // the thread blocked
    long involuntary = 0;  // the thread was preempted
    static CpuMark now() {
        CpuMark m;
        rusage thread{};
        rusage process{};
        getrusage(RUSAGE_THREAD, &thread);
        getrusage(RUSAGE_SELF, &process);
        const auto ms = [](const rusage& u) {
            return (static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e3) +
                   static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e3;
        };
        m.threadMs = ms(thread);
        m.processMs = ms(process);
        m.voluntary = thread.ru_nvcsw;
        m.involuntary = thread.ru_nivcsw;
        return m;
    }
};

// ---------------------------------------------------------------------------------------
// The time points of a node's start, written by whichever thread reaches them.

struct StartTimes {
    std::atomic<bool> mainStarted{false};
    Clock::time_point mainStart;
    OdbcCount odbcAtMainStart;
    CpuMark cpuAtMainStart, cpuAtServiceStarted;
    Clock::time_point initStart, databaseOpen, mocsRegistered, listRead, firstMade, allMade,
        allTold, restored, serviceStarted;
    OdbcCount odbcAtDatabaseOpen, odbcAtRestoreStart, odbcAtListRead, odbcAtRestored, odbcAtServiceStarted;
    std::size_t frosInStore = 0;
    std::size_t listed = 0;
};

StartTimes& startTimes() {
    static StartTimes times;
    return times;
}

// Trace lines of levels 0 and 1 (errors), kept to show when the child ends.
std::mutex g_traceMutex;
std::vector<std::string> g_traceErrors;
std::size_t g_traceLines = 0;

void installTraceSink() {
    traceSetSink([](const std::string& line) {
        StartTimes& times = startTimes();
        if (!times.mainStarted && line.find(kMainStartedText) != std::string::npos) {
            times.mainStart = Clock::now();
            times.odbcAtMainStart = OdbcCount::now();
            times.cpuAtMainStart = CpuMark::now();
            times.mainStarted = true;
        }
        std::lock_guard<std::mutex> lock(g_traceMutex);
        ++g_traceLines;
        if ((line.find(" L0 ") != std::string::npos || line.find(" L1 ") != std::string::npos) &&
            g_traceErrors.size() < 50) {
            g_traceErrors.push_back(line);
        }
    });
}

void showTraceErrors(const char* child) {
    std::lock_guard<std::mutex> lock(g_traceMutex);
    for (const std::string& line : g_traceErrors) {
        std::fprintf(stderr, "[%s] trace: %s\n", child, line.c_str());
    }
}

// ---------------------------------------------------------------------------------------
// The manager of the benchmark's node: the service layer on the classes "Probe" and
// "Bulk", plus a subscriber that answers kPing at once.

class Echo : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override {
        const PROCESS from = sender(signal);
        send(signal, from);  // nulls *signal: the buffer is taken
    }
};

// The restore handler with its steps' times.
class TimedRestore : public RestoreHandlerGenericBase {
  public:
    bool userCallback_RetrieveFros(const std::vector<uint32_t>& froTypes,
                                   std::vector<FroInfo>& froInfos, FroDatabase& db) override {
        StartTimes& times = startTimes();
        times.odbcAtRestoreStart = OdbcCount::now();
        const bool ok = RestoreHandlerGenericBase::userCallback_RetrieveFros(froTypes, froInfos, db);
        times.listRead = Clock::now();
        times.odbcAtListRead = OdbcCount::now();
        times.listed = froInfos.size();
        return ok;
    }
    void userCallback_BeforeRecreate(uint32_t froId, uint32_t froType, const std::string& ldn,
                                     Attributes& attributes) override {
        StartTimes& times = startTimes();
        if (times.firstMade == Clock::time_point{}) {
            times.firstMade = Clock::now();
        }
        RestoreHandlerGenericBase::userCallback_BeforeRecreate(froId, froType, ldn, attributes);
    }
    void userCallback_AfterRecreate(fRO* fro) override {
        StartTimes& times = startTimes();
        if (times.allMade == Clock::time_point{}) {
            times.allMade = Clock::now();
        }
        RestoreHandlerGenericBase::userCallback_AfterRecreate(fro);
        times.allTold = Clock::now();
    }
};

// FroHandler with the time at the end of each of its steps.
class TimedFroHandler : public FroHandler {
  public:
    using FroHandler::FroHandler;
    void openDatabase(const std::string& databaseName,
                      const MocRegistrations& registrations) override {
        FroHandler::openDatabase(databaseName, registrations);
        startTimes().databaseOpen = Clock::now();
        startTimes().odbcAtDatabaseOpen = OdbcCount::now();
    }
    void registerMocs(const MocRegistrations& registrations) override {
        FroHandler::registerMocs(registrations);
        startTimes().mocsRegistered = Clock::now();
    }
    void restore() override {
        FroHandler::restore();
        StartTimes& times = startTimes();
        times.restored = Clock::now();
        times.odbcAtRestored = OdbcCount::now();
        times.frosInStore = froMgr::instance().size();
    }
    void startService(const std::string& serviceName) override {
        FroHandler::startService(serviceName);
        StartTimes& times = startTimes();
        times.serviceStarted = Clock::now();
        times.odbcAtServiceStarted = OdbcCount::now();
        times.cpuAtServiceStarted = CpuMark::now();
    }
};

class BenchManager : public ULSpectrumAnalyzerManager {
  public:
    ~BenchManager() override {
        getSignalDistributorAPI()->unsubscribe(kPing, &echo);
        handler.reset();
        FroDatabase::deleteInstance();
        transMgr::destroyInstance();
        froMgr::destroyInstance();
    }
    bool init() override {
        t_role = 1;
        startTimes().initStart = Clock::now();
        getSignalDistributorAPI()->subscribe(kPing, &echo);
        installFroDatabaseWriter();
        handler = std::make_unique<TimedFroHandler>(&mao, &trani, &restorer);
        // No class attributes: a create's attributes are the fRO's own (froMgr would give
        // class attributes to every fRO as read-only).
        handler->startFroFramework("mbench", mgmt::kDefaultServiceName,
                                   {{"Probe", kProbeType, nullptr, {}, 0},
                                    {"Bulk", kBulkType, nullptr, {}, 0}});
        return true;
    }

  private:
    Echo echo;
    MaoFroGenericBase mao;
    TraniGenericBase trani;
    TimedRestore restorer;
    std::unique_ptr<FroHandler> handler;
};

// Boots a node on the folder with the benchmark's manager; the body runs on this thread
// as the management client's process, then the node stops.
void withNode(const std::string& folder, const char* child,
              const std::function<void(mgmt::ManagementClient&, Clock::time_point)>& body) {
    installTraceSink();
    ulsanode::NodeBootOptions options;
    options.stateDir = folder;
    auto owner = std::make_shared<std::unique_ptr<BenchManager>>();
    options.managerFactory = [owner]() -> ULSpectrumAnalyzerManager* {
        *owner = std::make_unique<BenchManager>();
        return owner->get();
    };
    owner.reset();
    ulsanode::BootedNode node;
    std::string problem;
    if (!ulsanode::startNode(options, node, problem)) {
        fail(std::string(child) + ": the node did not start: " + problem);
    }
    options.managerFactory = nullptr;  // the main process holds the only copy now
    {
        mgmt::ManagementClient client;
        const Clock::time_point connectStart = Clock::now();
        const mgmt::Sent connected = client.connect(kConnectWait);
        if (!connected.ok()) {
            showTraceErrors(child);
            fail(std::string(child) + ": connect: " + connected.errorText);
        }
        body(client, connectStart);
        client.close();
    }
    ulsanode::stopNode();
    showTraceErrors(child);
}

void check(const mgmt::Confirm& c, const std::string& what) {
    if (!c.ok()) {
        showTraceErrors("check");
        fail(what + ": " + c.describe());
    }
}

// ---------------------------------------------------------------------------------------
// Child 1: gets against round trips; then the creates and their commit.

OS_PROCESS(echoProcess) {
    static const SIGSELECT any[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(any);
        if (signal != nullptr) {
            send(&signal, sender(&signal));
        }
    }
}

double roundTrip(PROCESS to) {
    static const SIGSELECT pingOnly[] = {1, kPing};
    const auto t0 = Clock::now();
    union SIGNAL* s = alloc(16, kPing);
    send(&s, to);
    s = receive_w_tmo(kWait, pingOnly);
    const double us = usSince(t0);
    if (s == nullptr) {
        fail("no answer to the round trip");
    }
    free_buf(&s);
    return us;
}

void measureGets(mgmt::ManagementClient& client, const mgmt::FroRef& probe, PROCESS mainProcess,
                 PROCESS echo, Results& out) {
    // Warm-up, then batches of gets, round trips to the main process and to the echo
    // process, in turn.
    for (int i = 0; i < 200; ++i) {
        check(client.get(0, probe, kFourNames, kWait), "get");
        roundTrip(mainProcess);
        roundTrip(echo);
    }
    std::vector<double> gets, pings, echoes, batchRatios;
    for (int b = 0; b < g_options.getBatches; ++b) {
        std::vector<double> batchGets, batchPings;
        for (int i = 0; i < kGetsPerBatch; ++i) {
            const auto t0 = Clock::now();
            const mgmt::Confirm c = client.get(0, probe, kFourNames, kWait);
            batchGets.push_back(usSince(t0));
            if (!c.ok() || c.data.attributes.size() != 4) {
                fail("get: " + c.describe());
            }
        }
        for (int i = 0; i < kGetsPerBatch; ++i) {
            batchPings.push_back(roundTrip(mainProcess));
        }
        for (int i = 0; i < kGetsPerBatch; ++i) {
            echoes.push_back(roundTrip(echo));
        }
        batchRatios.push_back(median(batchGets) / median(batchPings));
        gets.insert(gets.end(), batchGets.begin(), batchGets.end());
        pings.insert(pings.end(), batchPings.begin(), batchPings.end());
    }
    out.put("get_us", median(gets));
    out.put("get_p90_us", percentile(gets, 0.9));
    out.put("ping_us", median(pings));
    out.put("ping_p90_us", percentile(pings, 0.9));
    out.put("echo_us", median(echoes));
    out.put("get_ratio_of_neighbours", median(batchRatios));
    out.put("get_ratio", median(gets) / median(pings));
}

void measureCreates(mgmt::ManagementClient& client, Results& out) {
    // 1,000 creates in one transaction and its commit, then (untimed) their delete.
    for (int round = 0; round < kCreateRounds; ++round) {
        std::vector<mgmt::FroRef> refs;
        const OdbcCount odbc0 = OdbcCount::now();
        const CpuMark cpu0 = CpuMark::now();
        const auto t0 = Clock::now();
        const mgmt::Confirm tr = client.createTransaction(kWait);
        check(tr, "createTransaction");
        for (int i = 1; i <= kCreates; ++i) {
            mgmt::FroRef ref{kBulkType, bulkLdn(i), 0};
            const mgmt::Confirm c = client.create(tr.transactionId, ref, fourAttributes(i), kWait);
            check(c, "create " + ref.ldn);
            ref.externalFroId = c.externalFroId;
            refs.push_back(ref);
        }
        const auto t1 = Clock::now();
        const OdbcCount odbc1 = OdbcCount::now();
        check(client.commit(tr.transactionId, 60000), "commit of the creates");
        const auto t2 = Clock::now();
        const OdbcCount odbc2 = OdbcCount::now();
        const CpuMark cpu2 = CpuMark::now();
        const std::string r = "create_round" + std::to_string(round) + "_";
        out.put(r + "total_ms", msBetween(t0, t2));
        out.put(r + "creates_ms", msBetween(t0, t1));
        out.put(r + "commit_ms", msBetween(t1, t2));
        out.put(r + "creates_odbc_main_ms", (odbc1 - odbc0).ms(1));
        out.put(r + "creates_odbc_other_ms", (odbc1 - odbc0).ms(0));
        out.put(r + "commit_odbc_main_ms", (odbc2 - odbc1).ms(1));
        out.put(r + "commit_odbc_other_ms", (odbc2 - odbc1).ms(0));
        out.put(r + "odbc_calls", static_cast<double>((odbc2 - odbc0).calls[0] +
                                                     (odbc2 - odbc0).calls[1]));
        out.put(r + "process_cpu_ms", cpu2.processMs - cpu0.processMs);
        const mgmt::Confirm back = client.get(0, refs.back(), kFourNames, kWait);
        check(back, "get after the commit");

        const auto d0 = Clock::now();
        const mgmt::Confirm rm = client.createTransaction(kWait);
        check(rm, "createTransaction");
        for (const mgmt::FroRef& ref : refs) {
            check(client.remove(rm.transactionId, ref, kWait), "delete " + ref.ldn);
        }
        check(client.commit(rm.transactionId, 60000), "commit of the deletes");
        out.put(r + "delete_total_ms", msBetween(d0, Clock::now()));
    }
}

void getsAndCreates(const std::string& folder, Results& out) {
    withNode(folder, "service", [&](mgmt::ManagementClient& client, Clock::time_point) {
        if (!client.initiate("R1A", kWait).ok()) {
            fail("initiate refused");
        }
        char name[64] = {};
        ose_process_name(client.service(), name, sizeof name);
        if (std::string(name) != kMainProcessName) {
            fail(std::string("the service is published by ") + name);
        }
        const PROCESS mainProcess = client.service();
        // A bare echo process beside the main process, for the record.
        const PROCESS echo = create_process(OS_PRI_PROC, "mao_bench_echo", echoProcess, 45000,
                                            28, 0, 0, nullptr, 0, 0);
        start(echo);

        // The fRO of the gets.
        mgmt::FroRef probe{kProbeType, probeLdn(1), 0};
        const mgmt::Confirm t = client.createTransaction(kWait);
        check(t, "createTransaction");
        const mgmt::Confirm created = client.create(t.transactionId, probe, fourAttributes(1), kWait);
        check(created, "create");
        check(client.commit(t.transactionId, kWait), "commit");
        probe.externalFroId = created.externalFroId;
        const mgmt::Confirm first = client.get(0, probe, kFourNames, kWait);
        check(first, "get");
        for (const Attribute& a : fourAttributes(1)) {
            if (first.value(a.name) != a.value) {
                fail("get: " + a.name + " is \"" + first.value(a.name) + "\", not \"" + a.value +
                     "\"");
            }
        }

        if (g_options.gets) {
            measureGets(client, probe, mainProcess, echo, out);
        }
        if (g_options.creates) {
            measureCreates(client, out);
        }
        kill_proc(echo);
    });
}

// ---------------------------------------------------------------------------------------
// Child 2: the 4,095 fROs to restore, stored through the node.

void storeFros(const std::string& folder, Results& out) {
    withNode(folder, "store", [&](mgmt::ManagementClient& client, Clock::time_point) {
        const auto t0 = Clock::now();
        const mgmt::Confirm t = client.createTransaction(kWait);
        check(t, "createTransaction");
        for (int i = 1; i <= g_options.stored; ++i) {
            check(client.create(t.transactionId, {kProbeType, probeLdn(i), 0}, fourAttributes(i),
                                kWait),
                  "create " + probeLdn(i));
        }
        check(client.commit(t.transactionId, 120000), "commit of the stored fROs");
        out.put("store_ms", msBetween(t0, Clock::now()));
    });
}

// ---------------------------------------------------------------------------------------
// Child 3..: a start on the stored fROs.

void restoreOnce(const std::string& folder, Results& out) {
    Clock::time_point published;
    Clock::time_point connectStarted;
    withNode(folder, "restore", [&](mgmt::ManagementClient& client, Clock::time_point start) {
        published = Clock::now();
        connectStarted = start;
        // The last stored fRO is back with its values.
        mgmt::FroRef last{kProbeType, probeLdn(g_options.stored), 0};
        const mgmt::Confirm got = client.get(0, last, kFourNames, kWait);
        check(got, "get after the restore");
        if (got.value("name") != "probe number " + std::to_string(g_options.stored)) {
            fail("the restored fRO has name \"" + got.value("name") + "\"");
        }
    });
    const StartTimes& s = startTimes();
    if (!s.mainStarted) {
        fail("the main process's start was not seen in the trace");
    }
    if (s.frosInStore != static_cast<std::size_t>(g_options.stored) ||
        s.listed != static_cast<std::size_t>(g_options.stored)) {
        fail("restored " + std::to_string(s.frosInStore) + " fROs, listed " +
             std::to_string(s.listed));
    }
    // The client subscribed before the publication, so its receipt is the publication's.
    if (connectStarted > s.serviceStarted) {
        fail("the client subscribed after the service was published");
    }
    const OdbcCount window = s.odbcAtServiceStarted - s.odbcAtMainStart;
    out.put("restore_ms", msBetween(s.mainStart, published));
    out.put("restore_db_main_ms", window.ms(1));
    out.put("restore_db_other_ms", window.ms(0));
    out.put("restore_db_main_calls", static_cast<double>(window.calls[1]));
    out.put("main_to_init_ms", msBetween(s.mainStart, s.initStart));
    out.put("open_database_ms", msBetween(s.initStart, s.databaseOpen));
    const CpuMark& c0 = s.cpuAtMainStart;
    const CpuMark& c1 = s.cpuAtServiceStarted;
    out.put("main_cpu_ms", c1.threadMs - c0.threadMs);
    out.put("process_cpu_ms", c1.processMs - c0.processMs);
    out.put("main_blocked_times", static_cast<double>(c1.voluntary - c0.voluntary));
    out.put("main_preempted_times", static_cast<double>(c1.involuntary - c0.involuntary));
    out.put("open_database_db_ms", (s.odbcAtDatabaseOpen - s.odbcAtMainStart).ms(1));
    out.put("register_mocs_ms", msBetween(s.databaseOpen, s.mocsRegistered));
    out.put("restore_list_ms", msBetween(s.mocsRegistered, s.listRead));
    out.put("restore_list_db_ms", (s.odbcAtListRead - s.odbcAtRestoreStart).ms(1));
    out.put("restore_list_calls",
            static_cast<double>((s.odbcAtListRead - s.odbcAtRestoreStart).calls[1]));
    out.put("restore_make_ms", msBetween(s.listRead, s.allMade));
    out.put("restore_make_db_ms", (s.odbcAtRestored - s.odbcAtListRead).ms(1));
    out.put("restore_make_calls",
            static_cast<double>((s.odbcAtRestored - s.odbcAtListRead).calls[1]));
    out.put("restore_tell_ms", msBetween(s.allMade, s.allTold));
    out.put("restore_close_ms", msBetween(s.allTold, s.restored));
    out.put("start_service_ms", msBetween(s.restored, s.serviceStarted));
    out.put("publication_seen_ms", msBetween(s.serviceStarted, published));
    std::lock_guard<std::mutex> lock(g_traceMutex);
    out.put("trace_lines", static_cast<double>(g_traceLines));
}

// ---------------------------------------------------------------------------------------
// The parent: runs each child and reads its results.

std::map<std::string, double> runChild(const char* what,
                                       const std::function<void(Results&)>& body) {
    int fds[2];
    if (pipe(fds) != 0) {
        fail("pipe");
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) {
        fail("fork");
    }
    if (pid == 0) {
        close(fds[0]);
        alarm(300);  // a node that hangs ends the child
        Results results;
        body(results);
        const std::string& text = results.text();
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t n = write(fds[1], text.data() + done, text.size() - done);
            if (n <= 0) {
                std::_Exit(3);
            }
            done += static_cast<std::size_t>(n);
        }
        close(fds[1]);
        std::fflush(stderr);
        std::exit(0);
    }
    close(fds[1]);
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(n));
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "mao_bench: the %s child failed (status %d)\n", what, status);
        std::exit(1);
    }
    std::map<std::string, double> values;
    std::istringstream lines(text);
    std::string name;
    double value = 0;
    while (lines >> name >> value) {
        values[name] = value;
    }
    return values;
}

}  // namespace

int main(int argc, char** argv) {
    bool anyPart = false;
    Options chosen;
    chosen.gets = chosen.creates = chosen.restores = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "get" || arg == "create" || arg == "restore") {
            anyPart = true;
            chosen.gets = chosen.gets || arg == "get";
            chosen.creates = chosen.creates || arg == "create";
            chosen.restores = chosen.restores || arg == "restore";
        } else if (arg == "--batches" && i + 1 < argc) {
            chosen.getBatches = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--stored" && i + 1 < argc) {
            chosen.stored = std::min(4095, std::max(1, std::atoi(argv[++i])));
        } else if (arg == "--restores" && i + 1 < argc) {
            chosen.restoreRuns = std::max(1, std::atoi(argv[++i]));
        } else {
            std::fprintf(stderr, "usage: mao_bench [get] [create] [restore] [--batches N] [--stored N] "
                                 "[--restores N]\n");
            return 2;
        }
    }
    if (!anyPart) {
        chosen.gets = chosen.creates = chosen.restores = true;
    }
    g_options = chosen;

    const std::filesystem::path base =
        std::filesystem::temp_directory_path() / ("ulsa-mao-bench-" + std::to_string(getpid()));
    const std::string serviceFolder = (base / "service").string();
    const std::string storeFolder = (base / "store").string();
    std::filesystem::create_directories(serviceFolder);
    std::filesystem::create_directories(storeFolder);
    std::printf("load_average_at_start %s\n", loadAverage().c_str());

    std::map<std::string, double> service;
    if (g_options.gets || g_options.creates) {
        service = runChild("service", [&](Results& r) { getsAndCreates(serviceFolder, r); });
        for (const auto& [name, value] : service) {
            std::printf("raw %s %.3f\n", name.c_str(), value);
        }
    }
    std::vector<std::map<std::string, double>> restores;
    if (g_options.restores) {
        const auto stored = runChild("store", [&](Results& r) { storeFros(storeFolder, r); });
        std::printf("raw store_%d_ms %.2f\n", g_options.stored, stored.at("store_ms"));
        for (int i = 0; i < g_options.restoreRuns; ++i) {
            restores.push_back(
                runChild("restore", [&](Results& r) { restoreOnce(storeFolder, r); }));
        }
        // Each step of the start, per run and its median.
        for (const auto& [key, unused] : restores.front()) {
            std::vector<double> values;
            std::printf("raw restore %-24s", key.c_str());
            for (const auto& r : restores) {
                std::printf(" %9.2f", r.at(key));
                values.push_back(r.at(key));
            }
            std::printf("   median %9.2f\n", median(values));
        }
    }
    std::printf("load_average_at_end %s\n", loadAverage().c_str());
    std::error_code ignored;
    std::filesystem::remove_all(base, ignored);

    if (g_options.gets) {
        std::printf("reference kernel_rt_main_process_us %.3f\n", service.at("ping_us"));
        std::printf("reference kernel_rt_echo_process_us %.3f\n", service.at("echo_us"));
        std::printf("reference mao_get_ratio_of_neighbour_batches %.3f\n",
                    service.at("get_ratio_of_neighbours"));
        std::printf("figure mao_get_us %.3f\n", service.at("get_us"));
        std::printf("figure mao_get_vs_kernel_rt_ratio %.3f\n", service.at("get_ratio"));
    }
    if (g_options.creates) {
        std::vector<double> totals;
        for (int round = 0; round < kCreateRounds; ++round) {
            totals.push_back(service.at("create_round" + std::to_string(round) + "_total_ms"));
        }
        std::printf("figure mao_create_commit_1000_ms %.2f\n", median(totals));
    }
    if (g_options.restores) {
        // The restore figure is the run of median total; its database share is that run's.
        std::vector<std::size_t> order(restores.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            order[i] = i;
        }
        std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
            return restores[a].at("restore_ms") < restores[b].at("restore_ms");
        });
        const auto& mid = restores[order[order.size() / 2]];
        // Only the full case is the goal's figure.
        const char* kind = g_options.stored == 4095 ? "figure" : "raw";
        std::printf("%s restore_%d_ms %.2f\n", kind, g_options.stored, mid.at("restore_ms"));
        std::printf("%s restore_%d_db_ms %.2f\n", kind, g_options.stored,
                    mid.at("restore_db_main_ms"));
    }
    return 0;
}
