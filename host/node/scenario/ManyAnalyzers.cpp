#include "ManyAnalyzers.h"

#include "FtpTestServer.h"
#include "ManagementClient.h"
#include "NameServerSignals.h"
#include "NodeBoot.h"
#include "ULSpectrumAnalyzerImpl.h"
#include "attrReadService.h"
#include "fileTransferService.h"
#include "heapCount.h"
#include "hostDisk.h"
#include "oseHost.h"
#include "radioUnit.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

namespace ulsascenario {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr OSTIME kWait = 20000;
const char* const kUser = "ulsa";
const char* const kPassword = "secret";
const char* const kUploadDirectory = "samples";
const char* const kPortLetters = "ABCDEFGH";
constexpr int kPortsPerUnit = 8;
constexpr unsigned kResolutionKhz = 100;
constexpr unsigned kSampleHeaderBytes = 24;

bool loadModuleThread() { return ose_thread_mark() == ulsanode::kLoadModuleMark; }

std::string unitLdn(int unit) {
    return "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-" + std::to_string(unit);
}

struct Analyzer {
    mgmt::FroRef ref;
    int unit = 0;     // from 1
    int port = 0;     // from 0, "A"
    std::string status;
    std::string info = "0";
    bool fileDone = false;   // a status 2 came: its first file is on the server
    bool stopped = false;    // the stop was confirmed
    bool ended = false;      // its run is over
};

class Drive {
  public:
    Drive(const ManyAnalyzersConfig& config, const std::string& ftpAddress,
          ManyAnalyzersResult& result)
        : m_config(config), m_ftpAddress(ftpAddress), m_result(result) {}

    void run() {
        const mgmt::Sent connected = m_client.connect(kWait);
        const mgmt::InitiateConfirm initiated =
            connected.ok() ? m_client.initiate("R1A", kWait) : mgmt::InitiateConfirm{};
        if (!initiated.ok()) {
            m_result.problem = "the node's management service did not answer: " +
                               connected.errorText + initiated.errorText;
            return;
        }
        heapPoint("booted");
        if (!create())
            return;
        heapPoint("created");
        m_client.onIndication([this](const mgmt::Indication& indication) { noted(indication); });
        m_client.subscribe(ULSpectrumAnalyzerImpl::kFroType);
        const auto deadline = Clock::now() + std::chrono::seconds(m_config.limitS);
        const auto start = Clock::now();
        for (int round = 1; round <= m_config.rounds; ++round) {
            const std::string suffix = m_config.rounds == 1 ? "" : " " + std::to_string(round);
            if (!runRound(deadline, suffix))
                break;
        }
        m_result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        m_result.nameServerSubscriptions = nameServerSubscriptions();
        remove();
        heapPoint("deleted");
        m_client.close();
    }

  private:
    // Starts every analyzer, stops them all once each has a file up, and waits for every
    // run to end; false when the time ran out.
    bool runRound(Clock::time_point deadline, const std::string& suffix) {
        for (Analyzer& analyzer : m_analyzers) {
            analyzer.fileDone = analyzer.stopped = analyzer.ended = false;
            startRun(analyzer);
            stopThoseDone();
        }
        heapPoint("started" + suffix);
        const heapcount::Figures running = heapcount::figures();
        m_result.liveBySizeWhileRunning.assign(running.liveBySize.begin(),
                                               running.liveBySize.end());
        bool allFiles = false;
        while (!allEnded() && Clock::now() < deadline) {
            m_client.dispatchIndications(20);
            stopThoseDone();
            if (!allFiles && allDone([](const Analyzer& a) { return a.fileDone || a.ended; })) {
                allFiles = true;
                heapPoint("uploaded" + suffix);
            }
        }
        settle();  // the last run's end may still be under way when its status is told
        heapPoint("ended" + suffix);
        if (allEnded())
            return true;
        m_result.problem = "not every run ended within " + std::to_string(m_config.limitS) + " s";
        return false;
    }

    bool create() {
        const mgmt::Confirm transaction = m_client.createTransaction(kWait);
        if (!transaction.ok()) {
            m_result.problem = "no transaction: " + transaction.describe();
            return false;
        }
        for (int i = 0; i < m_config.analyzers; ++i) {
            Analyzer analyzer;
            analyzer.ref = {ULSpectrumAnalyzerImpl::kFroType,
                            "ManagedElement=1,UlSpectrumAnalyzer=" + std::to_string(i + 1), 0};
            analyzer.unit = i / kPortsPerUnit + 1;
            analyzer.port = i % kPortsPerUnit;
            const mgmt::Confirm created =
                m_client.create(transaction.transactionId, analyzer.ref, {}, kWait);
            if (!created.ok()) {
                m_result.problem = "create of " + analyzer.ref.ldn + ": " + created.describe();
                m_client.rollback(transaction.transactionId, kWait);
                return false;
            }
            analyzer.ref.externalFroId = created.externalFroId;
            m_byLdn[analyzer.ref.ldn] = m_analyzers.size();
            m_analyzers.push_back(analyzer);
        }
        const mgmt::Confirm committed = m_client.commit(transaction.transactionId, kWait);
        if (!committed.ok()) {
            m_result.problem = "commit of the creates: " + committed.describe();
            return false;
        }
        settle();
        return true;
    }

    // A round trip to the load module's main process: what it was told before (a commit,
    // which the transaction server tells it before it confirms it; the end of a run,
    // whose status goes up first) has been handled when the answer comes.
    void settle() {
        m_client.get(0, m_analyzers.front().ref, {"ulSpectrumSamplingStatus"}, kWait);
    }

    std::string portLdn(const Analyzer& analyzer) const {
        return unitLdn(analyzer.unit) + ",DeviceGroup=ru,RfPort=" + kPortLetters[analyzer.port];
    }

    void startRun(Analyzer& analyzer) {
        const Attributes parameters = {
            {"targetRfPort", "STRING", portLdn(analyzer)},
            {"ipAddress", "STRING", m_ftpAddress},
            {"uploadDirectory", "STRING", kUploadDirectory},
            {"username", "STRING", kUser},
            {"password", "STRING", kPassword},
            {"samplingType", "S32", "1"},
            {"centerFrequency", "U32", "1950000"},
            {"displayedBandwidth", "U32", std::to_string(m_config.bins * kResolutionKhz)},
            {"resolutionBandwidth", "U32", std::to_string(kResolutionKhz)},
            {"samplingTimeout", "U32", std::to_string(m_config.limitS)},
            {"samplingInterval", "U32", std::to_string(m_config.samplingIntervalS)},
            {"triggerTimeOfDay", "STRING", "ff:ff:ff.fff"},
            {"powerLevel", "S32", "-90"},
        };
        const mgmt::Confirm answer =
            m_client.actionWithConfirm(0, analyzer.ref, "startUlsaSampling", parameters, kWait);
        if (!answer.ok()) {
            m_result.failures.push_back(analyzer.ref.ldn + ": start " + answer.describe());
            analyzer.ended = true;
        }
    }

    // Once every analyzer has a file up, all are stopped. Not one before: a run's end
    // removes the sampling folder, with every file in it, when no upload waits, and a run
    // that ends while others still fetch their files would take those files with it.
    void stopThoseDone() {
        m_client.dispatchIndications(0);
        if (!allDone([](const Analyzer& a) { return a.fileDone || a.ended; }))
            return;
        for (Analyzer& analyzer : m_analyzers) {
            if (analyzer.stopped || analyzer.ended)
                continue;
            const mgmt::Confirm answer = m_client.actionWithConfirm(
                0, analyzer.ref, "stopUlsaSampling", {{"targetRfPort", "STRING", portLdn(analyzer)}},
                kWait);
            analyzer.stopped = true;
            if (!answer.ok()) {
                m_result.failures.push_back(analyzer.ref.ldn + ": stop " + answer.describe());
                analyzer.ended = true;
            }
        }
    }

    // A run of type 1 shows status 2 after each file and goes back to 1 at once; after
    // the stop, 2 (or 3) is its end: at once without a measurement, after the upload
    // of the one under way otherwise.
    void noted(const mgmt::Indication& indication) {
        const auto found = m_byLdn.find(indication.data.ldn);
        if (found == m_byLdn.end())
            return;
        Analyzer& analyzer = m_analyzers[found->second];
        if (const std::string info = indication.value("info"); !info.empty())
            analyzer.info = info;
        const std::string status = indication.value("ulSpectrumSamplingStatus");
        if (status.empty() || analyzer.ended)
            return;
        analyzer.status = status;
        if (status == "3") {
            m_result.failures.push_back(analyzer.ref.ldn + ": status 3, info " + analyzer.info);
            analyzer.ended = true;
        } else if (status == "2") {
            analyzer.fileDone = true;
            analyzer.ended = analyzer.stopped;
        }
    }

    template <class Predicate>
    bool allDone(Predicate done) const {
        for (const Analyzer& analyzer : m_analyzers) {
            if (!done(analyzer))
                return false;
        }
        return true;
    }

    bool allEnded() const {
        return allDone([](const Analyzer& a) { return a.ended; });
    }

    unsigned nameServerSubscriptions() {
        PROCESS nameServer = 0;
        if (!hunt("ose_ns", 0, &nameServer, nullptr))
            return 0;
        union SIGNAL* request = alloc(sizeof(SIGSELECT), hostns::NS_STATUS_REQ);
        send(&request, nameServer);
        static const SIGSELECT kStatus[] = {1, hostns::NS_STATUS_CFM};
        union SIGNAL* answer = receive_w_tmo(kWait, kStatus);
        if (answer == nullptr)
            return 0;
        uint32_t subscriptions = 0;
        std::memcpy(&subscriptions, reinterpret_cast<const unsigned char*>(answer) + 8,
                    sizeof subscriptions);
        free_buf(&answer);
        return subscriptions;
    }

    void remove() {
        const mgmt::Confirm transaction = m_client.createTransaction(kWait);
        if (!transaction.ok())
            return;
        for (const Analyzer& analyzer : m_analyzers)
            m_client.remove(transaction.transactionId, analyzer.ref, kWait);
        m_client.commit(transaction.transactionId, kWait);
        settle();
    }

    void heapPoint(const std::string& when) {
        const heapcount::Figures figures = heapcount::figures();
        m_result.heap.push_back({when, figures.liveBytes, figures.liveBlocks});
    }

    const ManyAnalyzersConfig& m_config;
    const std::string m_ftpAddress;
    ManyAnalyzersResult& m_result;
    mgmt::ManagementClient m_client;
    std::vector<Analyzer> m_analyzers;
    std::map<std::string, std::size_t> m_byLdn;
};

// Analyzers whose file is on the server whole: the name tells the unit and the port.
int uploadedAnalyzers(const ManyAnalyzersConfig& config, const std::string& ftpRoot) {
    const uintmax_t size = kSampleHeaderBytes + 2u * config.bins;
    std::set<std::string> seen;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(fs::path(ftpRoot) / kUploadDirectory, error)) {
        if (entry.file_size(error) != size)
            continue;
        const std::string name = entry.path().filename().string();
        for (int i = 0; i < config.analyzers; ++i) {
            const std::string mark = ",RU-" + std::to_string(i / kPortsPerUnit + 1) + "," +
                                     kPortLetters[i % kPortsPerUnit] + ",";
            if (name.find(mark) != std::string::npos)
                seen.insert(mark);
        }
    }
    return static_cast<int>(seen.size());
}

class StateFolder {
  public:
    StateFolder() {
        std::string pattern = (fs::temp_directory_path() / "ulsa-many-XXXXXX").string();
        const char* made = mkdtemp(pattern.data());
        m_path = made != nullptr ? made : "";
    }
    ~StateFolder() {
        std::error_code ignored;
        if (!m_path.empty())
            fs::remove_all(m_path, ignored);
    }
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace

ManyAnalyzersResult runManyAnalyzers(const ManyAnalyzersConfig& config) {
    ManyAnalyzersResult result;
    heapcount::countThreads(&loadModuleThread);
    ftptest::FtpTestServer ftp;
    std::string why;
    if (!ftp.start(kUser, kPassword, why)) {
        result.problem = "no FTP server: " + why;
        return result;
    }
    StateFolder state;
    if (state.path().empty() || !hostdisk::setDiskRoot(state.path(), why)) {
        result.problem = "no state folder: " + why;
        return result;
    }
    ulsanode::NodeBootOptions options;
    options.stateDir = state.path();
    ulsanode::BootedNode node;
    if (!ulsanode::startNode(options, node, why)) {
        result.problem = "the node did not start: " + why;
        hostdisk::clearDiskRoot();
        return result;
    }
    hostftp::startFileTransferService();
    hostima::startAttrReadService();
    std::vector<hostradio::RadioUnit> units;
    for (int unit = 1; (unit - 1) * kPortsPerUnit < config.analyzers; ++unit) {
        hostradio::RadioUnitConfig unitConfig =
            hostradio::defaultRadioUnitConfig(unitLdn(unit), "RU-" + std::to_string(unit) + "-link");
        unitConfig.measurementTimeMs = config.measurementTimeMs;
        units.push_back(hostradio::startRadioUnit(unitConfig));
    }
    ose_adopt_thread("manyAnalyzers");
    Drive(config, ftp.address(), result).run();
    ose_leave_thread();
    for (const hostradio::RadioUnit& unit : units)
        hostradio::stopRadioUnit(unit);
    ulsanode::stopNode();
    hostdisk::clearDiskRoot();
    result.heapPeakBytes = heapcount::figures().peakBytes;
    result.uploaded = uploadedAnalyzers(config, ftp.root());
    ftp.stop();
    return result;
}

}  // namespace ulsascenario
