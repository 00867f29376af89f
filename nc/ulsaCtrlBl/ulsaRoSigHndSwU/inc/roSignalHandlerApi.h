// roSignalHandlerApi: supervision of the requests a client sends to a radio object.
//
// A request is sent together with the numbers of the replies that answer it; if
// none comes within its time, a ULSA_TMO_SIG arrives instead. The client passes
// every reply and every ULSA_TMO_SIG through receiveFromRo(), which tells it what
// the signal means. Nothing here decides what a time-out means for the client.
#ifndef RO_SIGNAL_HANDLER_API_H
#define RO_SIGNAL_HANDLER_API_H

#include "ose.h"

#include <cstdint>
#include <vector>

class roSignalHandlerApi {
  public:
    /// Results of send2RoWTmo() and prep4ToSup().
    enum SupervisionResult : uint32_t { Supervised = 0, Refused = 1 };
    /// Results of receiveFromRo().
    enum ReceiveResult : uint32_t {
        SupervisedReply = 0,  // the reply of a supervised signal; the supervision ended
        HandlingError = 1,    // e.g. a time-out whose supervision had ended already
        Timeout = 2,          // the supervision of supervisedSigNo ran out
        NotSupervised = 3     // not a supervised reply, or one that came too late
    };
    /// supervisedSigNo for a signal that ends no supervision.
    static constexpr SIGSELECT noSupervisedSigNo = 0xFFFFFFFFu;

    /// Supervises *signal for tmoTimeMs and sends it from fromPid to destination.
    /// Supervised: sent, *signal is null. Refused: not sent, still the caller's.
    virtual uint32_t send2RoWTmo(uint32_t froId, PROCESS fromPid, uint32_t tmoTimeMs,
                                 union SIGNAL** signal,
                                 const std::vector<SIGSELECT>& expectedReplies,
                                 PROCESS destination) = 0;
    /// What a received signal (a reply or ULSA_TMO_SIG, owned by the caller) means for
    /// the supervision; supervisedSigNo is the supervised signal it concerns, or
    /// noSupervisedSigNo when it concerns none.
    virtual uint32_t receiveFromRo(union SIGNAL* signal, SIGSELECT& supervisedSigNo) = 0;
    /// Supervises a signal that is not sent here (a hunt, where the hunt signal itself
    /// comes back).
    virtual uint32_t prep4ToSup(uint32_t froId, uint32_t tmoTimeMs, SIGSELECT sigNo,
                                const std::vector<SIGSELECT>& expectedReplies) = 0;
    /// Ends the supervision of sigNo without waiting for its reply.
    virtual void cancelTimer(SIGSELECT sigNo) = 0;
    /// Ends every supervision still running.
    virtual ~roSignalHandlerApi() = default;
};

#endif  // RO_SIGNAL_HANDLER_API_H
