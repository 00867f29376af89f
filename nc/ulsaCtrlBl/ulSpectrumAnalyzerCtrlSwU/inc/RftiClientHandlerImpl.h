// RftiClientHandlerImpl: the analyzer's client of the radio unit's file server.
//
// It hunts and attaches to "<dcControllerName>/RftServer", connects, asks for the
// server's capabilities and, when the owner names a result, fetches the file block by
// block (one RFTI_GET_RESULT_ACK per block) into one sampling file under
// "/d/ulsasample", proves it against the announced checksum and uploads it through
// ULSAFtpHandlerImpl. Requests go out under supervision from the client's phantom
// process "RFT_PHANTOM", whose signals are redirected to the process that made the
// client; every outcome goes to the owner.
//
// One upload runs at a time in the whole process: a file that is ready while another
// one is uploaded waits in uploadQueue, in arrival order, and starts from the upload
// handler's finished hook (processUploadQueue).
//
// A received signal is converted to host order, kept only when it is this client's
// (client word and sender), checked against its size, and passed through the
// supervision before the client acts on it. Nothing is read past a signal's end nor
// written past what a block carries.
//
// The node's fullDistinguishedName, which begins each file's name, is read through
// ImaFacade at init(); the client's end releases the facade, so that a read still under
// way never reaches a deleted client.
//
// Main process only; no lock. The owner may delete the client inside actionFailed,
// actionSuccess, lostConnection and startRmciMeasurement: the client touches none of
// its members after such a call.
#ifndef RFTI_CLIENT_HANDLER_IMPL_H
#define RFTI_CLIENT_HANDLER_IMPL_H

#include "ImaFacade.h"
#include "RftiClientHandler.h"
#include "RmciRftiClientHandlerOwner.h"
#include "SignalSubscriber.h"
#include "ose.h"

#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class roSignalHandlerApi;
class ULSAFtpHandler;

class RftiClientHandlerImpl : public SignalSubscriber, public RftiClientHandler {
  public:
    /// The receiver of the read of the node's fullDistinguishedName through ImaFacade.
    class MyImaClient : public ImaClient {
      public:
        explicit MyImaClient(RftiClientHandlerImpl* owningHandler) : handler(owningHandler) {}
        void readCfm(const ImaMoAttributes& attributes) override;

        RftiClientHandlerImpl* handler;
        std::string fullDistinguishedName;
    };

    /// The managed object whose fullDistinguishedName begins each file name.
    static constexpr const char* kEquipmentSupportFunction =
        "ManagedElement=1,EquipmentSupportFunction=1";
    static constexpr uint32_t kSupervisionMs = 5000;
    /// The result code of every failure given to the owner.
    static constexpr uint32_t kFailureCode = 0x1000006;

    /// Makes the phantom "RFT_PHANTOM", redirected to the calling process.
    explicit RftiClientHandlerImpl(RmciRftiClientHandlerOwner* owner);
    /// Kills the phantom, ends the subscriptions, the attach, every supervision and
    /// an upload of this client; removes the sampling file, and the folder when no
    /// upload waits.
    ~RftiClientHandlerImpl() override;
    RftiClientHandlerImpl(const RftiClientHandlerImpl&) = delete;
    RftiClientHandlerImpl& operator=(const RftiClientHandlerImpl&) = delete;

    void init() override;
    void huntRftiServer(const std::string& dcControllerName) override;
    void getResult(uint32_t dataFileRef, uint32_t blockSize) override;
    void ftpDone(bool ok, const std::string& text) override;
    RftiGetCapabilitiesCfm getRftiCapabilities() override;

    void handleSignal(union SIGNAL** signal) override;

    /// The upload-finished hook: the next waiting upload, if any, starts.
    static void processUploadQueue();
    /// The folder of all sampling files.
    static const std::string sampleFolder;

    /// The phantom process: the sender of every request, the addressee of every reply.
    PROCESS phantom() const { return rftProcess; }
    /// The current sampling file's node path; empty before the first block.
    const std::string& currentFile() const { return fileName; }

  private:
    void createRftProcess();
    void deleteRftProcess();
    bool isOwnSignal(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size) const;
    bool passesSupervision(union SIGNAL* signal, SIGSELECT sigNo);
    void dispatch(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size);
    void handleHuntInd(union SIGNAL** signal, OSBUFSIZE size);
    void handleCapabilities(union SIGNAL* signal);
    void handleReject(union SIGNAL* signal, SIGSELECT sigNo, OSBUFSIZE size);
    void handleResultData(union SIGNAL* signal, OSBUFSIZE size);
    void handleTimeout(union SIGNAL* signal, SIGSELECT supervisedSigNo);
    void sendConnEstablishReq();
    void sendGetCapabilityReq();
    void sendAck(uint32_t seqNumber, bool last);
    void superviseHunt();
    bool serverKnown(const char* noServerTrace);
    void sendToServer(union SIGNAL* signal, const std::vector<SIGSELECT>& replies);
    bool makeSampleFolder();
    std::string buildFileName();
    bool checksumOk();
    void startUpload();
    void removeFile();
    static void removeTree(const std::string& path);
    // setInfoFromError, then actionFailed: the client may be deleted by then.
    void fail(uint32_t sigNo, uint32_t errorCode, const char* text);
    std::string nameOf(SIGSELECT sigNo) const;

    MyImaClient imaClient;
    RmciRftiClientHandlerOwner* owner;  // not owned
    PROCESS rftProcess;                 // the phantom; 0 when none
    PROCESS serverPid;                  // 0: no server known, every send fails
    std::string serverName;
    uint32_t froId;
    std::list<std::pair<SIGSELECT, std::string>> subscribedSignals;
    uint32_t connectionRef;
    std::unique_ptr<roSignalHandlerApi> signalHandler;
    // The file's description from RFTI_GET_RESULT_CFM.
    uint32_t fileSize;
    uint32_t blockSize;
    uint32_t totalNoOfBlocks;
    uint32_t checksum;
    std::string fileName;
    ULSAFtpHandler* ftpHandler;  // owned; only during this client's upload
    OSATTREF attachRef;
    bool attached;
    RftiGetCapabilitiesCfm capabilities;
    std::unique_ptr<int> endianMode;
    // Cleared by the destructor: a call to the owner that may delete the client keeps
    // a copy and looks at it before touching a member again.
    std::shared_ptr<bool> alive;

    static bool uploadIdle;                                 // no upload runs in the process
    static std::deque<RftiClientHandlerImpl*> uploadQueue;  // waiting, in arrival order
    // The phantom's redirection table: everything to the process that made the client.
    static struct OS_redir_entry phantomTable[1];
};

#endif  // RFTI_CLIENT_HANDLER_IMPL_H
