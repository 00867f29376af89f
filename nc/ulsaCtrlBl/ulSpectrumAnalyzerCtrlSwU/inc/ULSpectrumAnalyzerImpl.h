// ULSpectrumAnalyzerImpl: the fRO of the managed-object class UlSpectrumAnalyzer.
//
// The management layer reaches it through performAction with one of three actions:
// getUlsaSamplingCapability, startUlsaSampling and stopUlsaSampling. An accepted
// action starts a run: the object makes its RMCI client (and later its RFTI client)
// through its factories, and the clients report back through
// RmciRftiClientHandlerOwner. The start action is answered as soon as the radio unit
// has given its capabilities; how the run goes on after that shows only in the
// attributes ulSpectrumSamplingStatus (1 running, 2 ended well, 3 failed) and info
// (why it ended), each change with a parameter-changed indication.
//
// One object has at most one run; a run holds its callback, its two clients and its
// timers (2 to 5, through MapTimer), and ends in one place, endRun.
//
// Everything runs on the main process: timers come as signals, so no two events of a
// run overlap. No locks.
#ifndef UL_SPECTRUM_ANALYZER_IMPL_H
#define UL_SPECTRUM_ANALYZER_IMPL_H

#include "ActionResult.h"
#include "Attribute.h"
#include "FroCtrlIf.h"
#include "IndHandlerObserverIf.h"
#include "MapTimerObserver.h"
#include "RftiClientHandler.h"
#include "RmciClientHandler.h"
#include "RmciRftiClientHandlerOwner.h"
#include "fRO.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class FroCallbackIf;

class ULSpectrumAnalyzerImpl : public RmciRftiClientHandlerOwner,
                               public fRO,
                               public FroCtrlIf,
                               public MapTimerObserver,
                               public IndHandlerObserverIf {
  public:
    /// m_currentAction values.
    enum Action : uint32_t {
        ACTION_GET_CAPABILITY = 1,
        ACTION_START_SAMPLING = 2,
        ACTION_STOP_SAMPLING = 3,
        ACTION_NONE = 4
    };
    /// Values of ulSpectrumSamplingStatus.
    enum SamplingStatus : int32_t { STATUS_RUNNING = 1, STATUS_ENDED = 2, STATUS_FAILED = 3 };
    /// The timers of a run, by their enumeration value in MapTimer.
    enum TimerType : uint32_t {
        TIMER_SAMPLING_TIMEOUT = 2,  // the total time of a continuous run
        TIMER_INTERVAL = 3,          // between two samplings of a continuous run
        TIMER_CONDITIONAL = 4,       // the time of day, or how long to wait for the trigger
        TIMER_RECOVERY = 5           // before reconnecting after a lost connection
    };
    /// Result codes of an action.
    static constexpr uint32_t kResultUnknownAction = 1;
    static constexpr uint32_t kResultFailed = 0x1000006;
    static constexpr uint32_t kResultBusy = 0x1010002;

    /// The fRO type of the class.
    static constexpr uint32_t kFroType = 0x100001B;

    /// Seconds since the local midnight.
    using TimeOfDaySource = std::function<int32_t()>;

    ULSpectrumAnalyzerImpl();
    /// Deregisters from the indication handler, answers an action in progress with
    /// "Action abort" (result 1) and ends the run.
    ~ULSpectrumAnalyzerImpl() override;
    ULSpectrumAnalyzerImpl(const ULSpectrumAnalyzerImpl&) = delete;
    ULSpectrumAnalyzerImpl& operator=(const ULSpectrumAnalyzerImpl&) = delete;

    /// The allocator of the class, for its registration.
    static fRO* create();

    // RmciRftiClientHandlerOwner
    void actionFailed(const std::string& text, uint32_t code) override;
    void actionSuccess(union SIGNAL* signal) override;
    uint32_t currentAction() override;
    void startRftiClient(const std::string& dcControllerName) override;
    void startRftiGetResult(uint32_t dataFileRef) override;
    void startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) override;
    RmciSamplingParameters getSamplingParameters() override;
    uint32_t getFroId() override;
    std::string getTriggerTimeOfDay() override;
    uint32_t getPowerLevel() override;
    bool isRecovery() override;
    void setRecovery(bool recovery) override;
    std::string getTargetRfPort() override;
    void getFtpParameters(std::string& username, std::string& password, std::string& ipAddress,
                          std::string& uploadDirectory) override;
    void setInfoFromError(uint32_t sigNo, uint32_t errorCode) override;
    void lostConnection(uint32_t which) override;
    void setFtpInProgress(bool inProgress) override;

    /// "UlSpectrumAnalyzer".
    std::string getInterfaceName() override;
    /// "UlSpectrumAnalyzer".
    std::string getSubjectName() const override;
    void performAction(const std::string& command, const Attributes& parameters,
                       FroCallbackIf* callback) override;
    void timeout(uint32_t enumId) override;
    /// Sets the S32 attribute and sends its parameter-changed indication.
    virtual void setAttributeAndNotify(const std::string& name, int32_t value);
    /// Only traces that a management client has subscribed to the class.
    virtual void indHandlerSubscribeEvent(uint32_t subscribedType, uint32_t client);
    /// Sends the attribute's present value as a parameter-changed indication.
    virtual void sendParamChangedInd(const std::string& name);
    /// Forwards to indHandlerSubscribeEvent.
    void subscriberAdded(uint32_t subscribedType, uint32_t pid) override;

    /// Swaps other client factories in; the caller gets the ones before.
    void swapRmciFactory(RmciClientFactory& factory);
    void swapRftiFactory(RftiClientFactory& factory);
    /// Swaps another clock of the time of day in; the caller gets the one before.
    void swapTimeOfDaySource(TimeOfDaySource& source);

  private:
    void getUlsaSamplingCapability(const Attributes& parameters, FroCallbackIf* callback);
    void startUlsaSampling(const Attributes& parameters, FroCallbackIf* callback);
    void stopUlsaSampling(const Attributes& parameters, FroCallbackIf* callback);
    void refuseBusy(FroCallbackIf* callback);
    void parseStartParameters(const Attributes& parameters);
    bool startRmciClient();
    void startSamplingTypeTimer();
    uint32_t delayToTimeOfDay();
    void answerCapabilities(union SIGNAL* signal);
    void fileDone();
    void stopConfirmed();
    void answer(uint32_t result, const std::string& errorText);
    void failRun(int32_t info);
    void setTimer(uint32_t type, uint32_t ms);
    void resetTimer(uint32_t type);
    void endRun();

    RmciClientFactory m_rmciFactory;
    RftiClientFactory m_rftiFactory;
    std::unique_ptr<RmciClientHandler> m_rmciClient;  // null when no run is on
    std::unique_ptr<RftiClientHandler> m_rftiClient;  // null until the configuration is confirmed
    ActionResult m_actionResult;                      // the answer under construction
    uint32_t m_currentAction;                         // an Action value
    std::string m_ownLdn;
    std::string m_targetRadioUnit;
    std::string m_targetRfPort;
    RmciSamplingParameters m_samplingParameters;  // what RMCI_CONFIG_REQ carries
    std::string m_username;
    std::string m_password;
    std::string m_ipAddress;
    std::string m_uploadDirectory;
    std::string m_triggerTimeOfDay;
    uint32_t m_samplingInterval;  // seconds
    uint32_t m_powerLevel;
    FroCallbackIf* m_callback;  // not owned; set from the first request of a run to its end
    uint32_t m_dataFileRef;     // the result file the radio unit named last
    RftiGetCapabilitiesCfm m_rftiCapabilities;  // its last word is the block size
    uint8_t m_firstCapability[60];              // the head of the last capability reply
    bool m_actionAnswered;                      // the action's answer has gone out
    bool m_ftpInProgress;                       // a file of this object is being uploaded
    bool m_recovery;         // the connection was lost and the run is coming back
    bool m_stopAfterUpload;  // the total time of a continuous run is over
    bool m_stopped;          // stopUlsaSampling has been confirmed
    TimeOfDaySource m_timeOfDay;
};

#endif  // UL_SPECTRUM_ANALYZER_IMPL_H
