// ManagementClient: the node's management layer, as a library.
//
// It plays what sits above the load module on a real node: it finds the service the
// load module publishes at "ose_ns", opens it with MAOFRO_INITIATE_SERVICE_REQ,
// subscribes to indications per fRO type, creates, commits and rolls back
// transactions at "TarvoTransaction", and sends create, set, get, delete and action
// requests with their XML. Each call returns the decoded confirm.
//
// The client is a kernel process: connect() uses the calling thread's process, or
// adopts the calling thread as one (named Config::processName) when it is none, and
// close() leaves it again. From then on every call must come from that thread; a call
// from another one is refused with Outcome::badRequest. Calls are synchronous and each
// waits at most the time the caller gives: an answer that does not come is
// Outcome::timedOut, a peer that ends during the wait Outcome::peerGone, an answer
// that does not decode Outcome::malformed. None of them hangs or throws.
//
// Indications (fault, fault ceased, parameter changed) that arrive while a call waits
// are kept in order; dispatchIndications() hands them, and those that come during
// its own wait, to the handler given to onIndication().
#ifndef MGMT_MANAGEMENT_CLIENT_H
#define MGMT_MANAGEMENT_CLIENT_H

#include "Attribute.h"
#include "XmlClassData.h"
#include "ose.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace mgmt {

/// The service name the load module publishes.
constexpr const char* kDefaultServiceName = "CLIB_FRO_ULSA_MGMT_SERVICE_NAME";

/// How an exchange went, apart from what the node answered.
enum class Outcome {
    answered,      // a well-formed answer came; see its result
    timedOut,      // no answer within the time given
    malformed,     // an answer came that does not decode (too short, no NUL, bad zip)
    peerGone,      // the service or the transaction server ended
    notConnected,  // connect() has not succeeded, or the service was lost
    badRequest,    // the call itself cannot be made (wrong thread, text too long)
};

/// "answered", "timed out", ...
const char* outcomeName(Outcome outcome);

/// The decoded answer to a request or to a transaction call.
struct Confirm {
    Outcome outcome = Outcome::notConnected;
    /// The answer's signal number; 0 when none came.
    SIGSELECT signal = 0;
    /// The node's result: 0 for success.
    uint32_t result = 0;
    /// The transaction the answer names (the new one for createTransaction).
    uint32_t transactionId = 0;
    /// The id the node gave a created fRO (create only).
    uint32_t externalFroId = 0;
    /// The node's error text when it refused; the client's own when nothing was answered.
    std::string errorText;
    /// The XML of a get or action confirm, unzipped when it came as type 22.
    std::string xml;
    /// The XML came zipped (type 22).
    bool zipped = false;
    /// The XML read into its record (LDN, attributes), when xml is not empty.
    XmlClassData data;

    /// A well-formed answer with result 0.
    bool ok() const { return outcome == Outcome::answered && result == 0; }
    /// One line for a person: "ok", the node's result and text, or what went wrong.
    std::string describe() const;
    /// The value of an attribute of data by name; empty when there is none.
    std::string value(const std::string& name) const;
};

/// The answer to MAOFRO_INITIATE_SERVICE_REQ.
struct InitiateConfirm {
    Outcome outcome = Outcome::notConnected;
    bool accepted = false;           // result 1; 3 is refused
    uint32_t signalRevision = 0;     // echoed from the request
    std::string revision;            // the revision the service received
    std::string errorText;           // the client's own text when nothing was answered

    bool ok() const { return outcome == Outcome::answered && accepted; }
};

/// The outcome of a call that has no answer (a subscription, an action without
/// confirm): sent, or why not.
struct Sent {
    Outcome outcome = Outcome::notConnected;
    std::string errorText;
    bool ok() const { return outcome == Outcome::answered; }
};

/// Which fRO a request is about.
struct FroRef {
    uint32_t froType = 0;
    std::string ldn;
    /// The id the create confirm gave; set, get and delete carry it.
    uint32_t externalFroId = 0;
};

/// A request in its raw form, for callers that bring their own XML.
struct Request {
    enum class Kind { create, set, get, remove, action, actionWithConfirm };
    Kind kind = Kind::create;
    uint32_t transactionId = 0;
    uint32_t froType = 0;
    uint32_t externalFroId = 0;  // set, get, delete
    std::string xml;
    bool zip = false;  // send the XML deflated and Base64-encoded, as type 22
};

/// An indication, decoded.
struct Indication {
    enum class Kind { fault, faultCeased, parameterChanged };
    Kind kind = Kind::parameterChanged;
    PROCESS from = 0;
    uint32_t froId = 0;
    uint32_t froType = 0;
    uint32_t specificProblem = 0;  // faults: the fault id
    std::string xml;
    /// The XML read into its record: LDN, fault name, the attributes or fault fields.
    XmlClassData data;
    /// The XML read well.
    bool parsed = false;

    /// The value of an attribute of data by name; empty when there is none.
    std::string value(const std::string& name) const;
};

using IndicationHandler = std::function<void(const Indication&)>;

class ManagementClient {
  public:
    struct Config {
        /// The name of the adopted process, when the connecting thread is none.
        std::string processName = "ulsa_mgmt";
        /// The mim version written in every request.
        std::string mimVersion = "R1A";
    };

    ManagementClient();
    explicit ManagementClient(Config config);
    /// close().
    ~ManagementClient();
    ManagementClient(const ManagementClient&) = delete;
    ManagementClient& operator=(const ManagementClient&) = delete;

    /// Finds the process that publishes serviceName at "ose_ns", waiting at most
    /// timeoutMs for the name server and for the publication, and supervises it.
    Sent connect(OSTIME timeoutMs, const std::string& serviceName = kDefaultServiceName);
    /// Forgets the service; leaves the adopted process, if connect() adopted one. Only
    /// on the client's own thread: elsewhere (also in the destructor) it does nothing.
    void close();
    /// The service's process; 0 when not connected.
    PROCESS service() const { return m_service; }

    /// MAOFRO_INITIATE_SERVICE_REQ with a revision string (at most 91 characters).
    InitiateConfirm initiate(const std::string& revision, OSTIME timeoutMs);
    /// MAOFRO_NOTIFY_SUBSCRIBE_REQ2 for one fRO type; the service sends no confirm.
    Sent subscribe(uint32_t froType, uint32_t clientId = 0);

    /// A new transaction at "TarvoTransaction"; its id is in transactionId. The
    /// transaction calls need no connect(): the first call takes the process as connect
    /// does.
    Confirm createTransaction(OSTIME timeoutMs);
    /// Commits; result 0 when the transaction's changes are stored.
    Confirm commit(uint32_t transactionId, OSTIME timeoutMs);
    /// Rolls back.
    Confirm rollback(uint32_t transactionId, OSTIME timeoutMs);

    /// MAO_FRO_CREATE_REQ: the fRO at fro.ldn with these attributes.
    Confirm create(uint32_t transactionId, const FroRef& fro, const Attributes& attributes,
                   OSTIME timeoutMs);
    /// MAO_FRO_SET_REQ.
    Confirm set(uint32_t transactionId, const FroRef& fro, const Attributes& attributes,
                OSTIME timeoutMs);
    /// MAO_FRO_GET_REQ for the attributes named.
    Confirm get(uint32_t transactionId, const FroRef& fro, const std::vector<std::string>& names,
                OSTIME timeoutMs);
    /// MAO_FRO_DELETE_REQ.
    Confirm remove(uint32_t transactionId, const FroRef& fro, OSTIME timeoutMs);
    /// MAO_FRO_ACTION: the node answers nothing, also not a failure.
    Sent action(uint32_t transactionId, const FroRef& fro, const std::string& name,
                const Attributes& parameters);
    /// MAO_FRO_ACTION_REQ, answered by MAO_FRO_ACTION_CFM when the action is done.
    Confirm actionWithConfirm(uint32_t transactionId, const FroRef& fro, const std::string& name,
                              const Attributes& parameters, OSTIME timeoutMs);

    /// Any request with the caller's own XML; for Kind::action the answer is not waited
    /// for and the result is answered at once when sent.
    Confirm request(const Request& request, OSTIME timeoutMs);

    /// The handler of indications; an empty one drops them.
    void onIndication(IndicationHandler handler);
    /// Hands every kept indication to the handler, then waits at most timeoutMs for
    /// more while none has been handed over; returns how many were handed over.
    std::size_t dispatchIndications(OSTIME timeoutMs);

    /// Signals that came and were not for the client, or did not decode, and were
    /// dropped since the start. Answers that come after their call gave up waiting are
    /// freed without being counted.
    std::size_t droppedSignals() const { return m_dropped; }

  private:
    using TimePoint = std::chrono::steady_clock::time_point;
    struct Wait;
    bool usable(std::string& why) const;
    bool ensureProcess(std::string& why);
    PROCESS huntFor(const char* name, TimePoint deadline);
    bool findTransactionServer(TimePoint deadline, std::string& why);
    Confirm transactionCall(SIGSELECT request, SIGSELECT answer, uint32_t transactionId,
                            OSTIME timeoutMs);
    void rollbackOrphan(uint32_t transactionId, PROCESS server);
    union SIGNAL* await(Wait& wait);
    void keep(union SIGNAL* signal);
    void drop(union SIGNAL** signal);
    void peerEnded(PROCESS pid);

    Config m_config;
    PROCESS m_self = 0;
    bool m_adopted = false;
    PROCESS m_service = 0;
    OSATTREF m_serviceAttach = 0;
    std::string m_serviceName;
    PROCESS m_transactionServer = 0;
    OSATTREF m_transactionAttach = 0;
    uint32_t m_nextRevision = 1;
    /// Answers still owed by a peer (by its process and the answer's number) after a
    /// call gave up waiting for them: the next ones are theirs, as a peer answers in order.
    std::map<std::pair<PROCESS, SIGSELECT>, unsigned> m_late;
    std::deque<Indication> m_indications;
    IndicationHandler m_handler;
    std::size_t m_dropped = 0;
};

/// Deflates a text (zlib, level 9) and encodes it in Base64: the form of type 22.
std::string zipAndEncode(const std::string& text);
/// The inverse; false when the text does not decode and inflate to its end.
bool decodeAndUnzip(const std::string& text, std::string& out);

}  // namespace mgmt

#endif  // MGMT_MANAGEMENT_CLIENT_H
