// RadioUnitState: what a simulated radio unit holds, and its answer to each signal.
// Runs on the unit's worker process alone: no lock. Its two servers are phantoms
// that redirect to the worker; a signal's addressee tells which server it was for.
#ifndef HOST_RADIO_UNIT_STATE_H
#define HOST_RADIO_UNIT_STATE_H

#include "radioUnit.h"
#include "rmciSig.h"
#include "traceAndError.h"

#include <map>
#include <string>
#include <vector>

namespace hostradio {

/// A server of the unit: a phantom of that name that redirects everything to worker.
PROCESS createServerPhantom(const std::string& name, PROCESS worker);

class RadioUnitState {
  public:
    RadioUnitState(RadioUnitConfig config, PROCESS self, PROCESS rmcServer, PROCESS rftServer);
    /// Kills the two servers, so that their clients' attaches fire.
    ~RadioUnitState();
    RadioUnitState(const RadioUnitState&) = delete;
    RadioUnitState& operator=(const RadioUnitState&) = delete;

    /// Answers one received signal; the buffer stays the caller's.
    void handle(union SIGNAL* signal);

  private:
    struct RmcConnection {
        PROCESS client = 0;
        uint32_t clientRef = 0;
        bool configured = false;
        RmciSamplingParameters parameters{};
        uint32_t binCount = 0;
        bool measuring = false;
        OSTMOREF timer = 0;          // 0 while a triggered sweep waits for ever
        uint32_t measurementId = 0;  // tells a stale time-out from the current one
    };
    struct RftConnection {
        PROCESS client = 0;
        uint32_t clientRef = 0;
        uint32_t fileRef = 0;  // 0: no transfer
        uint32_t blockSize = 0;
        uint32_t totalBlocks = 0;
        uint32_t sent = 0;  // the last block sent, waiting for its acknowledgement
    };
    struct HeldAnswer {
        union SIGNAL* signal;
        PROCESS from;
        PROCESS to;
    };
    // A request's fixed part and the connection it names, once both are checked.
    struct Request {
        SIGSELECT number;
        PROCESS from;
        uint32_t clientRef;
        uint32_t connectionRef;
    };

    void handleRmci(union SIGNAL* signal, const Request& request);
    void handleRfti(union SIGNAL* signal, const Request& request);
    void handleOwn(union SIGNAL* signal, PROCESS from);

    void establish(union SIGNAL* signal, const Request& request, PROCESS server);
    void capabilities(const Request& request);
    void configure(union SIGNAL* signal, const Request& request, RmcConnection& connection);
    void measure(union SIGNAL* signal, const Request& request, RmcConnection& connection);
    void stopMeasurement(const Request& request, RmcConnection& connection);
    void measured(uint32_t connectionRef, uint32_t measurementId);
    void fileCapabilities(const Request& request);
    void getResult(union SIGNAL* signal, const Request& request, RftConnection& connection);
    void acknowledged(union SIGNAL* signal, const Request& request, RftConnection& connection);
    void sendBlock(uint32_t connectionRef, RftConnection& connection, SIGSELECT answering);
    void setFaults(union SIGNAL* signal, PROCESS from);
    void clientEnded(PROCESS client);
    void rftServerDies();

    /// The cause (0: none) why a configuration cannot be done, with its text.
    uint16_t checkConfig(const RmciConfigReq& request, uint32_t& binCount, std::string& why) const;
    /// Sends an answer from a server, or holds it back as the faults say.
    void answer(SIGSELECT request, PROCESS server, PROCESS to, union SIGNAL* reply);
    void reject(const Request& request, PROCESS server, uint16_t cause, const std::string& text);
    void cancelMeasurement(RmcConnection& connection);
    void watch(PROCESS client);

    RadioUnitConfig m_config;
    std::string m_prefix;
    uint32_t m_blockSize;
    PROCESS m_self;
    PROCESS m_rmc;
    PROCESS m_rft;
    RadioFaults m_faults;
    uint32_t m_nextConnectionRef = 1;  // both servers draw from it
    uint32_t m_nextFileRef = 1;
    uint32_t m_nextMeasurementId = 1;
    uint32_t m_sweeps = 0;
    uint32_t m_nextHeld = 1;
    std::map<uint32_t, RmcConnection> m_rmcConnections;  // by connectionRef
    std::map<uint32_t, RftConnection> m_rftConnections;
    // A result as the file server keeps it: its bytes and their checksum, made with it.
    struct ResultFile {
        std::vector<uint8_t> bytes;
        uint32_t checksum = 0;
    };
    std::map<uint32_t, ResultFile> m_files;  // by dataFileRef, the newest few
    std::map<uint32_t, HeldAnswer> m_held;
    std::map<PROCESS, OSATTREF> m_watched;  // clients holding connections
    TraceObject* m_trace;
};

}  // namespace hostradio

#endif  // HOST_RADIO_UNIT_STATE_H
