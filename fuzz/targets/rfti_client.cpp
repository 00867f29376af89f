// A signal to the RFTI client, RftiClientHandlerImpl, as the main process receives it:
// through the signal distributor to the client's handleSignal. The client's file
// server is played by this process (see RadioClientFuzz.h); the node's name comes from
// the real attribute-read service, the upload goes to the real file-transfer service,
// whose connect to loopback port 1 is refused at once, and the node's disk "/d" is a
// folder of the run's own in /tmp. Per input a new client is driven until it waits for
// the input's answer: the hunt signal of its server, the connection, the capabilities,
// the file's description, its rejection, or (most inputs) the next block of a file of
// three blocks of which the first is written already; also the server's attach signal
// and a supervision's time-out in that state. A bad answer must end as the client
// defines it (a dropped signal with a trace, or a failure given to its owner), and no
// block may be read outside its signal nor written past what it carries.
#include "RadioClientFuzz.h"
#include "RftiClientHandlerImpl.h"
#include "attrReadService.h"
#include "fileTransferService.h"
#include "hostDisk.h"
#include "nameServerHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioSignals.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

using fuzzkernel::Awaited;

const std::string kController = "FUZZ-link";
constexpr uint32_t kBlockSize = 64;
constexpr uint32_t kBlocks = 3;
constexpr uint32_t kFileSize = 2 * kBlockSize + 32;

// Every number the client takes, with the request held back to make it wait.
const Awaited kAwaited[] = {
    {ULSA_RFTI_SERVER_HUNT_IND, ULSA_RFTI_SERVER_HUNT_IND, true, false, 2},
    {ULSA_RFTI_SERVER_ATTACH_IND, RFTI_GET_RESULT_ACK, true, false, 2},
    {RFTI_CONN_ESTABLISH_CFM, RFTI_CONN_ESTABLISH_REQ, true, true, 2},
    {RFTI_CONN_ESTABLISH_REJ, RFTI_CONN_ESTABLISH_REQ, true, true, 2},
    {RFTI_GET_CAPABILITIES_CFM, RFTI_GET_CAPABILITIES_REQ, true, true, 2},
    {RFTI_GET_RESULT_CFM, RFTI_GET_RESULT_REQ, true, true, 2},
    {RFTI_GET_RESULT_REJ, RFTI_GET_RESULT_REQ, true, true, 2},
    {RFTI_GET_RESULT_DATA, RFTI_GET_RESULT_ACK, true, true, 2},
    {RFTI_GET_RESULT_ACK, RFTI_GET_RESULT_ACK, true, true, 2},
    {KGM_IW_USI_CONN_CLOSE_CFM, RFTI_GET_RESULT_ACK, true, true, 2},
    {ULSA_TMO_SIG, RFTI_GET_RESULT_ACK, true, true, 2},
};

// The analyzer as the client sees it: it fetches a result as soon as the capabilities
// are there, and ends the run (deletes the client) on a failure, a lost server and
// the end of an upload.
class Owner : public RmciRftiClientHandlerOwner {
  public:
    void actionFailed(const std::string&, uint32_t) override { client.reset(); }
    void actionSuccess(union SIGNAL*) override { client.reset(); }
    uint32_t currentAction() override { return 2; }
    void startRftiClient(const std::string&) override {}
    void startRftiGetResult(uint32_t) override {}
    void startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) override {
        client->getResult(5, capabilities.blockSize);
    }
    RmciSamplingParameters getSamplingParameters() override { return RmciSamplingParameters{}; }
    uint32_t getFroId() override { return froId; }
    std::string getTriggerTimeOfDay() override { return "ff:ff:ff.fff"; }
    uint32_t getPowerLevel() override { return 0; }
    bool isRecovery() override { return false; }
    void setRecovery(bool) override {}
    std::string getTargetRfPort() override {
        return "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1,DeviceGroup=ru,RfPort=A";
    }
    void getFtpParameters(std::string& user, std::string& password, std::string& address,
                          std::string& directory) override {
        user = "ulsa";
        password = "secret";
        address = "127.0.0.1";
        directory = "samples";
    }
    void setInfoFromError(uint32_t, uint32_t) override {}
    void lostConnection(uint32_t) override { client.reset(); }
    void setFtpInProgress(bool) override {}

    std::unique_ptr<RftiClientHandlerImpl> client;
    uint32_t froId = 0;
};

Owner* owner = nullptr;
fuzzkernel::ServerPhantom* server = nullptr;
fuzzkernel::Freeze freeze;

union SIGNAL* head(SIGSELECT number, uint32_t clientRef, OSBUFSIZE size) {
    union SIGNAL* signal = alloc(size, number);
    std::memset(reinterpret_cast<uint8_t*>(signal) + 4, 0, size - 4);
    reinterpret_cast<RadioSignalHead*>(signal)->clientRef = clientRef;
    reinterpret_cast<RadioSignalHead*>(signal)->connectionRef = 7;
    return signal;
}

uint8_t fileByte(uint32_t at) {
    return static_cast<uint8_t>(at * 7 + 1);
}

// Block seq (from 1) of the file.
union SIGNAL* block(uint32_t clientRef, uint32_t seq) {
    const uint32_t first = (seq - 1) * kBlockSize;
    const uint32_t length = seq == kBlocks ? kFileSize - first : kBlockSize;
    union SIGNAL* signal =
        head(RFTI_GET_RESULT_DATA, clientRef, RftiGetResultData::minSize + length);
    reinterpret_cast<RftiGetResultData*>(signal)->seqNumber = seq;
    uint8_t* data = reinterpret_cast<uint8_t*>(signal) + RftiGetResultData::dataOffset;
    for (uint32_t i = 0; i < length; ++i) {
        data[i] = fileByte(first + i);
    }
    return signal;
}

// The server's proper answers to a request.
void answer(union SIGNAL* request) {
    const PROCESS client = sender(&request);
    RftiGetResultAck fields{};  // the longest request's fields; shorter ones leave zeros
    std::memcpy(&fields, request,
                std::min<std::size_t>(sizeof fields, static_cast<std::size_t>(sigsize(&request))));
    free_buf(&request);
    const uint32_t ref = fields.clientRef;
    switch (fields.sigNo) {
        case RFTI_CONN_ESTABLISH_REQ:
            server->answer(head(RFTI_CONN_ESTABLISH_CFM, ref, RadioSignalHead::minSize), client);
            return;
        case RFTI_GET_CAPABILITIES_REQ: {
            union SIGNAL* cfm =
                head(RFTI_GET_CAPABILITIES_CFM, ref, RftiGetCapabilitiesCfm::minSize);
            reinterpret_cast<RftiGetCapabilitiesCfm*>(cfm)->blockSize = kBlockSize;
            server->answer(cfm, client);
            return;
        }
        case RFTI_GET_RESULT_REQ: {
            union SIGNAL* cfm = head(RFTI_GET_RESULT_CFM, ref, RftiGetResultCfm::minSize);
            RftiGetResultCfm* description = reinterpret_cast<RftiGetResultCfm*>(cfm);
            description->fileSize = kFileSize;
            description->blockSize = kBlockSize;
            description->totalNoOfBlocks = kBlocks;
            for (uint32_t at = 0; at < kFileSize; ++at) {
                description->checksum += fileByte(at);
            }
            server->answer(cfm, client);
            server->answer(block(ref, 1), client);
            return;
        }
        case RFTI_GET_RESULT_ACK:
            if (fields.seqNumber >= 1 && fields.seqNumber < kBlocks) {
                server->answer(block(ref, fields.seqNumber + 1), client);
            }
            return;
        default:
            return;
    }
}

// The main loop's part: requests to the server are answered (or held), the hunt
// signal goes on to the client unless held.
bool intercept(union SIGNAL* signal) {
    const SIGSELECT number = fuzzkernel::numberOf(signal);
    if (server->isRequest(signal)) {
        if (freeze.drops(number)) {
            free_buf(&signal);
        } else {
            answer(signal);
        }
        return true;
    }
    if (number == ULSA_RFTI_SERVER_HUNT_IND && freeze.drops(number)) {
        free_buf(&signal);
        return true;
    }
    return false;
}

void pump() {
    mainloop::pump(&intercept);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char folder[] = "/tmp/ulsa-fuzz-rfti-XXXXXX";
    std::string problem;
    if (mkdtemp(folder) == nullptr || !hostdisk::setDiskRoot(folder, problem)) {
        std::fprintf(stderr, "no disk for the run: %s\n", problem.c_str());
        std::abort();
    }
    fuzzkernel::quietTraces();
    ose_clock_set_manual(1);
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    hostns::startNameServer();
    plab::nameserver::v1::getNameServer();
    hostima::startAttrReadService();
    hostftp::FileTransferConfig config;
    config.defaultPort = 1;  // nothing listens there: a connect is refused at once
    config.connectTimeoutMs = 200;
    config.responseTimeoutMs = 200;
    config.loopbackOnly = true;
    hostftp::startFileTransferService(config);
    server = new fuzzkernel::ServerPhantom(kController + "/RftServer");
    owner = new Owner;
    pump();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (!fuzzkernel::fitsSignal(size)) {
        return 0;
    }
    const Awaited& awaited = fuzzkernel::pick(kAwaited, data);
    owner->froId += 1;
    freeze.arm(awaited.held);
    owner->client.reset(new RftiClientHandlerImpl(owner));
    RftiClientHandlerImpl* client = owner->client.get();
    client->init();
    pump();  // the node's name arrives before the server is hunted
    client->huntRftiServer(kController);
    pump();
    if (owner->client != nullptr) {
        union SIGNAL* signal = fuzzkernel::answerOf(data, size, awaited, owner->froId);
        send_w_s(&signal, server->pid(), client->phantom());
    }
    freeze.thaw();
    pump();
    owner->client.reset();
    pump();
    return 0;
}
