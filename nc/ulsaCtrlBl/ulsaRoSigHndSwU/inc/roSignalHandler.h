// roSignalHandler: the supervision of one client handler ("rmciClientHandler",
// "rftiClientHandler"). The time-outs themselves are kept by ULSAtmo.
//
// One supervision per signal number at a time: a second request of a number that
// is still supervised is refused. Main process only; no lock.
#ifndef RO_SIGNAL_HANDLER_H
#define RO_SIGNAL_HANDLER_H

#include "roSignalHandlerApi.h"

#include <map>
#include <string>

class roSignalHandler : public roSignalHandlerApi {
  public:
    /// One supervised signal.
    struct SupervisionEntry {
        uint32_t froId = 0;                  // client reference
        union SIGNAL* sentSignal = nullptr;  // as handed to the kernel; null after prep4ToSup
        uint32_t tmoTime = 0;                // milliseconds
        uint32_t reserved = 0;
        SIGSELECT sigNo = 0;  // equal to the key
        std::vector<SIGSELECT> expectedReplies;
        PROCESS destination = 0;  // 0 after prep4ToSup
    };

    /// name is the owner's name in traces.
    explicit roSignalHandler(const std::string& name);
    ~roSignalHandler() override;

    uint32_t send2RoWTmo(uint32_t froId, PROCESS fromPid, uint32_t tmoTimeMs, union SIGNAL** signal,
                         const std::vector<SIGSELECT>& expectedReplies,
                         PROCESS destination) override;
    uint32_t receiveFromRo(union SIGNAL* signal, SIGSELECT& supervisedSigNo) override;
    uint32_t prep4ToSup(uint32_t froId, uint32_t tmoTimeMs, SIGSELECT sigNo,
                        const std::vector<SIGSELECT>& expectedReplies) override;
    void cancelTimer(SIGSELECT sigNo) override;

    /// Whether sigNo is supervised now.
    bool isSupervised(SIGSELECT sigNo) const { return supervised.count(sigNo) != 0; }

    roSignalHandler(const roSignalHandler&) = delete;
    roSignalHandler& operator=(const roSignalHandler&) = delete;

  private:
    // Registers the entry and starts its time-out; false (traced by the caller) when
    // the number is supervised already or the time-out is refused.
    bool supervise(const SupervisionEntry& entry);
    uint32_t receiveTimeout(union SIGNAL* signal, SIGSELECT& supervisedSigNo);
    std::string nameOf(SIGSELECT sigNo) const;

    std::map<SIGSELECT, SupervisionEntry> supervised;  // key: the signal's number ("preload")
    std::string name;
};

#endif  // RO_SIGNAL_HANDLER_H
