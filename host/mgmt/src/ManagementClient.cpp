#include "ManagementClient.h"

#include "MaoFroCodec.h"
#include "NameServerSignals.h"
#include "TransactionSignals.h"
#include "maoFroSignals.h"
#include "oseHost.h"

#include <chrono>
#include <cstring>
#include <functional>
#include <iterator>
#include <utility>

namespace mgmt {

namespace {

// The client's own signals: its attach signal on a peer, which the kernel hands back
// when the peer ends, and its hunt signals.
constexpr SIGSELECT kPeerGone = 0x7E6D01;
constexpr SIGSELECT kHuntDone = 0x7E6D02;

using Clock = std::chrono::steady_clock;

bool isIndication(SIGSELECT number) {
    return number == maofro::MAO_FRO_FAULT_IND || number == maofro::MAO_FRO_FAULT_CEASED_IND ||
           number == maofro::MAO_FRO_PARAMETER_CHD_IND;
}

SIGSELECT numberOf(union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

union SIGNAL* wordSignal(SIGSELECT number, std::initializer_list<uint32_t> words) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(4 + 4 * words.size()), number);
    std::size_t offset = 4;
    for (uint32_t word : words) {
        std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &word, sizeof word);
        offset += 4;
    }
    return signal;
}

std::string findAttribute(const XmlClassData& data, const std::string& name) {
    for (const Attribute& attribute : data.attributes) {
        if (attribute.name == name)
            return attribute.value;
    }
    return {};
}

OSATTREF supervise(PROCESS pid) {
    union SIGNAL* gone = alloc(4, kPeerGone);
    return attach(&gone, pid);
}

}  // namespace

// One wait for an answer: its number and sender, what else it must match, and until when.
struct ManagementClient::Wait {
    SIGSELECT number = 0;
    PROCESS from = 0;  // 0: any sender
    std::function<bool(const SignalBytes&)> matches;  // empty: every signal of that number
    bool alwaysAnswered = false;  // the peer answers each request: a late answer is owed
    std::function<bool()> until;  // ends the wait early once true (checked after each signal)
    Clock::time_point deadline;
    Outcome outcome = Outcome::timedOut;
};

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::answered: return "answered";
        case Outcome::timedOut: return "timed out";
        case Outcome::malformed: return "malformed answer";
        case Outcome::peerGone: return "peer gone";
        case Outcome::notConnected: return "not connected";
        case Outcome::badRequest: return "bad request";
    }
    return "unknown";
}

std::string Confirm::describe() const {
    if (outcome != Outcome::answered)
        return std::string(outcomeName(outcome)) + ": " + errorText;
    if (result == 0)
        return "ok";
    return "refused (result " + std::to_string(result) + ")" +
           (errorText.empty() ? std::string{} : ": " + errorText);
}

std::string Confirm::value(const std::string& name) const { return findAttribute(data, name); }

std::string Indication::value(const std::string& name) const { return findAttribute(data, name); }

ManagementClient::ManagementClient() : ManagementClient(Config{}) {}

ManagementClient::ManagementClient(Config config) : m_config(std::move(config)) {}

ManagementClient::~ManagementClient() { close(); }

bool ManagementClient::ensureProcess(std::string& why) {
    const PROCESS current = ose_current_process_or_zero();
    if (m_self != 0) {
        if (current != m_self) {
            why = "the client is used from a thread other than the one that connected it";
            return false;
        }
        return true;
    }
    if (current != 0) {
        m_self = current;
    } else {
        m_self = ose_adopt_thread(m_config.processName.c_str());
        m_adopted = true;
    }
    return m_self != 0;
}

bool ManagementClient::usable(std::string& why) const {
    if (m_self == 0) {
        why = "the client is not connected";
        return false;
    }
    if (ose_current_process_or_zero() != m_self) {
        why = "the client is used from a thread other than the one that connected it";
        return false;
    }
    return true;
}

void ManagementClient::close() {
    if (m_self == 0 || ose_current_process_or_zero() != m_self)
        return;  // never connected, or not on its own thread: nothing it may touch
    if (m_service != 0)
        detach(&m_serviceAttach);
    if (m_transactionServer != 0)
        detach(&m_transactionAttach);
    m_service = 0;
    m_transactionServer = 0;
    m_late.clear();
    if (m_adopted)
        ose_leave_thread();
    m_self = 0;
    m_adopted = false;
}

void ManagementClient::drop(union SIGNAL** signal) {
    ++m_dropped;
    free_buf(signal);
}

void ManagementClient::peerEnded(PROCESS pid) {
    if (pid == m_service) {
        m_service = 0;
        m_serviceAttach = 0;
    }
    if (pid == m_transactionServer) {
        m_transactionServer = 0;
        m_transactionAttach = 0;
    }
    // A new peer owes nothing of the old one's answers.
    for (auto owed = m_late.begin(); owed != m_late.end();) {
        owed = owed->first.first == pid ? m_late.erase(owed) : std::next(owed);
    }
}

void ManagementClient::keep(union SIGNAL* signal) {
    Indication indication;
    indication.from = sender(&signal);
    std::string why;
    const SignalBytes bytes(signal, sigsize(&signal));
    if (decodeIndication(numberOf(signal), bytes, indication, why)) {
        m_indications.push_back(std::move(indication));
        free_buf(&signal);
    } else {
        drop(&signal);
    }
}

union SIGNAL* ManagementClient::await(Wait& wait) {
    static const SIGSELECT anySignal[] = {0};
    // Past the deadline the queue is only looked through, and only so far: signals
    // that keep coming must not hold the call beyond its time.
    constexpr unsigned kPollsPastDeadline = 256;
    unsigned pollsPastDeadline = 0;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            wait.deadline - Clock::now());
        const OSTIME timeout = left.count() > 0 ? static_cast<OSTIME>(left.count()) : 0;
        union SIGNAL* signal = nullptr;
        if (timeout > 0 || ++pollsPastDeadline <= kPollsPastDeadline)
            signal = receive_w_tmo(timeout, anySignal);
        if (signal == nullptr) {
            if (Clock::now() < wait.deadline)
                continue;  // woken early: wait out the rest
            if (wait.alwaysAnswered && wait.from != 0)
                ++m_late[{wait.from, wait.number}];
            wait.outcome = Outcome::timedOut;
            return nullptr;
        }
        const SIGSELECT number = numberOf(signal);
        const PROCESS from = sender(&signal);
        if (number == kPeerGone) {
            free_buf(&signal);
            peerEnded(from);
            if (wait.from != 0 && from == wait.from) {
                wait.outcome = Outcome::peerGone;
                return nullptr;
            }
            continue;
        }
        if (isIndication(number)) {
            keep(signal);
            if (wait.until && wait.until()) {
                wait.outcome = Outcome::answered;
                return nullptr;
            }
            continue;
        }
        auto late = m_late.find({from, number});
        if (late != m_late.end() && late->second > 0) {
            // The answer to an earlier call that gave up waiting: a peer answers in order.
            if (--late->second == 0)
                m_late.erase(late);
            if (number == hosttx::TARVO_TRANS_CREATE_RSP) {
                // A transaction nobody knows of: end it rather than leave it open.
                uint32_t id = 0;
                if (SignalBytes(signal, sigsize(&signal)).u32(4, id) && id != 0 && from != 0)
                    rollbackOrphan(id, from);
            }
            free_buf(&signal);
            continue;
        }
        if (number == wait.number && (wait.from == 0 || from == wait.from) &&
            (!wait.matches || wait.matches(SignalBytes(signal, sigsize(&signal))))) {
            wait.outcome = Outcome::answered;
            return signal;
        }
        drop(&signal);
    }
}

void ManagementClient::rollbackOrphan(uint32_t transactionId, PROCESS server) {
    union SIGNAL* rollback = wordSignal(hosttx::TARVO_TRANS_ROLLBACK_REQ, {transactionId});
    send(&rollback, server);
}

PROCESS ManagementClient::huntFor(const char* name, TimePoint deadline) {
    PROCESS found = 0;
    union SIGNAL* huntSignal = alloc(4, kHuntDone);
    hunt(name, 0, &found, &huntSignal);
    // The hunt signal comes whether the process exists now or appears later.
    Wait wait;
    wait.number = kHuntDone;
    wait.matches = [] (const SignalBytes&) { return true; };
    wait.deadline = deadline;
    union SIGNAL* done = await(wait);
    if (done == nullptr)
        return 0;
    found = sender(&done);
    free_buf(&done);
    return found;
}

Sent ManagementClient::connect(OSTIME timeoutMs, const std::string& serviceName) {
    Sent sent;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    if (!ensureProcess(sent.errorText)) {
        sent.outcome = Outcome::badRequest;
        return sent;
    }
    if (m_service != 0) {
        detach(&m_serviceAttach);
        m_service = 0;
    }
    m_serviceName = serviceName;
    if (serviceName.empty() || serviceName.size() > 1000) {
        sent.outcome = Outcome::badRequest;
        sent.errorText = "a service name of " + std::to_string(serviceName.size()) + " characters";
        return sent;
    }
    const PROCESS nameServer = huntFor(hostns::kNameServerProcess, deadline);
    if (nameServer == 0) {
        sent.outcome = Outcome::timedOut;
        sent.errorText = "no name server \"ose_ns\" within " + std::to_string(timeoutMs) + " ms";
        return sent;
    }
    // Subscribing tells the provider at once when there is one, and otherwise when
    // the service is published: a node that is still starting is waited for.
    union SIGNAL* subscribe =
        alloc(static_cast<OSBUFSIZE>(serviceName.size() + 13), hostns::NS_SUBSCRIBE_SERVICE);
    std::memset(reinterpret_cast<unsigned char*>(subscribe) + 4, 0, 4);
    std::memcpy(reinterpret_cast<unsigned char*>(subscribe) + 8, serviceName.c_str(),
                serviceName.size() + 1);
    send(&subscribe, nameServer);

    Wait reply;
    reply.number = hostns::NS_SUBSCRIBE_SERVICE_REPLY;
    reply.from = nameServer;
    reply.matches = [&serviceName](const SignalBytes& bytes) {
        std::string name;
        return bytes.text(12, serviceName.size() + 1, name) && name == serviceName;
    };
    reply.deadline = deadline;
    union SIGNAL* answer = await(reply);
    uint32_t sid = 0;
    if (answer == nullptr || !SignalBytes(answer, sigsize(&answer)).u32(4, sid)) {
        if (answer != nullptr)
            free_buf(&answer);
        sent.outcome = reply.outcome == Outcome::answered ? Outcome::malformed : reply.outcome;
        sent.errorText = "\"ose_ns\" did not confirm the subscription of \"" + serviceName + "\"";
        return sent;
    }
    free_buf(&answer);

    Wait added;
    added.number = hostns::NS_SUBSCRIBE_SERVICE_ADDED_PID;
    added.from = nameServer;
    added.matches = [sid](const SignalBytes& bytes) {
        uint32_t got = 0;
        return bytes.u32(4, got) && got == sid;
    };
    added.deadline = deadline;
    answer = await(added);
    uint32_t provider = 0;
    if (answer != nullptr) {
        SignalBytes(answer, sigsize(&answer)).u32(8, provider);
        free_buf(&answer);
    }
    union SIGNAL* cancel = wordSignal(hostns::NS_CANCEL_SERVICE_SUBSCRIPTION, {sid});
    send(&cancel, nameServer);
    ++m_late[{nameServer, hostns::NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY}];  // owed, not awaited
    if (provider == 0) {
        sent.outcome = added.outcome == Outcome::answered ? Outcome::malformed : added.outcome;
        sent.errorText = "no process publishes \"" + serviceName + "\" within " +
                         std::to_string(timeoutMs) + " ms";
        return sent;
    }
    m_service = provider;
    m_serviceAttach = supervise(provider);
    sent.outcome = Outcome::answered;
    return sent;
}

InitiateConfirm ManagementClient::initiate(const std::string& revision, OSTIME timeoutMs) {
    InitiateConfirm confirm;
    if (!usable(confirm.errorText)) {
        confirm.outcome = m_self == 0 ? Outcome::notConnected : Outcome::badRequest;
        return confirm;
    }
    if (m_service == 0) {
        confirm.errorText = "no service: connect() first, or the service has ended";
        return confirm;
    }
    if (maofro::kInServCfmData + revision.size() + 1 > maofro::kInServCfmSize) {
        confirm.outcome = Outcome::badRequest;
        confirm.errorText = "a revision of " + std::to_string(revision.size()) +
                            " characters does not fit in the confirm";
        return confirm;
    }
    const uint32_t signalRevision = m_nextRevision++;
    union SIGNAL* request = buildInitiate(signalRevision, revision);
    send(&request, m_service);
    Wait wait;
    wait.number = maofro::MAOFRO_INITIATE_SERVICE_CFM;
    wait.from = m_service;
    wait.matches = [signalRevision](const SignalBytes& bytes) {
        uint32_t got = 0;
        return !bytes.u32(maofro::kInServCfmRevision, got) || got == signalRevision;
    };
    wait.alwaysAnswered = true;
    wait.deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    union SIGNAL* answer = await(wait);
    if (answer == nullptr) {
        confirm.outcome = wait.outcome;
        confirm.errorText = wait.outcome == Outcome::peerGone
                                ? "the service ended before MAOFRO_INITIATE_SERVICE_CFM came"
                                : "no MAOFRO_INITIATE_SERVICE_CFM within " +
                                      std::to_string(timeoutMs) + " ms";
        return confirm;
    }
    decodeInitiate(SignalBytes(answer, sigsize(&answer)), confirm);
    free_buf(&answer);
    return confirm;
}

Sent ManagementClient::subscribe(uint32_t froType, uint32_t clientId) {
    Sent sent;
    if (!usable(sent.errorText)) {
        sent.outcome = m_self == 0 ? Outcome::notConnected : Outcome::badRequest;
        return sent;
    }
    if (m_service == 0) {
        sent.errorText = "no service: connect() first, or the service has ended";
        return sent;
    }
    union SIGNAL* request =
        wordSignal(maofro::MAOFRO_NOTIFY_SUBSCRIBE_REQ2, {1, clientId, froType});
    send(&request, m_service);
    sent.outcome = Outcome::answered;
    return sent;
}

bool ManagementClient::findTransactionServer(TimePoint deadline, std::string& why) {
    if (m_transactionServer != 0)
        return true;
    const PROCESS server = huntFor(hosttx::kTransactionServerProcess, deadline);
    if (server == 0) {
        why = std::string("no transaction server \"") + hosttx::kTransactionServerProcess + "\"";
        return false;
    }
    m_transactionServer = server;
    m_transactionAttach = supervise(server);
    return true;
}

Confirm ManagementClient::transactionCall(SIGSELECT request, SIGSELECT answerNumber,
                                          uint32_t transactionId, OSTIME timeoutMs) {
    Confirm confirm;
    // The transaction server needs no connected service: the first call may adopt.
    if (!ensureProcess(confirm.errorText)) {
        confirm.outcome = Outcome::badRequest;
        return confirm;
    }
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    if (!findTransactionServer(deadline, confirm.errorText)) {
        confirm.outcome = Outcome::timedOut;
        confirm.errorText += " within " + std::to_string(timeoutMs) + " ms";
        return confirm;
    }
    const bool create = request == hosttx::TARVO_TRANS_CREATE_REQ;
    // The id argument of a create is 1, as the load module gives it.
    union SIGNAL* signal = wordSignal(request, {create ? 1u : transactionId});
    const PROCESS server = m_transactionServer;
    send(&signal, server);
    Wait wait;
    wait.number = answerNumber;
    wait.from = server;
    if (!create) {
        wait.matches = [transactionId](const SignalBytes& bytes) {
            uint32_t got = 0;
            return !bytes.u32(4, got) || got == transactionId;
        };
    }
    wait.alwaysAnswered = true;
    wait.deadline = deadline;
    union SIGNAL* answer = await(wait);
    if (answer == nullptr) {
        confirm.outcome = wait.outcome;
        confirm.errorText = wait.outcome == Outcome::peerGone
                                ? "the transaction server ended before it answered"
                                : "no answer from the transaction server within " +
                                      std::to_string(timeoutMs) + " ms";
        return confirm;
    }
    confirm.signal = answerNumber;
    const SignalBytes bytes(answer, sigsize(&answer));
    if (bytes.u32(4, confirm.transactionId) && bytes.u32(8, confirm.result)) {
        confirm.outcome = Outcome::answered;
        if (confirm.result != 0)
            confirm.errorText = "the transaction server answered " + std::to_string(confirm.result);
    } else {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = "an answer of the transaction server of " +
                            std::to_string(bytes.size()) + " bytes is too short";
    }
    free_buf(&answer);
    return confirm;
}

Confirm ManagementClient::createTransaction(OSTIME timeoutMs) {
    return transactionCall(hosttx::TARVO_TRANS_CREATE_REQ, hosttx::TARVO_TRANS_CREATE_RSP, 0,
                           timeoutMs);
}

Confirm ManagementClient::commit(uint32_t transactionId, OSTIME timeoutMs) {
    return transactionCall(hosttx::TARVO_TRANS_COMMIT_REQ, hosttx::TARVO_TRANS_COMMIT_RSP,
                           transactionId, timeoutMs);
}

Confirm ManagementClient::rollback(uint32_t transactionId, OSTIME timeoutMs) {
    return transactionCall(hosttx::TARVO_TRANS_ROLLBACK_REQ, hosttx::TARVO_TRANS_ROLLBACK_RSP,
                           transactionId, timeoutMs);
}

Confirm ManagementClient::request(const Request& request, OSTIME timeoutMs) {
    Confirm confirm;
    if (!usable(confirm.errorText)) {
        confirm.outcome = m_self == 0 ? Outcome::notConnected : Outcome::badRequest;
        return confirm;
    }
    if (m_service == 0) {
        confirm.errorText = "no service: connect() first, or the service has ended";
        return confirm;
    }
    union SIGNAL* signal = nullptr;
    if (!request.zip)
        signal = buildRequest(request, maofro::kAttrXml, request.xml);
    // A text too long for one signal travels zipped, as the node accepts it; but for a
    // delete, which the node only takes unzipped.
    if (signal == nullptr && (request.zip || request.kind != Request::Kind::remove))
        signal = buildRequest(request, maofro::kAttrZippedXml, zipAndEncode(request.xml));
    if (signal == nullptr) {
        confirm.outcome = Outcome::badRequest;
        confirm.errorText = "XML of " + std::to_string(request.xml.size()) +
                            " characters does not fit in one signal";
        return confirm;
    }
    send(&signal, m_service);
    const SIGSELECT answerNumber = confirmNumber(request.kind);
    if (answerNumber == 0) {
        confirm.outcome = Outcome::answered;  // sent; MAO_FRO_ACTION has no answer
        return confirm;
    }
    Wait wait;
    wait.number = answerNumber;
    wait.from = m_service;
    const uint32_t transactionId = request.transactionId;
    wait.matches = [transactionId](const SignalBytes& bytes) {
        uint32_t got = 0;
        return !bytes.u32(maofro::kReqTransactionId, got) || got == transactionId;
    };
    // Create, set and delete are always confirmed; a get or an action may never be.
    wait.alwaysAnswered = request.kind == Request::Kind::create ||
                          request.kind == Request::Kind::set ||
                          request.kind == Request::Kind::remove;
    wait.deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    union SIGNAL* answer = await(wait);
    if (answer == nullptr) {
        confirm.outcome = wait.outcome;
        confirm.errorText = wait.outcome == Outcome::peerGone
                                ? std::string("the service ended before ") +
                                      signalName(answerNumber) + " came"
                                : std::string("no ") + signalName(answerNumber) + " within " +
                                      std::to_string(timeoutMs) + " ms";
        return confirm;
    }
    confirm.signal = answerNumber;
    decodeConfirm(request.kind, SignalBytes(answer, sigsize(&answer)), confirm);
    free_buf(&answer);
    return confirm;
}

namespace {

Confirm badXml(const std::string& what) {
    Confirm confirm;
    confirm.outcome = Outcome::badRequest;
    confirm.errorText = what + " of a type that is neither primitive nor derived";
    return confirm;
}

}  // namespace

Confirm ManagementClient::create(uint32_t transactionId, const FroRef& fro,
                                 const Attributes& attributes, OSTIME timeoutMs) {
    Request r{Request::Kind::create, transactionId, fro.froType, 0, {}, false};
    if (!createOrSetXml(m_config.mimVersion, fro, attributes, r.xml))
        return badXml("an attribute");
    return request(r, timeoutMs);
}

Confirm ManagementClient::set(uint32_t transactionId, const FroRef& fro,
                              const Attributes& attributes, OSTIME timeoutMs) {
    Request r{Request::Kind::set, transactionId, fro.froType, fro.externalFroId, {}, false};
    if (!createOrSetXml(m_config.mimVersion, fro, attributes, r.xml))
        return badXml("an attribute");
    return request(r, timeoutMs);
}

Confirm ManagementClient::get(uint32_t transactionId, const FroRef& fro,
                              const std::vector<std::string>& names, OSTIME timeoutMs) {
    return request({Request::Kind::get, transactionId, fro.froType, fro.externalFroId,
                    getXml(m_config.mimVersion, fro, names), false},
                   timeoutMs);
}

Confirm ManagementClient::remove(uint32_t transactionId, const FroRef& fro, OSTIME timeoutMs) {
    return request({Request::Kind::remove, transactionId, fro.froType, fro.externalFroId,
                    deleteXml(m_config.mimVersion, fro), false},
                   timeoutMs);
}

Sent ManagementClient::action(uint32_t transactionId, const FroRef& fro, const std::string& name,
                              const Attributes& parameters) {
    Request r{Request::Kind::action, transactionId, fro.froType, 0, {}, false};
    Sent sent;
    if (!actionXml(m_config.mimVersion, fro, name, parameters, r.xml)) {
        sent.outcome = Outcome::badRequest;
        sent.errorText = badXml("a parameter").errorText;
        return sent;
    }
    const Confirm confirm = request(r, 0);
    sent.outcome = confirm.outcome;
    sent.errorText = confirm.errorText;
    return sent;
}

Confirm ManagementClient::actionWithConfirm(uint32_t transactionId, const FroRef& fro,
                                            const std::string& name, const Attributes& parameters,
                                            OSTIME timeoutMs) {
    Request r{Request::Kind::actionWithConfirm, transactionId, fro.froType, 0, {}, false};
    if (!actionXml(m_config.mimVersion, fro, name, parameters, r.xml))
        return badXml("a parameter");
    return request(r, timeoutMs);
}

void ManagementClient::onIndication(IndicationHandler handler) { m_handler = std::move(handler); }

std::size_t ManagementClient::dispatchIndications(OSTIME timeoutMs) {
    std::string why;
    if (!usable(why))
        return 0;
    if (m_indications.empty()) {
        // Waits for a signal that never comes, keeping indications as they arrive.
        Wait wait;
        wait.number = 0;
        wait.matches = [this](const SignalBytes&) { return false; };
        wait.deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        wait.until = [this] { return !m_indications.empty(); };
        await(wait);
        // Then whatever else has come meanwhile, without waiting.
        wait.until = nullptr;
        wait.deadline = Clock::now();
        await(wait);
    }
    std::size_t handed = 0;
    while (!m_indications.empty()) {
        Indication indication = std::move(m_indications.front());
        m_indications.pop_front();
        ++handed;
        if (m_handler)
            m_handler(indication);
    }
    return handed;
}

}  // namespace mgmt
