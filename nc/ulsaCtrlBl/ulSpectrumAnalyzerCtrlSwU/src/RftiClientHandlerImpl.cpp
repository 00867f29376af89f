// The RFTI client: hunt, connection and capabilities of the radio unit's file server,
// the sampling file block by block, its checksum, and its place in the process's one
// upload path. See RftiClientHandlerImpl.h for the order of things.
#include "RftiClientHandlerImpl.h"

#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "ULSAFtpHandlerImpl.h"
#include "processError.h"
#include "radioSignalReader.h"
#include "roSignalHandler.h"
#include "ulSpectrumAnalyzerEndianSwap.h"
#include "ulsaCtrlTrace.h"
#include "ulsaTriggerTime.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace {

// The conversion mode of this load module: signals stay as they are.
constexpr int kEndianMode = 1;
constexpr mode_t kFolderMode = 493;  // 0755
constexpr std::size_t kChecksumChunk = 65536;  // bytes read at a time for the checksum

const char* const kServerSuffix = "/RftServer";
const char* const kPhantomName = "RFT_PHANTOM";
const char* const kFdnAttribute = "fullDistinguishedName";
const char* const kNoFdnText =
    "Failed to retrieve ManagedElement=1,EquipmentSupportFunction=1 attribute "
    "fullDistinguishedName";

// The signals the client subscribes to, in order.
const SIGSELECT kSubscribed[] = {RFTI_CONN_ESTABLISH_CFM,
                                 RFTI_CONN_ESTABLISH_REJ,
                                 RFTI_GET_CAPABILITIES_CFM,
                                 RFTI_GET_RESULT_CFM,
                                 RFTI_GET_RESULT_REJ,
                                 RFTI_GET_RESULT_ACK,
                                 RFTI_GET_RESULT_DATA,
                                 KGM_IW_USI_CONN_CLOSE_CFM,
                                 ULSA_RFTI_SERVER_HUNT_IND,
                                 ULSA_RFTI_SERVER_ATTACH_IND,
                                 ULSA_TMO_SIG};

// The requests, for the names in the traces of the supervision.
const SIGSELECT kRequests[] = {RFTI_CONN_ESTABLISH_REQ, RFTI_GET_CAPABILITIES_REQ,
                               RFTI_GET_RESULT_REQ, RFTI_GET_RESULT_ACK};

// Replies that come from the server and carry this client's word.
bool isServerReply(SIGSELECT sigNo) {
    return sigNo == RFTI_CONN_ESTABLISH_CFM || sigNo == RFTI_CONN_ESTABLISH_REJ ||
           sigNo == RFTI_GET_CAPABILITIES_CFM || sigNo == RFTI_GET_RESULT_CFM ||
           sigNo == RFTI_GET_RESULT_REJ || sigNo == RFTI_GET_RESULT_DATA;
}

union SIGNAL* headSignal(OSBUFSIZE size, SIGSELECT sigNo, uint32_t clientRef,
                         uint32_t connectionRef) {
    union SIGNAL* signal = alloc(size, sigNo);
    std::memset(reinterpret_cast<uint8_t*>(signal) + sizeof(SIGSELECT), 0,
                size - sizeof(SIGSELECT));
    RadioSignalHead* head = reinterpret_cast<RadioSignalHead*>(signal);
    head->clientRef = clientRef;
    head->connectionRef = connectionRef;
    return signal;
}

// The text behind the last occurrence of c; all of text when there is none.
std::string behindLast(const std::string& text, char c) {
    const std::size_t at = text.rfind(c);
    return at == std::string::npos ? text : text.substr(at + 1);
}

// The text before the last comma; empty when there is none.
std::string cutLastComma(const std::string& text) {
    const std::size_t at = text.rfind(',');
    return at == std::string::npos ? std::string() : text.substr(0, at);
}

}  // namespace

const std::string RftiClientHandlerImpl::sampleFolder = "/d/ulsasample";
bool RftiClientHandlerImpl::uploadIdle = true;
std::deque<RftiClientHandlerImpl*> RftiClientHandlerImpl::uploadQueue;
struct OS_redir_entry RftiClientHandlerImpl::phantomTable[1] = {{1, 0}};

RftiClientHandlerImpl::RftiClientHandlerImpl(RmciRftiClientHandlerOwner* ownerOfClient)
    : imaClient(this),
      owner(ownerOfClient),
      rftProcess(0),
      serverPid(0),
      froId(0),
      connectionRef(0),
      signalHandler(new roSignalHandler("rftiClientHandler")),
      fileSize(0),
      blockSize(0),
      totalNoOfBlocks(0),
      checksum(0),
      ftpHandler(nullptr),
      attachRef(0),
      attached(false),
      capabilities(),
      endianMode(new int(kEndianMode)),
      alive(std::make_shared<bool>(true)) {
    ULSA_TRACE(2, "RftiClientHandlerImpl::RftiClientHandlerImpl()");
    ULSAFtpHandlerImpl::setUploadFinishedHook(&RftiClientHandlerImpl::processUploadQueue);
    createRftProcess();
    ULSA_TRACE(3, "RftiClientHandlerImpl::RftiClientHandlerImpl() returned, phantom=%u",
               static_cast<unsigned>(rftProcess));
}

RftiClientHandlerImpl::~RftiClientHandlerImpl() {
    ULSA_TRACE(2, "RftiClientHandlerImpl::~RftiClientHandlerImpl(froId=%u)", froId);
    *alive = false;
    deleteRftProcess();
    for (const auto& subscribed : subscribedSignals) {
        getSignalDistributorAPI()->unsubscribe(subscribed.first, this);
    }
    subscribedSignals.clear();
    if (attached) {
        detach(&attachRef);
        attached = false;
    }
    ImaFacade::destroyInstance();
    signalHandler.reset();
    for (auto it = uploadQueue.begin(); it != uploadQueue.end();) {
        it = *it == this ? uploadQueue.erase(it) : it + 1;
    }
    const bool uploading = ftpHandler != nullptr;
    // The handler's own end terminates its session; the finished hook does not run
    // for it, so the path is given free here.
    delete ftpHandler;
    ftpHandler = nullptr;
    removeFile();
    if (uploadQueue.empty()) {
        removeTree(sampleFolder);
    }
    std::memset(&capabilities, 0, sizeof capabilities);
    if (uploading) {
        processUploadQueue();
    }
    ULSA_TRACE(3, "RftiClientHandlerImpl::~RftiClientHandlerImpl() returned");
}

void RftiClientHandlerImpl::createRftProcess() {
    phantomTable[0].sig = 1;
    phantomTable[0].pid = current_process();
    rftProcess = create_process(OS_PHANTOM, kPhantomName, nullptr, 0, 0, 0, 0, phantomTable, 0, 0);
    if (rftProcess != 0) {
        start(rftProcess);
    } else {
        ULSA_TRACE(1, "Could not create the process %s", kPhantomName);
    }
}

void RftiClientHandlerImpl::deleteRftProcess() {
    if (rftProcess != 0) {
        kill_proc(rftProcess);
        rftProcess = 0;
    }
}

void RftiClientHandlerImpl::init() {
    ULSA_TRACE(2, "RftiClientHandlerImpl::init()");
    serverPid = 0;
    connectionRef = 0;
    serverName.clear();
    froId = owner->getFroId();
    SignalNumber2Name* names = SignalNumber2Name::getInstance();
    for (SIGSELECT sigNo : kRequests) {
        names->insertSignalName(SignalName(sigNo, radioSignals::findSignal(sigNo)->name));
    }
    for (SIGSELECT sigNo : kSubscribed) {
        bool known = false;
        for (const auto& subscribed : subscribedSignals) {
            known = known || subscribed.first == sigNo;
        }
        if (known) {
            continue;  // an init on a client that has run already keeps its subscriptions
        }
        const std::string name = radioSignals::findSignal(sigNo)->name;
        names->insertSignalName(SignalName(sigNo, name));
        if (!getSignalDistributorAPI()->subscribe(sigNo, this)) {
            ULSA_TRACE(1, "Signal subscription failed!");
            nc::reportProcessError(traceGroups::ulSpectrumAnalyzerCtrlSwU,
                                   "Signal subscription failed!");
            break;
        }
        subscribedSignals.emplace_back(sigNo, name);
    }
    ImaFacade::getInstance()->read(&imaClient, {kEquipmentSupportFunction});
    ULSA_TRACE(3, "RftiClientHandlerImpl::init() returned, froId=%u", froId);
}

void RftiClientHandlerImpl::MyImaClient::readCfm(const ImaMoAttributes& attributes) {
    ULSA_TRACE(2, "RftiClientHandlerImpl::MyImaClient::readCfm(%u objects)",
               static_cast<unsigned>(attributes.size()));
    const auto object = attributes.find(kEquipmentSupportFunction);
    if (object != attributes.end()) {
        const auto value = object->second.find(kFdnAttribute);
        if (value != object->second.end() && !value->second.empty()) {
            fullDistinguishedName = value->second;
            ULSA_TRACE(8, "fullDistinguishedName: %s", fullDistinguishedName.c_str());
            return;
        }
    }
    ULSA_TRACE(1, "%s", kNoFdnText);
    handler->fail(0, 8, kNoFdnText);
}

void RftiClientHandlerImpl::huntRftiServer(const std::string& dcControllerName) {
    ULSA_TRACE(2, "RftiClientHandlerImpl::huntRftiServer(dcControllerName=%s)",
               dcControllerName.c_str());
    serverName = dcControllerName + kServerSuffix;
    union SIGNAL* huntSignal = radioSignals::makeServerInd(ULSA_RFTI_SERVER_HUNT_IND, serverName);
    ULSA_TRACE(8, "rfti hunting for %s", serverName.c_str());
    hunt(serverName.c_str(), 0, nullptr, &huntSignal);
    superviseHunt();
}

void RftiClientHandlerImpl::superviseHunt() {
    if (signalHandler->prep4ToSup(froId, kSupervisionMs, ULSA_RFTI_SERVER_HUNT_IND,
                                  {ULSA_RFTI_SERVER_HUNT_IND}) != roSignalHandlerApi::Supervised) {
        ULSA_TRACE(1, "Can't process preparation to supervise signal with sigNo=(0x%x) (%s)",
                   ULSA_RFTI_SERVER_HUNT_IND, nameOf(ULSA_RFTI_SERVER_HUNT_IND).c_str());
    }
}

RftiGetCapabilitiesCfm RftiClientHandlerImpl::getRftiCapabilities() {
    return capabilities;
}

// ---- Requests ------------------------------------------------------------------

bool RftiClientHandlerImpl::serverKnown(const char* noServerTrace) {
    if (serverPid != 0) {
        return true;
    }
    ULSA_TRACE(1, "%s", noServerTrace);
    fail(0, 8, "Communication error(invalid PID) with RFTI Server");
    return false;
}

void RftiClientHandlerImpl::sendToServer(union SIGNAL* signal,
                                         const std::vector<SIGSELECT>& replies) {
    SIGSELECT sigNo;
    std::memcpy(&sigNo, signal, sizeof sigNo);
    ulSpectrumAnalyzerEndianSwap::convertToSend(signal, sigsize(&signal), *endianMode);
    ULSA_TRACE(10, "Send %s to %u", nameOf(sigNo).c_str(), static_cast<unsigned>(serverPid));
    if (signalHandler->send2RoWTmo(froId, rftProcess, kSupervisionMs, &signal, replies,
                                   serverPid) != roSignalHandlerApi::Supervised) {
        ULSA_TRACE(1, "Sent signal with sigNo=(0x%x) (%s) will not be processed", sigNo,
                   nameOf(sigNo).c_str());
        free_buf(&signal);
    }
}

void RftiClientHandlerImpl::sendConnEstablishReq() {
    if (!serverKnown("serverPid = 0, sendRftiConnEstablishReq")) {
        return;
    }
    union SIGNAL* signal = headSignal(RadioConnEstablishReq::minSize, RFTI_CONN_ESTABLISH_REQ,
                                      froId, kRadioConnEstablishWord);
    reinterpret_cast<RadioConnEstablishReq*>(signal)->protocolRev = kRadioProtocolRev;
    sendToServer(signal, {RFTI_CONN_ESTABLISH_CFM, RFTI_CONN_ESTABLISH_REJ});
}

void RftiClientHandlerImpl::sendGetCapabilityReq() {
    if (!serverKnown("serverPid = 0, sendRftiGetCapabilityReq")) {
        return;
    }
    sendToServer(
        headSignal(RadioSignalHead::minSize, RFTI_GET_CAPABILITIES_REQ, froId, connectionRef),
        {RFTI_GET_CAPABILITIES_CFM});
}

void RftiClientHandlerImpl::getResult(uint32_t dataFileRef, uint32_t requestedBlockSize) {
    ULSA_TRACE(2, "RftiClientHandlerImpl::getResult(dataFileRef=%u, blockSize=%u)", dataFileRef,
               requestedBlockSize);
    if (!serverKnown("serverPid = 0, sendRftiConnEstablishReq")) {
        return;
    }
    union SIGNAL* signal =
        headSignal(RftiGetResultReq::minSize, RFTI_GET_RESULT_REQ, froId, connectionRef);
    RftiGetResultReq* req = reinterpret_cast<RftiGetResultReq*>(signal);
    req->blockSize = requestedBlockSize;
    req->dataFileRef = dataFileRef;
    sendToServer(signal, {RFTI_GET_RESULT_DATA, RFTI_GET_RESULT_REJ});
}

void RftiClientHandlerImpl::sendAck(uint32_t seqNumber, bool last) {
    if (!serverKnown("serverPid = 0, sendRftiConnEstablishReq")) {
        return;
    }
    union SIGNAL* signal =
        headSignal(RftiGetResultAck::minSize, RFTI_GET_RESULT_ACK, froId, connectionRef);
    reinterpret_cast<RftiGetResultAck*>(signal)->seqNumber = seqNumber;
    if (!last) {
        sendToServer(signal, {RFTI_GET_RESULT_DATA});
        return;
    }
    // Nothing follows the last block's acknowledgement: no supervision.
    ulSpectrumAnalyzerEndianSwap::convertToSend(signal, sigsize(&signal), *endianMode);
    send_w_s(&signal, rftProcess, serverPid);
}

// ---- Reception ------------------------------------------------------------------

void RftiClientHandlerImpl::handleSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr) {
        return;
    }
    const OSBUFSIZE size = sigsize(signal);
    SIGSELECT sigNo = 0;
    if (!radioSignals::SignalReader(*signal, size).u32(0, sigNo)) {
        return;
    }
    const ulSpectrumAnalyzerEndianSwap::Result converted =
        ulSpectrumAnalyzerEndianSwap::convertReceived(*signal, size, *endianMode);
    if (!isOwnSignal(signal, sigNo, size)) {
        return;  // another client's: several share one subscription
    }
    ULSA_TRACE(11, "Received %s (%u bytes) from %u", nameOf(sigNo).c_str(),
               static_cast<unsigned>(size), static_cast<unsigned>(sender(signal)));
    if (converted == ulSpectrumAnalyzerEndianSwap::Result::Malformed ||
        !radioSignals::isWellFormed(*signal, size)) {
        // A dropped reply leaves its supervision running: the run ends with the
        // time-out's failure.
        ULSA_TRACE(1, "Signal with sigNo=(0x%x) (%s) of %u bytes is malformed, dropped", sigNo,
                   nameOf(sigNo).c_str(), static_cast<unsigned>(size));
        return;
    }
    if (sigNo != ULSA_RFTI_SERVER_ATTACH_IND && sigNo != RFTI_GET_RESULT_CFM &&
        !passesSupervision(*signal, sigNo)) {
        return;
    }
    dispatch(signal, sigNo, size);
}

bool RftiClientHandlerImpl::isOwnSignal(union SIGNAL** signal, SIGSELECT sigNo,
                                        OSBUFSIZE size) const {
    if (sigNo == ULSA_RFTI_SERVER_HUNT_IND) {
        return true;
    }
    if (sigNo == ULSA_RFTI_SERVER_ATTACH_IND) {
        // The death of this client's server; another client's attach, or a stale one of
        // a server left behind, is not this client's business.
        return attached && serverPid != 0 && sender(signal) == serverPid;
    }
    uint32_t clientWord = 0;
    if (!radioSignals::SignalReader(*signal, size).u32(4, clientWord) || clientWord != froId) {
        return false;
    }
    if (sigNo == ULSA_TMO_SIG) {
        return true;
    }
    return isServerReply(sigNo) && serverPid != 0 && sender(signal) == serverPid;
}

bool RftiClientHandlerImpl::passesSupervision(union SIGNAL* signal, SIGSELECT sigNo) {
    SIGSELECT supervisedSigNo = roSignalHandlerApi::noSupervisedSigNo;
    const uint32_t result = signalHandler->receiveFromRo(signal, supervisedSigNo);
    if (result == roSignalHandlerApi::HandlingError) {
        ULSA_TRACE(4, "Signal with sigNo=(0x%x) (%s) unable to handle by signalHandler", sigNo,
                   nameOf(sigNo).c_str());
        return false;
    }
    if (result == roSignalHandlerApi::NotSupervised) {
        ULSA_TRACE(4, "Signal with sigNo=(0x%x) (%s) received late or not supervised", sigNo,
                   nameOf(sigNo).c_str());
        return false;
    }
    if (result == roSignalHandlerApi::Timeout) {
        handleTimeout(signal, supervisedSigNo);
        return false;
    }
    return true;
}

void RftiClientHandlerImpl::dispatch(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size) {
    union SIGNAL* sig = *signal;
    switch (sigNo) {
        case ULSA_RFTI_SERVER_HUNT_IND:
            handleHuntInd(signal, size);
            break;
        case ULSA_RFTI_SERVER_ATTACH_IND:
            ULSA_TRACE(1, "Received ULSA_RFTI_SERVER_ATTACH_IND, dcControllerName=%s ",
                       serverName.c_str());
            attached = false;
            owner->lostConnection(2);
            return;
        case RFTI_CONN_ESTABLISH_CFM:
            connectionRef = reinterpret_cast<const RadioSignalHead*>(sig)->connectionRef;
            ULSA_TRACE(8, "Received RFTI_CONN_ESTABLISH_CFM, connectionRef: %u", connectionRef);
            sendGetCapabilityReq();
            break;
        case RFTI_CONN_ESTABLISH_REJ:
        case RFTI_GET_RESULT_REJ:
            handleReject(sig, sigNo, size);
            return;
        case RFTI_GET_CAPABILITIES_CFM:
            handleCapabilities(sig);
            return;
        case RFTI_GET_RESULT_CFM: {
            const RftiGetResultCfm* cfm = reinterpret_cast<const RftiGetResultCfm*>(sig);
            fileSize = cfm->fileSize;
            blockSize = cfm->blockSize;
            totalNoOfBlocks = cfm->totalNoOfBlocks;
            checksum = cfm->checksum;
            ULSA_TRACE(8, "File Description: <fileSize : %u> < totalNoOfBlocks : %u>", fileSize,
                       totalNoOfBlocks);
            break;
        }
        case RFTI_GET_RESULT_DATA:
            handleResultData(sig, size);
            return;
        default:
            ULSA_TRACE(1, "Signal %u is not supported!", sigNo);
            break;
    }
}

void RftiClientHandlerImpl::handleHuntInd(union SIGNAL** signal, OSBUFSIZE size) {
    std::string name;
    radioSignals::readServerName(*signal, size, name);  // the signal is well formed
    // The signal carries at most kUlsaServerNameMax characters of the name.
    if (serverName.empty() || name != serverName.substr(0, kUlsaServerNameMax)) {
        ULSA_TRACE(4, "Stale hunt of %s, waiting for %s", name.c_str(), serverName.c_str());
        superviseHunt();
        return;
    }
    const PROCESS found = sender(signal);
    if (attached) {
        detach(&attachRef);  // the server of an earlier hunt
    }
    union SIGNAL* attachSignal =
        radioSignals::makeServerInd(ULSA_RFTI_SERVER_ATTACH_IND, serverName);
    attachRef = attach(&attachSignal, found);
    attached = true;
    serverPid = found;
    ULSA_TRACE(8, "get rftiserverPid=%u ", static_cast<unsigned>(serverPid));
    sendConnEstablishReq();
}

void RftiClientHandlerImpl::handleCapabilities(union SIGNAL* signal) {
    RftiGetCapabilitiesCfm received;
    std::memcpy(&received, signal, sizeof received);  // well formed: at least 24 bytes
    ULSA_TRACE(8, "Received RFTI_GET_CAPABILITIES_CFM, blockSize: %u", received.blockSize);
    const std::shared_ptr<bool> living = alive;
    RmciRftiClientHandlerOwner* const myOwner = owner;
    if (myOwner->getSamplingParameters().samplingType != 2 ||
        ulsaIsPowerTrigger(myOwner->getTriggerTimeOfDay())) {
        myOwner->startRmciMeasurement(received);
    } else {
        capabilities = received;  // the owner fetches them at the time of day
    }
    if (*living) {
        myOwner->setRecovery(false);
    }
}

void RftiClientHandlerImpl::handleReject(union SIGNAL* signal, SIGSELECT sigNo, OSBUFSIZE size) {
    radioSignals::RejectInfo reject;
    radioSignals::readReject(signal, size, reject);  // the signal is well formed
    const int code = static_cast<int>(reject.errorCode);
    if (sigNo == RFTI_CONN_ESTABLISH_REJ) {
        ULSA_TRACE(1,
                   "Received RFTI_CONN_ESTABLISH_REJ, rejectCause.errorCode : %d, "
                   "rejectCause.errorDescription: %s,supportprotocol revision:%d",
                   code, reject.errorDescription.c_str(),
                   static_cast<int>(reject.supportedProtocolRev));
        fail(sigNo, reject.errorCode,
             "Communication error(RFTI_CONN_ESTABLISH_REJ) with RFTI Server");
        return;
    }
    ULSA_TRACE(1,
               "Received RFTI_GET_RESULT_REJ, rejectCause.errorCode : %d, "
               "rejectCause.errorDescription: %s",
               code, reject.errorDescription.c_str());
    fail(sigNo, reject.errorCode, "Communication error(RFTI_GET_RESULT_REJ) with RFTI Server");
}

void RftiClientHandlerImpl::handleResultData(union SIGNAL* signal, OSBUFSIZE size) {
    radioSignals::ResultBlock block;
    radioSignals::readResultData(signal, size, block);  // the signal is well formed
    const uint32_t seqNumber = block.seqNumber;
    ULSA_TRACE(8, "Result Data: <seqNumber : %u> ", seqNumber);
    FILE* file = nullptr;
    if (seqNumber == 1) {
        if (!makeSampleFolder()) {
            ULSA_TRACE(1, "Failed to create folder for sampling file");
            fail(0, 8, "Failed to create folder for sampling file");
            return;
        }
        const std::shared_ptr<bool> living = alive;
        fileName = buildFileName();
        if (!*living) {
            return;
        }
        file = std::fopen(fileName.c_str(), "w+");
        if (file == nullptr) {
            ULSA_TRACE(1, "Failed to create a sampling file: %s", std::strerror(errno));
            fail(0, 8, "Could not create a file to save sampling data");
            return;
        }
        ULSA_TRACE(8, "sampling file is created with name : %s", fileName.c_str());
    } else {
        file = fileName.empty() ? nullptr : std::fopen(fileName.c_str(), "a+");
        if (file == nullptr) {
            ULSA_TRACE(1, "Failed to open a sampling file: %s",
                       fileName.empty() ? "no file" : std::strerror(errno));
            fail(0, 8, "Could not open the file to save sampling data");
            return;
        }
    }
    const bool last = seqNumber == totalNoOfBlocks;
    // The last block holds the rest of the file; sizes that do not fit wrap around and
    // show as a short write below, never as a read past the block.
    const uint32_t wanted = last ? fileSize - (totalNoOfBlocks - 1) * blockSize : blockSize;
    const uint32_t available = wanted <= block.length ? wanted : block.length;
    const std::size_t written = available == 0 ? 0 : std::fwrite(block.data, 1, available, file);
    const int writeError = std::ferror(file) != 0 ? errno : 0;
    std::fclose(file);
    if (written < wanted) {
        ULSA_TRACE(1, "Failed to write to sampling file, Error: %s",
                   writeError != 0 ? std::strerror(writeError) : "block shorter than announced");
        fail(0, 8, "Failed to write to sampling file");
        return;
    }
    if (!last) {
        sendAck(seqNumber, false);
        return;
    }
    ULSA_TRACE(8, "Last block is received: <seqNumber : %u>, close sampling file ", seqNumber);
    sendAck(seqNumber, true);
    if (!checksumOk()) {
        ULSA_TRACE(1, "Checksum error");
        fail(0, 8, "Checksum error");
        return;
    }
    startUpload();
}

void RftiClientHandlerImpl::handleTimeout(union SIGNAL* signal, SIGSELECT supervisedSigNo) {
    const UlsaTmoSig* tmo = reinterpret_cast<const UlsaTmoSig*>(signal);
    ULSA_TRACE(1, "Received ULSA_TMO_SIG");
    ULSA_TRACE(1, "ULSA_TMO_SIG, id = %d, sender pid = %d, supervisedSigNo %d",
               static_cast<int>(tmo->id), static_cast<int>(sender(&signal)),
               static_cast<int>(supervisedSigNo));
    if (supervisedSigNo == ULSA_RFTI_SERVER_HUNT_IND) {
        ULSA_TRACE(1, "Received Timeout signal sigNo=(0x%x) during hunt", supervisedSigNo);
        fail(0, 8, "Communication error(hunt timeout) with USI Server");
        return;
    }
    ULSA_TRACE(1, "Received Timeout signal when processing signal with sigNo=(0x%x)",
               supervisedSigNo);
    fail(0, 8, "Communication error(timeout) with RFTI Server");
}

// ---- The sampling file ------------------------------------------------------------

bool RftiClientHandlerImpl::makeSampleFolder() {
    if (access(sampleFolder.c_str(), F_OK) == 0) {
        return true;
    }
    struct stat status;
    if (stat(sampleFolder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        ULSA_TRACE(4, "Directory already exist %s.", sampleFolder.c_str());
        return true;
    }
    ULSA_TRACE(4, "Creating folder %s.", sampleFolder.c_str());
    const int result = mkdir(sampleFolder.c_str(), kFolderMode);
    if (result != 0) {
        ULSA_TRACE(1, "Unable to create folder %s (status: %d) (error: %s)", sampleFolder.c_str(),
                   result, std::strerror(errno));
        return false;
    }
    return true;
}

std::string RftiClientHandlerImpl::buildFileName() {
    if (imaClient.fullDistinguishedName.empty()) {
        ULSA_TRACE(1, "%s", kNoFdnText);
        fail(0, 8, kNoFdnText);
        return std::string();
    }
    const std::string rfPort = owner->getTargetRfPort();
    const std::string unitLdn = cutLastComma(cutLastComma(rfPort));
    const std::string unitName = behindLast(unitLdn, '=');
    const std::string portName = behindLast(rfPort, '=');
    // Two clock readings, not reconciled: the seconds of the first, the milliseconds
    // of the second.
    const std::time_t now = std::time(nullptr);
    struct tm local;
    std::memset(&local, 0, sizeof local);
    localtime_r(&now, &local);
    struct timeval precise;
    gettimeofday(&precise, nullptr);
    const int month = local.tm_mon + 1 > 12 ? 1 : local.tm_mon + 1;
    char stamp[48];
    std::snprintf(stamp, sizeof stamp, "%4d%02d%02d.%02d%02d%02d%03d", local.tm_year + 1900, month,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(precise.tv_usec / 1000));
    return sampleFolder + "/" + imaClient.fullDistinguishedName + "," + unitName + "," + portName +
           "," + stamp + "ULSA_SAMPLE";
}

bool RftiClientHandlerImpl::checksumOk() {
    FILE* file = std::fopen(fileName.c_str(), "r");
    if (file == nullptr) {
        ULSA_TRACE(1, "Failed to open the sampling file for calculate checksum: %s",
                   fileName.c_str());
        removeFile();
        return false;
    }
    // fileSize reads of one byte each, past the end too: each read past it adds EOF
    // (-1). The bytes are read in chunks, which sums the same bytes as a read of one at
    // a time; once the end is reached the rest is added in one step, with the same
    // wrap-around.
    uint32_t sum = 0;
    uint32_t reads = 0;
    std::vector<unsigned char> chunk(kChecksumChunk);
    while (reads < fileSize) {
        const std::size_t want = std::min<std::size_t>(chunk.size(), fileSize - reads);
        const std::size_t got = std::fread(chunk.data(), 1, want, file);
        for (std::size_t i = 0; i < got; ++i) {
            sum += chunk[i];
        }
        reads += static_cast<uint32_t>(got);
        if (got < want) {
            break;
        }
    }
    sum += static_cast<uint32_t>(EOF) * (fileSize - reads);
    std::fclose(file);
    ULSA_TRACE(8, "checksum of %s: %u, announced %u", fileName.c_str(), sum, checksum);
    return sum == checksum;
}

void RftiClientHandlerImpl::removeFile() {
    if (!fileName.empty()) {
        std::remove(fileName.c_str());
        fileName.clear();
    }
}

void RftiClientHandlerImpl::removeTree(const std::string& path) {
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) {
        return;
    }
    while (struct dirent* entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        char child[1024];
        std::snprintf(child, sizeof child, "%s/%s", path.c_str(), entry->d_name);
        struct stat status;
        if (stat(child, &status) == 0 && S_ISDIR(status.st_mode)) {
            removeTree(child);
        } else {
            std::remove(child);
        }
    }
    closedir(dir);
    rmdir(path.c_str());
}

// ---- The upload ---------------------------------------------------------------------

void RftiClientHandlerImpl::startUpload() {
    if (!uploadIdle) {
        ULSA_TRACE(4, "Put in queue");
        uploadQueue.push_back(this);
        return;
    }
    uploadIdle = false;
    owner->setFtpInProgress(true);
    if (ftpHandler == nullptr) {
        ftpHandler = new ULSAFtpHandlerImpl;
    }
    const std::string baseName = behindLast(fileName, '/');
    std::string username, password, ipAddress, uploadDirectory;
    owner->getFtpParameters(username, password, ipAddress, uploadDirectory);
    std::string remotePath = uploadDirectory;
    if (remotePath.empty() || remotePath.back() != '/') {
        remotePath += "/";
    }
    remotePath += baseName;
    ULSA_TRACE(8, "Upload %s to %s as %s", fileName.c_str(), ipAddress.c_str(), remotePath.c_str());
    ftpHandler->setParameters(username, password, ipAddress, remotePath, fileName);
    ftpHandler->start(this);  // may end at once, through ftpDone
}

void RftiClientHandlerImpl::processUploadQueue() {
    uploadIdle = true;
    if (!uploadQueue.empty()) {
        ULSA_TRACE(4, "Process next item from queue:%d", static_cast<int>(uploadQueue.size()));
        RftiClientHandlerImpl* next = uploadQueue.front();
        uploadQueue.pop_front();
        next->startUpload();
    }
}

void RftiClientHandlerImpl::ftpDone(bool ok, const std::string& text) {
    ULSA_TRACE(2, "RftiClientHandlerImpl::ftpDone(ok=%d, text=%s)", ok ? 1 : 0, text.c_str());
    RmciRftiClientHandlerOwner* const myOwner = owner;
    const std::shared_ptr<bool> living = alive;
    myOwner->setFtpInProgress(false);
    if (!*living) {
        return;
    }
    removeFile();
    delete ftpHandler;
    ftpHandler = nullptr;
    if (ok) {
        myOwner->actionSuccess(nullptr);
        return;
    }
    ULSA_TRACE(1, "Failed to send sample file : %s", text.c_str());
    fail(0, 2, "Failed to FTP file to server");
}

// ---- Failures ---------------------------------------------------------------------

void RftiClientHandlerImpl::fail(uint32_t sigNo, uint32_t errorCode, const char* text) {
    const std::shared_ptr<bool> living = alive;
    RmciRftiClientHandlerOwner* const failedOwner = owner;
    failedOwner->setInfoFromError(sigNo, errorCode);
    if (*living) {
        failedOwner->actionFailed(text, kFailureCode);
    }
}

std::string RftiClientHandlerImpl::nameOf(SIGSELECT sigNo) const {
    return SignalNumber2Name::getInstance()->sigNo2Name(sigNo);
}
