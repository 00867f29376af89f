// RmciClientHandlerImpl: the analyzer's client of the radio unit's measurement
// server.
//
// It finds the unit through the unit's status service ("KGM_IW_USI:" + LDN), learns
// the controller name from the unit information, hunts and attaches to
// "<dcControllerName>/RmcServer", and speaks RMCI with it: capabilities,
// configuration, measurement, stop. Every request goes out under supervision from
// the client's own phantom process "RMC_PHANTOM" (whose signals are redirected to the
// process that made the client), and every outcome goes to the owner.
//
// A received signal is converted to host order, kept only when it is this client's
// (client word and sender), checked against its size, and passed through the
// supervision before the client acts on it. A signal too short or malformed for its
// fields is dropped with a trace and never read past its end: a dropped reply leaves
// its supervision running, so the action ends with the time-out's failure.
//
// Main process only; no lock. The owner may delete the client inside actionFailed,
// actionSuccess and lostConnection: the client touches none of its members after
// such a call.
#ifndef RMCI_CLIENT_HANDLER_IMPL_H
#define RMCI_CLIENT_HANDLER_IMPL_H

#include "MapTimerObserver.h"
#include "RmciClientHandler.h"
#include "RmciRftiClientHandlerOwner.h"
#include "SignalSubscriber.h"
#include "ose.h"
#include "plab/nameserver/v1/NameServer.h"

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class roSignalHandlerApi;

class RmciClientHandlerImpl : public RmciClientHandler,
                              public SignalSubscriber,
                              public MapTimerObserver {
  public:
    /// The client's timers in MapTimer, keyed by targetLdn.
    enum TimerType : uint32_t {
        TIMER_SUBSCRIBE = 1,    // the service subscription, or the wait after a recovery's REJ
        TIMER_CAPABILITIES = 6  // the wait before asking again for capabilities
    };
    static constexpr uint32_t kSupervisionMs = 30000;
    static constexpr uint32_t kSubscribeMs = 30000;
    static constexpr uint32_t kRetryMs = 5000;
    /// The result code of every failure given to the owner.
    static constexpr uint32_t kFailureCode = 0x1000006;

    /// Makes the phantom "RMC_PHANTOM", redirected to the calling process.
    explicit RmciClientHandlerImpl(RmciRftiClientHandlerOwner* owner);
    /// Kills the phantom, ends the subscriptions, the attach, the timers and every
    /// supervision.
    ~RmciClientHandlerImpl() override;
    RmciClientHandlerImpl(const RmciClientHandlerImpl&) = delete;
    RmciClientHandlerImpl& operator=(const RmciClientHandlerImpl&) = delete;

    void init() override;
    void subscribeToService(const std::string& ldn) override;
    void startRmciMeasurement(uint32_t measurementType, uint32_t portId) override;
    void stopUlsaSampling(uint32_t portId) override;
    std::string getServiceName(const std::string& ldn) override;
    void unsubscribeFromService(const std::string& serviceName) override;
    bool isMeasurementIndReceived() override;
    void setMeasurementIndReceived(bool received) override;

    void handleSignal(union SIGNAL** signal) override;
    void timeout(uint32_t type) override;

    /// The phantom process: the sender of every request, the addressee of every reply.
    PROCESS phantom() const { return rmcProcess; }

  private:
    void createRmcProcess();
    void deleteRmcProcess();
    void serviceCallback(const std::string& service, PROCESS pid);
    bool isOwnSignal(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size) const;
    bool passesSupervision(union SIGNAL* signal, SIGSELECT sigNo);
    void dispatch(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size);
    void dropMalformed(SIGSELECT sigNo, OSBUFSIZE size);
    void handleUnitInfo(union SIGNAL* signal, OSBUFSIZE size);
    void handleHuntInd(union SIGNAL** signal, OSBUFSIZE size);
    void handleCapabilities(union SIGNAL* signal);
    void handleReject(union SIGNAL* signal, SIGSELECT sigNo, OSBUFSIZE size);
    void handleMeasureInd(union SIGNAL* signal);
    void handleTimeout(union SIGNAL* signal, SIGSELECT supervisedSigNo);
    void startHunt();
    void sendUsiConnEstablishReq(const std::string& service);
    void sendUsiConnCloseReq();
    void sendRmciConnEstablishReq();
    void sendRmciGetCapabilityReq();
    void sendRmciConfigReq();
    // Sends under supervision from the phantom; a refusal is traced and frees it.
    void supervise(union SIGNAL* signal, const std::vector<SIGSELECT>& replies, PROCESS to);
    // With no server known: the trace text, then the invalid-PID failure (the client
    // may be gone by then), and false.
    bool serverKnown(const char* noServerTrace);
    // Converts a request to the server's order and supervises it.
    void sendToServer(union SIGNAL* signal, const std::vector<SIGSELECT>& replies);
    // setInfoFromError, then actionFailed: the client may be deleted by then.
    void fail(uint32_t sigNo, uint32_t errorCode, const char* text);
    void setTimer(uint32_t type, uint32_t ms);
    void resetTimer(uint32_t type);
    std::string nameOf(SIGSELECT sigNo) const;

    RmciRftiClientHandlerOwner* owner;  // not owned
    uint32_t usiConnectionRef;
    PROCESS usiServerPid;
    PROCESS rmcProcess;  // the phantom; 0 when none
    PROCESS serverPid;   // 0: no server known, every send fails
    std::string serverName;
    uint32_t froId;
    std::list<std::pair<SIGSELECT, std::string>> subscribedSignals;
    std::string dcControllerName;
    std::string targetLdn;
    uint32_t connectionRef;
    std::unique_ptr<roSignalHandlerApi> signalHandler;
    OSATTREF attachRef;
    bool attached;
    bool measurementIndReceived;
    bool unitDisabled;
    std::unique_ptr<int> endianMode;
    std::shared_ptr<plab::nameserver::v1::ServiceCallback> serviceFoundCallback;
    std::shared_ptr<plab::nameserver::v1::ServiceCallback> serviceLostCallback;
    // The service name this client subscribes to; empty when none.
    std::string subscribedService;
    // Cleared by the destructor: a call to the owner that may delete the client keeps
    // a copy and looks at it before touching a member again.
    std::shared_ptr<bool> alive;

    // The phantom's redirection table: everything to the process that made the client.
    static struct OS_redir_entry phantomTable[1];
};

#endif  // RMCI_CLIENT_HANDLER_IMPL_H
