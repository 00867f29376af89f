// The service process "TARVO_RFAI" and the worker process of each session.
//
// The service keeps the sessions, one per client process, and answers every request
// at once or hands the FTP work to the session's worker. A worker runs one job at a
// time and sends it back when done; the service then answers the client. Jobs travel
// as pointers inside signals: every process of the service shares one address space.
// Everything of the service runs on its own process: no lock.
#include "fileTransferService.h"

#include "DynTraceHandler.h"
#include "FtpTransfer.h"
#include "SignalView.h"
#include "dynTrace.h"
#include "hostDisk.h"
#include "nameServerHost.h"
#include "rfaiSignals.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace hostftp {

namespace {

constexpr const char* kProcessName = "TARVO_RFAI";
constexpr const char* kWorkerName = "TARVO_RFAI_worker";
constexpr OSADDRESS kStackSize = 65536;
constexpr OSPRIORITY kPriority = 12;
constexpr const char* kConfigKey = "fileTransferConfig";

// Signals between the service and its workers, and the end of a client.
constexpr SIGSELECT kWorkerJob = 0x7E6100;     // 8: address of a Job
constexpr SIGSELECT kWorkerDone = 0x7E6101;    // 8: address of the Job, done
constexpr SIGSELECT kClientEnded = 0x7E6102;   // attach signal of a client
constexpr SIGSELECT kServiceEnded = 0x7E6103;  // a worker's attach signal of its service
// Ends a worker after its current job. It carries nothing, so a stop still queued when
// the kernel frees the worker's signals leaves nothing behind.
constexpr SIGSELECT kWorkerStop = 0x7E6104;

// What a worker is started with.
struct WorkerConfig {
    FtpSettings settings;
    PROCESS service;
};

// The fault code of a request that does not fit its own layout.
constexpr uint32_t kFaultMalformed = 8;

enum class JobKind { connect, put, disconnect };

struct Job {
    JobKind kind;
    std::string address;
    std::string username;
    std::string password;
    std::string localPath;
    std::string remotePath;
    FtpOutcome outcome;
};

union SIGNAL* jobSignal(SIGSELECT sigNo, Job* job) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(8 + sizeof job), sigNo);
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 8, &job, sizeof job);
    return signal;
}

Job* jobOf(union SIGNAL* signal) {
    Job* job = nullptr;
    std::memcpy(&job, reinterpret_cast<unsigned char*>(signal) + 8, sizeof job);
    return job;
}

void runJob(FtpSession& session, Job& job) {
    switch (job.kind) {
        case JobKind::connect:
            job.outcome = session.connect(job.address, job.username, job.password);
            break;
        case JobKind::put: {
            std::string hostFile;
            if (!hostdisk::hostPath(job.localPath, hostFile)) {
                job.outcome = {false, kFaultNoLocalFile,
                               "No such local file " + job.localPath + " (no disk on this node)"};
                break;
            }
            job.outcome = session.put(hostFile, job.localPath, job.remotePath);
            break;
        }
        case JobKind::disconnect:
            job.outcome = session.disconnect();
            break;
    }
}

// A session's worker: the FTP session's calls, one job at a time, each sent back to
// the service. A stop ends the session (QUIT) and the process.
OS_PROCESS(workerMain) {
    static const SIGSELECT jobs[] = {3, kWorkerJob, kServiceEnded, kWorkerStop};
    std::unique_ptr<WorkerConfig> config(
        reinterpret_cast<WorkerConfig*>(get_envp(current_process(), kConfigKey)));
    FtpSession session(config->settings);
    union SIGNAL* serviceEnded = alloc(4, kServiceEnded);
    attach(&serviceEnded, config->service);
    config.reset();
    for (;;) {
        union SIGNAL* signal = receive(jobs);
        if (signal == nullptr) {
            continue;  // killed while about to wait: the next kernel call unwinds
        }
        SIGSELECT sigNo = 0;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        if (sigNo == kServiceEnded || sigNo == kWorkerStop) {
            free_buf(&signal);
            return;
        }
        Job* job = jobOf(signal);
        runJob(session, *job);
        const PROCESS service = sender(&signal);
        free_buf(&signal);
        union SIGNAL* done = jobSignal(kWorkerDone, job);
        send(&done, service);
    }
}

// What the service knows, and its answer to each signal.
class FileTransferState {
  public:
    explicit FileTransferState(const FileTransferConfig& config)
        : m_trace(DynTraceHandler::registerTraceObject("fileTransfer")) {
        m_settings.defaultPort = config.defaultPort;
        m_settings.connectTimeoutMs = config.connectTimeoutMs;
        m_settings.responseTimeoutMs = config.responseTimeoutMs;
        m_settings.loopbackOnly = config.loopbackOnly;
    }
    // The workers end by their attach to the service.
    ~FileTransferState() { DynTraceHandler::deregisterTraceObject(m_trace); }
    FileTransferState(const FileTransferState&) = delete;
    FileTransferState& operator=(const FileTransferState&) = delete;

    const TraceObject* trace() const { return m_trace; }

    /// Answers one received signal; the buffer stays the caller's.
    void handle(union SIGNAL* signal) {
        const PROCESS from = sender(&signal);
        const hostsvc::SignalView view(signal, sigsize(&signal));
        SIGSELECT sigNo = 0;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        switch (sigNo) {
            case OSA_RFAI_INIT_SERVICE_REQ:
                initService(signal, view, from);
                return;
            case OSA_RFAI_CONNECT_IPV6_BSA_REQ:
                connectReq(signal, view, from);
                return;
            case OSA_RFAI_PUT_REQ:
                putReq(signal, view, from);
                return;
            case OSA_RFAI_DISCONN_REQ:
                disconnReq(from);
                return;
            case OSA_RFAI_TERMINATE_SERVICE_REQ:
                terminateReq(from);
                return;
            case kWorkerDone: {
                // Only a job this service handed to a worker is taken back: the signal
                // carries an address, and anyone can send a signal of this number.
                Job* job = view.size() >= 8 + sizeof(Job*) ? jobOf(signal) : nullptr;
                if (job == nullptr || m_jobsOut.erase(job) == 0) {
                    TRACE(m_trace, 1, "stray job answer (%u bytes) from 0x%x dropped",
                          static_cast<unsigned>(view.size()), from);
                    return;
                }
                workerDone(job, from);
                return;
            }
            case kClientEnded:
                clientEnded(from);
                return;
            default:
                TRACE(m_trace, 1, "unknown signal 0x%x (%u bytes) from 0x%x dropped",
                      static_cast<unsigned>(sigNo), static_cast<unsigned>(view.size()), from);
                return;
        }
    }

  private:
    enum class Phase { initiated, connecting, connected, putting, disconnecting };

    struct Session {
        PROCESS client = 0;
        OSATTREF attachRef = 0;
        PROCESS worker = 0;
        Phase phase = Phase::initiated;
    };

    void initService(union SIGNAL* signal, const hostsvc::SignalView& view, PROCESS from) {
        if (view.size() < sizeof(rfai::InitServiceReq)) {
            TRACE(m_trace, 1, "OSA_RFAI_INIT_SERVICE_REQ of %u bytes from 0x%x dropped",
                  static_cast<unsigned>(view.size()), from);
            return;
        }
        rfai::InitServiceReq request;
        std::memcpy(&request, signal, sizeof request);
        const uint16_t wanted[] = {request.pvFirstWanted, request.pvSecondWanted,
                                   request.pvThirdWanted};
        if (std::find(std::begin(wanted), std::end(wanted), rfai::kProtocolVersion) ==
            std::end(wanted)) {
            TRACE(m_trace, 4, "OSA_RFAI_INIT_SERVICE_REQ from 0x%x: versions %u, %u, %u refused",
                  from, wanted[0], wanted[1], wanted[2]);
            union SIGNAL* reject = alloc(sizeof(rfai::InitServiceRej), OSA_RFAI_INIT_SERVICE_REJ);
            auto* fields = reinterpret_cast<rfai::InitServiceRej*>(reject);
            fields->fill = 0;
            fields->highestPv = rfai::kProtocolVersion;
            send(&reject, from);
            return;
        }
        if (m_sessions.find(from) == m_sessions.end()) {
            Session session;
            session.client = from;
            union SIGNAL* ended = alloc(4, kClientEnded);
            session.attachRef = attach(&ended, from);
            session.worker = startWorker();
            m_clientOfWorker[session.worker] = from;
            m_sessions[from] = session;
        }
        request.clientName[sizeof request.clientName - 1] = '\0';
        TRACE(m_trace, 8, "session of 0x%x (%s) initiated", from, request.clientName);
        union SIGNAL* confirm = alloc(sizeof(rfai::InitServiceCfm), OSA_RFAI_INIT_SERVICE_CFM);
        auto* fields = reinterpret_cast<rfai::InitServiceCfm*>(confirm);
        fields->selectedPv = rfai::kProtocolVersion;
        fields->fill = 0;
        send(&confirm, from);
    }

    void connectReq(union SIGNAL* signal, const hostsvc::SignalView& view, PROCESS from) {
        Session* session = sessionOf(from);
        if (view.size() < sizeof(rfai::ConnectIpv6BsaReq)) {
            reject(OSA_RFAI_CONNECT_REJ, from, kFaultMalformed, "Malformed connect request");
            return;
        }
        if (session == nullptr || session->phase != Phase::initiated) {
            reject(OSA_RFAI_CONNECT_REJ, from, rfai::kFaultInvalidState, rfai::kInvalidStateText);
            return;
        }
        const auto* request = reinterpret_cast<const rfai::ConnectIpv6BsaReq*>(signal);
        auto* job = new Job{JobKind::connect,
                            field(request->ipAddress),
                            field(request->username),
                            field(request->password),
                            "",
                            "",
                            {}};
        TRACE(m_trace, 8, "session of 0x%x: connect to %s as %s", from, job->address.c_str(),
              job->username.c_str());
        session->phase = Phase::connecting;
        give(*session, job);
    }

    void putReq(union SIGNAL* signal, const hostsvc::SignalView& view, PROCESS from) {
        Session* session = sessionOf(from);
        if (view.size() < sizeof(rfai::PutReq)) {
            reject(OSA_RFAI_PUT_REJ, from, kFaultMalformed, "Malformed put request");
            return;
        }
        if (session == nullptr || session->phase != Phase::connected) {
            reject(OSA_RFAI_PUT_REJ, from, rfai::kFaultInvalidState, rfai::kInvalidStateText);
            return;
        }
        const auto* request = reinterpret_cast<const rfai::PutReq*>(signal);
        auto* job = new Job{
            JobKind::put, "", "", "", field(request->localPath), field(request->remotePath), {}};
        TRACE(m_trace, 8, "session of 0x%x: put %s as %s", from, job->localPath.c_str(),
              job->remotePath.c_str());
        session->phase = Phase::putting;
        give(*session, job);
    }

    void disconnReq(PROCESS from) {
        Session* session = sessionOf(from);
        if (session == nullptr || session->phase != Phase::connected) {
            reject(OSA_RFAI_DISCONN_REJ, from, rfai::kFaultInvalidState, rfai::kInvalidStateText);
            return;
        }
        session->phase = Phase::disconnecting;
        give(*session, new Job{JobKind::disconnect, "", "", "", "", "", {}});
    }

    void terminateReq(PROCESS from) {
        auto found = m_sessions.find(from);
        if (found != m_sessions.end()) {
            TRACE(m_trace, 8, "session of 0x%x terminated", from);
            endSession(found->second, true);
            m_sessions.erase(found);
        }
        union SIGNAL* confirm = alloc(4, OSA_RFAI_TERMINATE_SERVICE_CFM);
        send(&confirm, from);
    }

    void workerDone(Job* job, PROCESS worker) {
        std::unique_ptr<Job> done(job);
        auto client = m_clientOfWorker.find(worker);
        Session* session = client == m_clientOfWorker.end() ? nullptr : sessionOf(client->second);
        if (session == nullptr) {
            return;  // the session has ended meanwhile: nobody waits for the answer
        }
        const FtpOutcome& outcome = done->outcome;
        TRACE(m_trace, outcome.ok ? 8 : 4, "session of 0x%x: %s (fault code %u)", session->client,
              outcome.info.c_str(), static_cast<unsigned>(outcome.faultCode));
        switch (done->kind) {
            case JobKind::connect:
                session->phase = outcome.ok ? Phase::connected : Phase::initiated;
                confirm(OSA_RFAI_CONNECT_CFM, session->client, outcome, true);
                break;
            case JobKind::put:
                session->phase = Phase::connected;
                confirm(OSA_RFAI_PUT_CFM, session->client, outcome, true);
                break;
            case JobKind::disconnect:
                session->phase = Phase::initiated;
                confirm(OSA_RFAI_DISCONN_CFM, session->client, outcome, false);
                break;
        }
    }

    void clientEnded(PROCESS client) {
        auto found = m_sessions.find(client);
        if (found == m_sessions.end()) {
            return;
        }
        TRACE(m_trace, 8, "client 0x%x has ended: its session ends", client);
        found->second.attachRef = 0;  // fired: nothing to detach
        endSession(found->second, false);
        m_sessions.erase(found);
    }

    // Stops the session's worker (after its current job) and its client's supervision.
    void endSession(Session& session, bool detachClient) {
        if (detachClient && session.attachRef != 0) {
            detach(&session.attachRef);
        }
        m_clientOfWorker.erase(session.worker);
        union SIGNAL* stop = alloc(sizeof(SIGSELECT), kWorkerStop);
        send(&stop, session.worker);
    }

    PROCESS startWorker() {
        const PROCESS worker = create_process(OS_PRI_PROC, kWorkerName, workerMain, kStackSize,
                                              kPriority, 0, 0, nullptr, 0, 0);
        set_envp(worker, kConfigKey,
                 reinterpret_cast<OSADDRESS>(new WorkerConfig{m_settings, current_process()}));
        start(worker);
        return worker;
    }

    void give(const Session& session, Job* job) {
        m_jobsOut.insert(job);
        union SIGNAL* signal = jobSignal(kWorkerJob, job);
        send(&signal, session.worker);
    }

    Session* sessionOf(PROCESS client) {
        auto found = m_sessions.find(client);
        return found == m_sessions.end() ? nullptr : &found->second;
    }

    // A text field of a request, read up to its NUL or its width.
    template <std::size_t N>
    static std::string field(const char (&text)[N]) {
        return std::string(text, strnlen(text, N));
    }

    void confirm(SIGSELECT sigNo, PROCESS client, const FtpOutcome& outcome, bool withText) {
        const std::size_t size =
            sizeof(rfai::ResultCfm) + (withText ? rfai::kAdditionalInfoSize : 0);
        union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), sigNo);
        std::memset(reinterpret_cast<unsigned char*>(signal) + 4, 0, size - 4);
        auto* fields = reinterpret_cast<rfai::ResultCfm*>(signal);
        fields->result = outcome.ok ? rfai::kResultSuccess : 0;
        fields->faultCode = outcome.faultCode;
        if (withText) {
            std::memcpy(reinterpret_cast<unsigned char*>(signal) + sizeof(rfai::ResultCfm),
                        outcome.info.c_str(),
                        std::min(outcome.info.size(), rfai::kAdditionalInfoSize - 1));
        }
        send(&signal, client);
    }

    void reject(SIGSELECT sigNo, PROCESS client, uint32_t faultCode, const char* text) {
        TRACE(m_trace, 4, "request 0x%x from 0x%x rejected: %s", static_cast<unsigned>(sigNo),
              client, text);
        union SIGNAL* signal = alloc(sizeof(rfai::Rej), sigNo);
        auto* fields = reinterpret_cast<rfai::Rej*>(signal);
        fields->faultCode = faultCode;
        std::memset(fields->additionalInfo, 0, sizeof fields->additionalInfo);
        std::strncpy(fields->additionalInfo, text, sizeof fields->additionalInfo - 1);
        send(&signal, client);
    }

  private:
    FtpSettings m_settings;
    std::map<PROCESS, Session> m_sessions;        // by client
    std::map<PROCESS, PROCESS> m_clientOfWorker;  // worker -> client
    std::set<Job*> m_jobsOut;                     // handed to a worker, answer owed
    TraceObject* m_trace;
};

OS_PROCESS(fileTransferMain) {
    static const SIGSELECT anySignal[] = {0};
    std::unique_ptr<FileTransferConfig> config(
        reinterpret_cast<FileTransferConfig*>(get_envp(current_process(), kConfigKey)));
    FileTransferState state(*config);
    config.reset();
    if (!hostns::publishService(rfai::kServiceName)) {
        TRACE(state.trace(), 1, "%s could not be published", rfai::kServiceName);
    }
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            continue;  // killed while about to wait: the next kernel call unwinds
        }
        state.handle(signal);
        free_buf(&signal);
    }
}

}  // namespace

PROCESS startFileTransferService(const FileTransferConfig& config) {
    PROCESS pid = 0;
    union SIGNAL* none = nullptr;
    if (hunt(kProcessName, 0, &pid, &none)) {
        return pid;
    }
    ftpGlobalInit();
    pid = create_process(OS_PRI_PROC, kProcessName, fileTransferMain, kStackSize, kPriority, 0, 0,
                         nullptr, 0, 0);
    // The process owns the copy from its first step on.
    set_envp(pid, kConfigKey, reinterpret_cast<OSADDRESS>(new FileTransferConfig(config)));
    start(pid);
    return pid;
}

void stopFileTransferService(PROCESS service) {
    kill_proc(service);
}

}  // namespace hostftp
