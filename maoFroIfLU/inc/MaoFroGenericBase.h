// MaoFroGenericBase: turns the management layer's MAO-FRO requests into work on the fRO
// framework. Each request's XML is read, the work is bound to the platform transaction
// (TraniGenericBase::registerResource), applied to transMgr, written through to
// FroDatabase, and answered with a confirm signal to the sender.
//
// Create, set and delete have two levels of the same name: the outer one takes the
// signal, extracts and parses it and always confirms; the inner one does the work on an
// NcmiSignalData and returns the error code. Get has handleGetReq and handleGet, and its
// confirm may come later, when the fRO answers a snapshot request (snapshotParamUpdated).
// An action outlives its signal: the fRO answers through actionCompleted, and the fRO is
// told again when the action's transaction commits or rolls back.
//
// An application derives from the class and hooks in through the userCallback...
// operations, which do nothing and return 0 here; a non-zero value is the request's
// error code. Everything runs on the application's one process; nothing is locked.
#ifndef MAO_FRO_GENERIC_BASE_H
#define MAO_FRO_GENERIC_BASE_H

#include "ActionResult.h"
#include "Attribute.h"
#include "FroCallbackIf.h"
#include "NcmiSignalData.h"
#include "dynTrace.h"
#include "ose.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

class fRO;

/// A get request waiting for its answer.
struct GetRequest {
    std::string ldn;
    uint32_t transactionId = 0;
    uint32_t senderPid = 0;
    /// Seconds, from time().
    std::time_t timestamp = 0;
    /// The mim version of the request, echoed in the answer.
    std::string version;
    /// The names asked for.
    Attributes attributes;
};

/// An action that was started and has not completed.
struct ActionRequest {
    /// Not owned.
    fRO* fro = nullptr;
    /// 0 when the action is outside a transaction.
    uint32_t transactionId = 0;
    uint32_t senderPid = 0;
    /// The mim version of the request, echoed in the answer.
    std::string version;
    /// False for MAO_FRO_ACTION, true for MAO_FRO_ACTION_REQ.
    bool sendCfm = false;
    std::string actionName;
};

/// An action bound to a transaction whose commit or rollback is awaited.
struct TransactionAction {
    /// Never 0.
    uint32_t transactionId = 0;
    std::string ldn;
    std::string actionName;
};

class MaoFroGenericBase : public FroCallbackIf {
  public:
    MaoFroGenericBase();
    MaoFroGenericBase(const MaoFroGenericBase&) = delete;
    MaoFroGenericBase& operator=(const MaoFroGenericBase&) = delete;

    /// The same as the long form with result 0 and no text.
    void snapshotParamUpdated(fRO* fro) override;
    /// Answers the gets waiting for the fRO, then takes up those queued behind them.
    void snapshotParamUpdated(fRO* fro, uint32_t result, const std::string& froErrorText) override;
    /// Confirms the action (when it wanted a confirm) and frees the fRO for its next one.
    void actionCompleted(fRO* fro, const ActionResult& result) override;
    ~MaoFroGenericBase() override;

    /// MAO_FRO_CREATE_REQ; always confirms.
    virtual void handleCreateReq(union SIGNAL* sig, uint32_t senderPid);
    /// Creates the fRO in the transaction and the database; returns the error code.
    virtual uint32_t handleCreateReq(NcmiSignalData& data);
    /// MAO_FRO_SET_REQ; always confirms.
    virtual void handleSetReq(union SIGNAL* sig, uint32_t senderPid);
    /// Sets the attributes in the transaction and the database; returns the error code.
    virtual uint32_t handleSetReq(NcmiSignalData& data);
    /// MAO_FRO_GET_REQ; confirms now on failure, otherwise when the answer is collected.
    virtual void handleGetReq(union SIGNAL* sig, uint32_t senderPid);
    /// MAO_FRO_DELETE_REQ; always confirms.
    virtual void handleDeleteReq(union SIGNAL* sig, uint32_t senderPid);
    /// Deletes the fRO in the transaction and the database; returns the error code.
    virtual uint32_t handleDeleteReq(NcmiSignalData& data);
    /// MAO_FRO_ACTION_REQ: an action with a confirm.
    virtual void handleActionReqWCfm(union SIGNAL* sig, uint32_t senderPid);
    /// MAO_FRO_ACTION: an action whose failure is only traced.
    virtual void handleActionReq(union SIGNAL* sig, uint32_t senderPid);
    /// MAOFRO_INITIATE_SERVICE_REQ, accepting any revision.
    virtual void handleInServReq(union SIGNAL* sig, uint32_t senderPid);
    /// MAOFRO_INITIATE_SERVICE_REQ, accepting only wantedRevision unless it is empty.
    virtual void handleInServReq(union SIGNAL* sig, uint32_t senderPid,
                                 const std::string& wantedRevision);
    /// The transaction committed: tells the fROs whose actions ran in it.
    virtual void handleTraniCommit(uint32_t transactionId);
    /// The transaction was rolled back: tells the fROs whose actions ran in it.
    virtual void handleTraniRollback(uint32_t transactionId);

    /// The transaction server went down and took its transactions with it: forgets the
    /// actions bound to them, clearing the transaction id of their fROs, without telling
    /// the fROs. (A new server may give the same ids again.)
    void handleTraniServerDown();

    /// Looks the committed fRO up by LDN and stores the transaction id in it, if it is there.
    void setTransactionIdOnfRO(const std::string& ldn, uint32_t transactionId);

    /// Deflates the text (zlib, level 9) and replaces it by the Base64 of the stream;
    /// false when the compression failed, and the text is then empty.
    static bool zipAndEncode(std::string& text);
    /// Drops every character outside the Base64 alphabet, decodes and inflates; false,
    /// with the text unchanged, when the data does not inflate to its end.
    static bool decodeAndUnzip(std::string& text);

  protected:
    virtual uint32_t userCallbackCreateReq_Validate(NcmiSignalData& data, std::string& errorText);
    virtual uint32_t userCallbackCreateReq_AfterTransMgrCreate(NcmiSignalData& data,
                                                               std::string& errorText);
    virtual uint32_t userCallbackCreateReq_BeforeDatabase(NcmiSignalData& data,
                                                          std::string& errorText);
    virtual uint32_t userCallbackCreateReq_AfterDatabase(NcmiSignalData& data,
                                                         std::string& errorText);
    virtual uint32_t userCallbackSetReq_Validate(NcmiSignalData& data, std::string& errorText);
    virtual uint32_t userCallbackSetReq_AfterTransMgrSet(NcmiSignalData& data,
                                                         std::string& errorText);
    virtual uint32_t userCallbackSetReq_BeforeDatabase(NcmiSignalData& data,
                                                       std::string& errorText);
    virtual uint32_t userCallbackSetReq_AfterDatabase(NcmiSignalData& data, std::string& errorText);
    virtual uint32_t userCallbackDeleteReq_Validate(fRO* fro, NcmiSignalData& data,
                                                    std::string& errorText);
    virtual uint32_t userCallbackDeleteReq_BeforeTransMgrDelete(NcmiSignalData& data,
                                                                std::string& errorText);
    virtual uint32_t userCallbackDeleteReq_AfterTransMgrDelete(NcmiSignalData& data,
                                                               std::string& errorText);
    virtual uint32_t userCallbackDeleteReq_BeforeDatabase(NcmiSignalData& data,
                                                          std::string& errorText);
    virtual uint32_t userCallbackDeleteReq_AfterDatabase(NcmiSignalData& data,
                                                         std::string& errorText);
    virtual uint32_t userCallbackActionReq_Validate(fRO* fro, NcmiSignalData& data,
                                                    std::string& errorText);
    /// Hands the action to the fRO's FroCtrlIf; a fRO without one completes it with a failure.
    virtual void userCallbackActionReq_PerformAction(fRO* fro, const std::string& command,
                                                     const Attributes& parameters);

    /// The outer level of both action requests.
    virtual void handleAction(union SIGNAL* sig, uint32_t senderPid, bool isRequest);
    /// Checks the action and starts it on the fRO; errorCode 0 when it has begun.
    virtual void handleAction(NcmiSignalData& data, uint32_t& errorCode);
    /// Starts the collection of a get's answer; errorCode 0 when the answer is on its way.
    virtual void handleGet(NcmiSignalData& data, uint32_t& errorCode);

    virtual bool extractCreateReq(union SIGNAL* sig, NcmiSignalData& data);
    virtual bool extractSetReq(union SIGNAL* sig, NcmiSignalData& data);
    virtual bool extractGetReq(union SIGNAL* sig, NcmiSignalData& data);
    virtual bool extractDeleteReq(union SIGNAL* sig, NcmiSignalData& data);
    virtual bool extractActionReq(union SIGNAL* sig, NcmiSignalData& data);

    virtual void sendCreateCfm(uint32_t result, uint32_t transactionId, uint32_t externalFroId,
                               uint32_t senderPid, const std::string& errorText);
    virtual void sendSetCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                            const std::string& errorText);
    virtual void sendGetCfm(uint32_t result, uint32_t transactionId, const std::string& xml,
                            uint32_t senderPid, const std::string& errorText);
    virtual void sendDeleteCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                               const std::string& errorText);
    virtual void sendInServCfm(bool accepted, uint32_t signalRevision, const std::string& revision,
                               uint32_t senderPid);
    virtual void sendActionCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                               const std::string& errorText, const std::string& xml);

    void initNcmiSigData(NcmiSignalData& data, bool sendCfm, uint32_t senderPid);
    /// Takes up a queued get; false when the fRO took it as a new snapshot job.
    bool handlePendingGetReq(GetRequest& request);
    void processPendingGetRequests(const std::string& ldn);
    /// Answers every outstanding get of the LDN.
    void collectGetData(const std::string& ldn, uint32_t result, const std::string& froErrorText);
    /// True when a get of the same LDN waits, at most 30 seconds old; drops older ones.
    bool fROHasOutstandingGetReq(const GetRequest& request);
    /// The entry of the fRO's running action, or null.
    const ActionRequest* fROHasOutstandingActionReq(const fRO* fro) const;

    std::vector<GetRequest> outstandingGetRequests;
    std::vector<GetRequest> pendingGetRequests;
    std::vector<ActionRequest> outstandingActions;
    std::vector<TransactionAction> transactionActions;
    TraceHandle traceObject;
    /// For the signals sent.
    TraceHandle signalTraceObject;
};

#endif  // MAO_FRO_GENERIC_BASE_H
