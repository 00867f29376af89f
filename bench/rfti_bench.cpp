// rfti_bench: what the sampling file's transfer costs, on the real clock.
//
//   rfti_block_ratio: the RFTI client fetches a 16 MiB result from the radio unit
//       simulator's RftServer in the largest block a result-data signal carries
//       (65535 - 16 bytes); its time per block against the protocol's own limit
//       measured in the same run, interleaved: one kernel round trip of a small signal
//       between the same two threads as the transfer (a result request on no connection,
//       which the unit's process rejects at once) plus one fopen("a+")/fwrite/fclose of
//       a block. Ratio of medians. The same limit with the round trip made to a partner
//       thread of the bench's own, which the machine may place elsewhere than the unit's
//       process, is printed as rfti_ratio_to_partner. What a block's bytes cost by
//       themselves is measured with that partner too: a round trip in which it copies the
//       next block of a 16 MiB file into a result-sized answer, whose block is the one
//       written, against the same round trip empty (rfti_payload_floor_ratio: a transfer
//       that copies each block into a signal does no better), and the transfer against
//       it (rfti_ratio_to_payload_floor: what the clients, the unit's request handling
//       and the supervision add). Both are meaningful where the two pairs of threads
//       share their placement, as on one vCPU. The same floor without the kernel: two
//       plain threads handing a pointer over under a mutex and a condition variable, the
//       one copying the next block of a 16 MiB buffer, the other appending it, against
//       the same hand-over empty (rfti_bare_copy_floor_ratio). The time per block runs
//       from getResult() to the arrival of the last block, divided by the blocks before
//       it: each of those was received, written and acknowledged, and the server
//       answered each acknowledgement with the next block (the request's answer, block
//       1, is one round trip more). What the last block starts is no cost of a block and is
//       timed apart: its write, the checksum pass that reads the whole file back once,
//       and the start of the upload (rfti_last_block_handling_ms; the ratio with it
//       counted in is rfti_ratio_to_upload_start).
//   sampling_run_type0_ms: a whole type 0 run of the analyzer object (both real
//       clients, the simulator, the real services, an FTP server on loopback), with a
//       measurement time of 0 and a 1 MiB result, from the action to the file on the
//       FTP server (status 2); split into the measurement (until the node's sampling
//       file appears), the transfer (until it holds the whole result) and the upload.
#include "FroCallbackIf.h"
#include "FtpTestServer.h"
#include "ImaFacade.h"
#include "MainLoopPump.h"
#include "MapTimer.h"
#include "RftiClientHandlerImpl.h"
#include "RmciClientHandlerImpl.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimerApi.h"
#include "ULSAtmo.h"
#include "ULSpectrumAnalyzerImpl.h"
#include "ULSpectrumAnalyzerManagerImpl.h"
#include "attrReadService.h"
#include "fileTransferService.h"
#include "froMgr.h"
#include "hostDisk.h"
#include "nameServerHost.h"
#include "ose.h"
#include "oseHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioSignalReader.h"
#include "radioUnit.h"
#include "sampleFile.h"
#include "traceGroups.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace hostradio;
namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

const std::string kUnit = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kLink = "RU-1-link";
const std::string kAnalyzerLdn = "ManagedElement=1,UlSpectrumAnalyzer=1";
const std::string kUser = "ulsa";
const std::string kPassword = "secret";

constexpr uint32_t kLargestBlock = 65535 - RftiGetResultData::dataOffset;
constexpr uint32_t kBigFile = 16u << 20;
constexpr uint32_t kRunFile = 1u << 20;
constexpr int kTransfers = 7;
constexpr int kRuns = 7;
constexpr SIGSELECT kPing = 0x7E5A1;
constexpr SIGSELECT kStop = 0x7E5A2;
constexpr SIGSELECT kBlockPlease = 0x7E5A3;
constexpr SIGSELECT kBlock = 0x7E5A4;
const SIGSELECT kAny[] = {0};
const SIGSELECT kPingSig[] = {1, kPing};
const SIGSELECT kBlockSig[] = {1, kBlock};
const SIGSELECT kPartnerSig[] = {3, kPing, kStop, kBlockPlease};

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

double median(std::vector<double> v) {
    if (v.empty()) {
        return 0;
    }
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

[[noreturn]] void fail(const std::string& why) {
    std::fprintf(stderr, "rfti_bench: %s\n", why.c_str());
    std::exit(1);
}

// Hands the main process's signals on as they come, in real time, until done().
void pumpUntil(const std::function<bool()>& done, std::chrono::seconds limit, const char* what) {
    const auto deadline = Clock::now() + limit;
    while (!done()) {
        if (Clock::now() > deadline) {
            fail(std::string("timed out waiting for ") + what);
        }
        union SIGNAL* signal = receive_w_tmo(2, kAny);
        if (signal != nullptr) {
            mainloop::deliver(signal, nullptr);
        }
    }
}

// A unit whose port A sweeps bins enough for a file of fileSize bytes at 1 kHz each.
RadioUnitConfig unitConfig(uint32_t blockSize) {
    RadioUnitConfig config = defaultRadioUnitConfig(kUnit, kLink);
    config.blockSize = blockSize;
    config.measurementTimeMs = 0;
    FrequencyRange wide;
    wide.minFrequency = 0;
    wide.maxFrequency = 40000000;
    wide.flatGainBW = 40000000;
    wide.samplingRate = 40000000;
    wide.maxNumSamplings = 16u << 20;
    config.ports[0].ranges.push_back(wide);
    return config;
}

// Bins (at 1 kHz each) for a sample file of exactly size bytes.
uint32_t binsFor(uint32_t size) {
    return (size - kSampleFileHeaderLength) / 2;
}

// Starts the services of a node on this thread, which is the main process.
void startServices() {
    traceGroups::registerApplicationTraceGroups();
    hostns::startNameServer();
    hostftp::startFileTransferService();
    hostima::startAttrReadService();
}

void stopServices() {
    ImaFacade::destroyInstance();
    plab::nameserver::v1::destroyNameServer();
    destroyTimerApi();
    ULSAtmo::destroyInstance();
    destroySignalDistributorAPI();
    SignalNumber2Name::destroyInstance();
}

// ---- The reference: a bare kernel round trip and an append of a block ------------

std::atomic<PROCESS> g_partner{0};

// Answers a ping with itself, and a request for a block with a result-sized signal that
// holds the next block of a 16 MiB file: what the radio unit does for a block, and no more.
void partner() {
    g_partner = ose_adopt_thread("rfti_bench_partner");
    const std::vector<uint8_t> file(kBigFile, 0x5A);
    std::size_t offset = 0;
    for (;;) {
        union SIGNAL* s = receive(kPartnerSig);
        SIGSELECT number = 0;
        std::memcpy(&number, s, sizeof number);
        if (number == kStop) {
            free_buf(&s);
            break;
        }
        const PROCESS from = sender(&s);
        if (number == kBlockPlease) {
            free_buf(&s);
            if (offset + kLargestBlock > file.size()) {
                offset = 0;
            }
            s = alloc(RftiGetResultData::dataOffset + kLargestBlock, kBlock);
            std::memcpy(reinterpret_cast<uint8_t*>(s) + RftiGetResultData::dataOffset,
                        file.data() + offset, kLargestBlock);
            offset += kLargestBlock;
        }
        send(&s, from);
    }
    ose_leave_thread();
}

// Milliseconds per block of blocks round trips, each with an append of a block to path:
// the block that the round trip brought, or else the bench's own.
template <class RoundTrip>
double referenceBatch(const std::string& path, const std::vector<char>& block, int blocks,
                      RoundTrip roundTrip) {
    std::remove(path.c_str());
    const auto t0 = Clock::now();
    for (int i = 0; i < blocks; ++i) {
        union SIGNAL* brought = roundTrip();
        const void* bytes =
            brought != nullptr ? reinterpret_cast<uint8_t*>(brought) + RftiGetResultData::dataOffset
                               : static_cast<const void*>(block.data());
        FILE* f = std::fopen(path.c_str(), "a+");
        if (f == nullptr || std::fwrite(bytes, 1, block.size(), f) != block.size()) {
            fail("reference append failed");
        }
        std::fclose(f);
        if (brought != nullptr) {
            free_buf(&brought);
        }
    }
    const double perBlock = ms(Clock::now() - t0) / blocks;
    std::remove(path.c_str());
    return perBlock;
}

// A round trip to the partner thread.
union SIGNAL* partnerRoundTrip() {
    union SIGNAL* s = alloc(64, kPing);
    send(&s, g_partner.load());
    s = receive(kPingSig);
    free_buf(&s);
    return nullptr;
}

// A round trip to the partner thread that brings a block back.
union SIGNAL* partnerBlock() {
    union SIGNAL* s = alloc(64, kBlockPlease);
    send(&s, g_partner.load());
    return receive(kBlockSig);
}

// A round trip to the radio unit's own process, the one that sends the blocks: a result
// request on a connection that does not exist, which it rejects at once. The transfer's
// two threads and the reference's are then the same two, wherever the machine runs them.
union SIGNAL* serverRoundTrip(PROCESS rftServer) {
    static const SIGSELECT rejected[] = {1, RFTI_GET_RESULT_REJ};
    union SIGNAL* s = alloc(RftiGetResultReq::minSize, RFTI_GET_RESULT_REQ);
    std::memset(reinterpret_cast<uint8_t*>(s) + 4, 0, RftiGetResultReq::minSize - 4);
    reinterpret_cast<RadioSignalHead*>(s)->connectionRef = 0xFFFFFFFFu;
    send(&s, rftServer);
    s = receive_w_tmo(10000, rejected);
    if (s == nullptr) {
        fail("the radio unit did not reject a request on no connection");
    }
    free_buf(&s);
    return nullptr;
}

// ---- The same floor without the kernel ----------------------------------------

// A plain thread that answers a request under a mutex and a condition variable, with
// nothing or with the next block of a 16 MiB buffer copied into one of a few buffers.
class BareCopier {
  public:
    BareCopier() : m_file(kBigFile, 0x5A), m_thread([this] { serve(); }) {
        for (auto& buffer : m_buffers) {
            buffer.resize(RftiGetResultData::dataOffset + kLargestBlock);
        }
    }
    ~BareCopier() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }
    BareCopier(const BareCopier&) = delete;
    BareCopier& operator=(const BareCopier&) = delete;

    // One hand-over: the block copied, or null when copy is false.
    const uint8_t* ask(bool copy) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_copy = copy;
        ++m_asked;
        m_wake.notify_all();
        m_wake.wait(lock, [this] { return m_answered == m_asked; });
        return m_answer;
    }

  private:
    void serve() {
        std::size_t offset = 0;
        std::size_t next = 0;
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return m_stop || m_answered != m_asked; });
            if (m_stop) {
                return;
            }
            m_answer = nullptr;
            if (m_copy) {
                if (offset + kLargestBlock > m_file.size()) {
                    offset = 0;
                }
                uint8_t* to = m_buffers[next++ % m_buffers.size()].data();
                std::memcpy(to + RftiGetResultData::dataOffset, m_file.data() + offset,
                            kLargestBlock);
                offset += kLargestBlock;
                m_answer = to;
            }
            m_answered = m_asked;
            m_wake.notify_all();
        }
    }

    std::vector<uint8_t> m_file;
    std::array<std::vector<uint8_t>, 8> m_buffers;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    uint64_t m_asked = 0;
    uint64_t m_answered = 0;
    bool m_copy = false;
    bool m_stop = false;
    const uint8_t* m_answer = nullptr;
    std::thread m_thread;
};

// The same as referenceBatch, with the bare copier's hand-over for the round trip.
double bareBatch(const std::string& path, const std::vector<char>& block, int blocks,
                 BareCopier& copier, bool copy) {
    std::remove(path.c_str());
    const auto t0 = Clock::now();
    for (int i = 0; i < blocks; ++i) {
        const uint8_t* brought = copier.ask(copy);
        const void* bytes = brought != nullptr ? brought + RftiGetResultData::dataOffset
                                               : static_cast<const void*>(block.data());
        FILE* f = std::fopen(path.c_str(), "a+");
        if (f == nullptr || std::fwrite(bytes, 1, block.size(), f) != block.size()) {
            fail("reference append failed");
        }
        std::fclose(f);
    }
    const double perBlock = ms(Clock::now() - t0) / blocks;
    std::remove(path.c_str());
    return perBlock;
}

// ---- The RFTI client alone --------------------------------------------------------

class Owner : public RmciRftiClientHandlerOwner {
  public:
    void actionFailed(const std::string& text, uint32_t code) override {
        fail("RFTI client failed: " + text + " " + std::to_string(code));
    }
    void actionSuccess(union SIGNAL* signal) override {
        if (signal == nullptr) {
            ++uploads;
        }
    }
    uint32_t currentAction() override { return 2; }
    void startRftiClient(const std::string&) override {}
    void startRftiGetResult(uint32_t) override {}
    void startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) override {
        blockSize = capabilities.blockSize;
    }
    RmciSamplingParameters getSamplingParameters() override { return RmciSamplingParameters{}; }
    uint32_t getFroId() override { return 11; }
    std::string getTriggerTimeOfDay() override { return "ff:ff:ff.fff"; }
    uint32_t getPowerLevel() override { return 0; }
    bool isRecovery() override { return false; }
    void setRecovery(bool) override {}
    std::string getTargetRfPort() override { return kUnit + ",DeviceGroup=ru,RfPort=A"; }
    void getFtpParameters(std::string& user, std::string& password, std::string& address,
                          std::string& directory) override {
        user = kUser;
        password = kPassword;
        address = ftpAddress;
        directory = "samples";
    }
    void setInfoFromError(uint32_t sigNo, uint32_t errorCode) override {
        fail("RFTI client error " + std::to_string(sigNo) + " " + std::to_string(errorCode));
    }
    void lostConnection(uint32_t) override { fail("RFTI connection lost"); }
    void setFtpInProgress(bool inProgress) override {
        if (inProgress) {
            uploadStart = Clock::now();
            uploadStarted = true;
        }
    }

    std::string ftpAddress;
    uint32_t blockSize = 0;
    int uploads = 0;
    bool uploadStarted = false;
    Clock::time_point uploadStart;
};

// Asks the simulator's measurement server for one sweep of port A of bins bins, as the
// RMCI client would; returns the result's reference.
uint32_t measure(const RadioUnit& unit, uint32_t& connection, uint32_t bins) {
    static const SIGSELECT establishCfm[] = {1, RMCI_CONN_ESTABLISH_CFM};
    static const SIGSELECT configCfm[] = {1, RMCI_CONFIG_CFM};
    static const SIGSELECT measureCfm[] = {1, RMCI_MEASURE_CFM};
    static const SIGSELECT measureInd[] = {1, RMCI_MEASURE_IND};
    auto request = [&](OSBUFSIZE size, SIGSELECT number) {
        union SIGNAL* signal = alloc(size, number);
        std::memset(reinterpret_cast<uint8_t*>(signal) + 4, 0, size - 4);
        reinterpret_cast<RadioSignalHead*>(signal)->clientRef = 0x5157;
        reinterpret_cast<RadioSignalHead*>(signal)->connectionRef = connection;
        return signal;
    };
    auto await = [](const SIGSELECT* which, const char* what) {
        union SIGNAL* reply = receive_w_tmo(60000, which);
        if (reply == nullptr) {
            fail(what);
        }
        return reply;
    };
    if (connection == 0) {
        union SIGNAL* req = request(RadioConnEstablishReq::minSize, RMCI_CONN_ESTABLISH_REQ);
        reinterpret_cast<RadioConnEstablishReq*>(req)->protocolRev = kRadioProtocolRev;
        send(&req, unit.rmcServer);
        union SIGNAL* cfm = await(establishCfm, "no RMCI connection");
        connection = reinterpret_cast<RadioSignalHead*>(cfm)->connectionRef;
        free_buf(&cfm);
    }
    union SIGNAL* config = request(RmciConfigReq::minSize, RMCI_CONFIG_REQ);
    RmciConfigReq* c = reinterpret_cast<RmciConfigReq*>(config);
    c->configVersion = 1;
    c->configLength = sizeof(RmciSamplingParameters);
    c->parameters.portId = 1;
    c->parameters.centerFrequency = 20000000;
    c->parameters.displayedBandwidth = bins;
    c->parameters.resolutionBandwidth = 1;
    c->parameters.samplingTimeout = 60000;
    send(&config, unit.rmcServer);
    union SIGNAL* reply = await(configCfm, "configuration refused");
    free_buf(&reply);
    union SIGNAL* measureReq = request(RmciMeasureReq::minSize, RMCI_MEASURE_REQ);
    reinterpret_cast<RmciMeasureReq*>(measureReq)->portId = 1;
    reinterpret_cast<RmciMeasureReq*>(measureReq)->measurementType = 1;
    send(&measureReq, unit.rmcServer);
    reply = await(measureCfm, "measurement refused");
    free_buf(&reply);
    union SIGNAL* ind = await(measureInd, "no measurement result");
    const uint32_t fileRef = reinterpret_cast<RmciMeasureInd*>(ind)->dataFileRef;
    free_buf(&ind);
    return fileRef;
}

struct BlockFigures {
    double transferPerBlockMs = 0;
    double referencePerBlockMs = 0;
    double ratio = 0;
    double transferMs = 0;
    uint32_t blocks = 0;
};

BlockFigures blockBench(const ftptest::FtpTestServer& ftp, const std::string& state) {
    BlockFigures figures;
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    startServices();
    std::thread partnerThread(partner);
    while (g_partner.load() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    {
        const RadioUnitConfig config = unitConfig(kLargestBlock);
        const RadioUnit unit = startRadioUnit(config);
        Owner owner;
        owner.ftpAddress = ftp.address();
        std::unique_ptr<RftiClientHandler> client(defaultRftiClientFactory(&owner));
        if (!client) {
            fail("no RFTI client in this build");
        }
        client->init();
        client->huntRftiServer(kLink);
        pumpUntil([&] { return owner.blockSize != 0; }, std::chrono::seconds(20), "RFTI connect");
        // The node's fullDistinguishedName, which names the sampling file, comes through
        // the name server and the attribute read in signals of their own: handled here,
        // before block 1 of the first transfer can come first and find no name.
        mainloop::pump();
        if (owner.blockSize != kLargestBlock) {
            fail("the server offers blocks of " + std::to_string(owner.blockSize));
        }
        figures.blocks = (kBigFile + kLargestBlock - 1) / kLargestBlock;
        const std::vector<char> block(kLargestBlock, 'x');
        const std::string refPath = state + "/reference_block_file";
        uint32_t connection = 0;
        std::vector<double> transfers, references, ratios, lastHandling, toUploadStart;
        std::vector<double> partnerReferences, payloadReferences, payloadShares, bareShares;
        const int blocks = static_cast<int>(figures.blocks);
        BareCopier bare;
        for (int i = 0; i < kTransfers; ++i) {
            const double bareEmptyBefore = bareBatch(refPath, block, blocks, bare, false);
            const double bareCopyBefore = bareBatch(refPath, block, blocks, bare, true);
            const auto toServer = [&] { return serverRoundTrip(unit.rftServer); };
            const double partnerBefore = referenceBatch(refPath, block, blocks, partnerRoundTrip);
            const double payloadBefore = referenceBatch(refPath, block, blocks, partnerBlock);
            const double before = referenceBatch(refPath, block, blocks, toServer);
            const uint32_t fileRef = measure(unit, connection, binsFor(kBigFile));
            owner.uploadStarted = false;
            const int uploads = owner.uploads;
            // The upload starts inside the delivery of the last block: the last delivery
            // started is the last block's.
            Clock::time_point lastStart{};
            const auto t0 = Clock::now();
            client->getResult(fileRef, kLargestBlock);
            const auto deadline = Clock::now() + std::chrono::seconds(120);
            while (!owner.uploadStarted) {
                if (Clock::now() > deadline) {
                    fail("timed out waiting for the transfer");
                }
                union SIGNAL* signal = receive_w_tmo(2, kAny);
                if (signal != nullptr) {
                    lastStart = Clock::now();
                    mainloop::deliver(signal, nullptr);
                }
            }
            const double blocksMs = ms(lastStart - t0);
            const double toUploadMs = ms(owner.uploadStart - t0);
            pumpUntil([&] { return owner.uploads > uploads; }, std::chrono::seconds(120), "upload");
            const double after = referenceBatch(refPath, block, blocks, toServer);
            const double payloadAfter = referenceBatch(refPath, block, blocks, partnerBlock);
            const double partnerAfter = referenceBatch(refPath, block, blocks, partnerRoundTrip);
            const double bareCopyAfter = bareBatch(refPath, block, blocks, bare, true);
            const double bareEmptyAfter = bareBatch(refPath, block, blocks, bare, false);
            bareShares.push_back((bareCopyBefore + bareCopyAfter) /
                                 (bareEmptyBefore + bareEmptyAfter));
            partnerReferences.push_back((partnerBefore + partnerAfter) / 2);
            payloadReferences.push_back((payloadBefore + payloadAfter) / 2);
            payloadShares.push_back(payloadReferences.back() / partnerReferences.back());
            const double perBlock = blocksMs / (figures.blocks - 1);
            const double reference = (before + after) / 2;
            transfers.push_back(perBlock);
            references.push_back(reference);
            ratios.push_back(perBlock / reference);
            lastHandling.push_back(ms(owner.uploadStart - lastStart));
            toUploadStart.push_back(toUploadMs / figures.blocks);
            std::printf(
                "transfer %d: %.2f ms to the last block, %.4f ms a block, %.2f ms to the "
                "upload; reference %.4f / %.4f ms a block\n",
                i, blocksMs, perBlock, toUploadMs, before, after);
        }
        std::printf("rfti_last_block_handling_ms %.2f\n", median(lastHandling));
        figures.referencePerBlockMs = median(references);
        std::printf("rfti_ratio_to_upload_start %.3f\n",
                    median(toUploadStart) / figures.referencePerBlockMs);
        const fs::path uploaded = fs::path(ftp.root()) / "samples";
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(uploaded, error)) {
            if (fs::file_size(entry.path()) != kBigFile) {
                fail("an uploaded file is not 16 MiB");
            }
        }
        figures.transferPerBlockMs = median(transfers);
        figures.ratio = figures.transferPerBlockMs / figures.referencePerBlockMs;
        figures.transferMs = figures.transferPerBlockMs * figures.blocks;
        std::printf("rfti_ratio_of_neighbours %.3f\n", median(ratios));
        std::printf("reference_with_partner_per_block_ms %.4f\n", median(partnerReferences));
        std::printf("rfti_ratio_to_partner %.3f\n",
                    figures.transferPerBlockMs / median(partnerReferences));
        // What a block's bytes cost by themselves: the partner's round trip when it
        // copies a block into the answer and the block written is that one, against
        // the same round trip empty.
        std::printf("reference_with_partner_block_per_block_ms %.4f\n", median(payloadReferences));
        std::printf("rfti_payload_floor_ratio %.3f\n", median(payloadShares));
        std::printf("rfti_ratio_to_payload_floor %.3f\n",
                    figures.transferPerBlockMs / median(payloadReferences));
        std::printf("rfti_bare_copy_floor_ratio %.3f\n", median(bareShares));
        client.reset();
        stopRadioUnit(unit);
    }
    union SIGNAL* stop = alloc(sizeof(SIGSELECT), kStop);
    send(&stop, g_partner.load());
    partnerThread.join();
    g_partner = 0;
    stopServices();
    ose_leave_thread();
    ose_shutdown();
    return figures;
}

// ---- A whole sampling run ----------------------------------------------------------

struct Answers : FroCallbackIf {
    void snapshotParamUpdated(fRO*) override {}
    void snapshotParamUpdated(fRO*, uint32_t, const std::string&) override {}
    void actionCompleted(fRO*, const ActionResult& result) override { results.push_back(result); }
    std::vector<ActionResult> results;
};

struct RunFigures {
    std::vector<double> total, measurement, transfer, upload;
};

RunFigures runBench(const ftptest::FtpTestServer& ftp, const std::string& state) {
    RunFigures figures;
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    startServices();
    plab::nameserver::v1::getNameServer();
    MapTimer::getInstance();
    {
        const RadioUnitConfig config = unitConfig(RadioUnitConfig().blockSize);
        const RadioUnit unit = startRadioUnit(config);
        const MocRegistration registration = ULSpectrumAnalyzerManagerImpl::registration();
        froMgr::instance().regMOType(registration.className, registration.creator);
        for (const Attribute& attribute : registration.attributes) {
            froMgr::instance().addReadOnlyAttribute(registration.className, attribute.name,
                                                    attribute.type, attribute.value);
        }
        auto* analyzer = dynamic_cast<ULSpectrumAnalyzerImpl*>(
            froMgr::instance().createMO(kAnalyzerLdn, ULSpectrumAnalyzerImpl::kFroType, -1));
        if (analyzer == nullptr) {
            fail("no analyzer");
        }
        RmciClientFactory rmci = [](RmciRftiClientHandlerOwner* owner) {
            return new RmciClientHandlerImpl(owner);
        };
        analyzer->swapRmciFactory(rmci);
        Answers answers;
        const fs::path sampleFolder = fs::path(state) / "d" / "ulsasample";
        const fs::path runs = fs::path(ftp.root()) / "runs";
        auto status = [&] { return analyzer->getS32AttrValue("ulSpectrumSamplingStatus"); };
        // The node's sampling file and its size, 0 when there is none.
        auto localSize = [&]() -> uintmax_t {
            std::error_code error;
            for (const auto& entry : fs::directory_iterator(sampleFolder, error)) {
                return entry.file_size(error);
            }
            return 0;
        };
        for (int run = 0; run < kRuns; ++run) {
            std::error_code error;
            fs::remove_all(runs, error);
            const auto t0 = Clock::now();
            analyzer->performAction(
                "startUlsaSampling",
                {Attribute("targetRfPort", "STRING", kUnit + ",DeviceGroup=ru,RfPort=A"),
                 Attribute("ipAddress", "STRING", ftp.address()),
                 Attribute("uploadDirectory", "STRING", "runs"),
                 Attribute("username", "STRING", kUser), Attribute("password", "STRING", kPassword),
                 Attribute("samplingType", "S32", "0"),
                 Attribute("centerFrequency", "U32", "20000000"),
                 Attribute("displayedBandwidth", "U32", std::to_string(binsFor(kRunFile))),
                 Attribute("resolutionBandwidth", "U32", "1"),
                 Attribute("samplingTimeout", "U32", "60"),
                 Attribute("samplingInterval", "U32", "0")},
                &answers);
            Clock::time_point appeared{}, whole{};
            pumpUntil(
                [&] {
                    if (appeared == Clock::time_point{} || whole == Clock::time_point{}) {
                        const uintmax_t size = localSize();
                        if (size > 0 && appeared == Clock::time_point{}) {
                            appeared = Clock::now();
                        }
                        if (size == kRunFile && whole == Clock::time_point{}) {
                            whole = Clock::now();
                        }
                    }
                    if (answers.results.size() > static_cast<std::size_t>(run) &&
                        answers.results[static_cast<std::size_t>(run)].result != 0) {
                        fail("the action was refused: " +
                             std::to_string(answers.results[static_cast<std::size_t>(run)].result));
                    }
                    const int32_t s = status();
                    if (s == 3) {
                        fail("the run failed");
                    }
                    return s == 2;
                },
                std::chrono::seconds(60), "the run");
            const auto end = Clock::now();
            std::size_t files = 0;
            for (const auto& entry : fs::directory_iterator(runs, error)) {
                ++files;
                if (entry.file_size(error) != kRunFile) {
                    fail("the uploaded file is not 1 MiB");
                }
            }
            if (files != 1 || whole == Clock::time_point{}) {
                fail("no 1 MiB file on the FTP server, or the local file not seen whole");
            }
            figures.total.push_back(ms(end - t0));
            figures.measurement.push_back(ms(appeared - t0));
            figures.transfer.push_back(ms(whole - appeared));
            figures.upload.push_back(ms(end - whole));
            std::printf("run %d: %.2f ms (measurement %.2f, transfer %.2f, upload %.2f)\n", run,
                        figures.total.back(), figures.measurement.back(), figures.transfer.back(),
                        figures.upload.back());
        }
        froMgr::instance().deleteMO(kAnalyzerLdn);
        mainloop::pump();
        stopRadioUnit(unit);
    }
    froMgr::destroyInstance();
    MapTimer::destroyInstance();
    stopServices();
    ose_leave_thread();
    ose_shutdown();
    return figures;
}

}  // namespace

int main() {
    // The unit writes a level-4 line for every request it rejects, the reference's
    // among them: a line written is no part of a round trip.
    setenv("ULSA_TRACE", "radioUnit=0+1", 0);
    ftptest::FtpTestServer ftp;
    std::string whyNot;
    if (!ftp.start(kUser, kPassword, whyNot)) {
        fail("no FTP server: " + whyNot);
    }
    char pattern[] = "/tmp/rfti-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        fail("no state folder");
    }
    const std::string state = pattern;
    if (!hostdisk::setDiskRoot(state, whyNot)) {
        fail("no disk: " + whyNot);
    }

    const BlockFigures block = blockBench(ftp, state);
    const RunFigures run = runBench(ftp, state);

    hostdisk::clearDiskRoot();
    std::error_code error;
    fs::remove_all(state, error);

    std::printf("rfti_blocks_per_transfer %u of %u bytes\n", block.blocks, kLargestBlock);
    std::printf("rfti_transfer_16MiB_ms %.2f\n", block.transferMs);
    std::printf("rfti_transfer_per_block_ms %.4f\n", block.transferPerBlockMs);
    std::printf("reference_round_trip_and_append_per_block_ms %.4f\n", block.referencePerBlockMs);
    std::printf("figure rfti_block_ratio %.3f\n", block.ratio);
    std::printf("figure sampling_run_type0_ms %.2f\n", median(run.total));
    std::printf("figure sampling_run_type0_measurement_ms %.2f\n", median(run.measurement));
    std::printf("figure sampling_run_type0_transfer_ms %.2f\n", median(run.transfer));
    std::printf("figure sampling_run_type0_upload_ms %.2f\n", median(run.upload));
    return 0;
}
