#include "roSignalHandler.h"

#include "SignalNumber2Name.h"
#include "ULSAtmo.h"
#include "dynTrace.h"
#include "signalUtil.h"
#include "traceGroups.h"
#include "ulsaSig.h"

#include <cstring>

namespace {

// Every supervision of this load module uses time-out type 0.
constexpr uint32_t kTmoType = 0;

SIGSELECT numberOf(const union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

}  // namespace

roSignalHandler::roSignalHandler(const std::string& ownerName) : name(ownerName) {}

roSignalHandler::~roSignalHandler() {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8, "Clear roSignalHandler");
    for (const auto& entry : supervised) {
        ULSAtmo::getInstance()->cancel_Tmo(entry.second.froId, entry.first, kTmoType);
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                    "RoSignalHandler is destroyed, removing signals: %d",
                    static_cast<int>(entry.first));
    }
    supervised.clear();
}

std::string roSignalHandler::nameOf(SIGSELECT sigNo) const {
    return SignalNumber2Name::getInstance()->sigNo2Name(sigNo);
}

bool roSignalHandler::supervise(const SupervisionEntry& entry) {
    if (supervised.count(entry.sigNo) != 0) {
        return false;  // a second request of a number waits for the first one's answer
    }
    if (ULSAtmo::getInstance()->ulsa_set_Tmo(entry.froId, entry.sigNo, entry.tmoTime, kTmoType) !=
        ULSAtmo::started) {
        return false;
    }
    supervised.emplace(entry.sigNo, entry);
    return true;
}

uint32_t roSignalHandler::send2RoWTmo(uint32_t froId, PROCESS fromPid, uint32_t tmoTimeMs,
                                      union SIGNAL** signal,
                                      const std::vector<SIGSELECT>& expectedReplies,
                                      PROCESS destination) {
    if (signal == nullptr || *signal == nullptr) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1, "%s::send2RoWTmo: no signal to supervise",
                    name.c_str());
        return Refused;
    }
    const SIGSELECT sigNo = numberOf(*signal);
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                "%s::send2RoWTmo: supervise signal name = %s, dest = %d\n", name.c_str(),
                nameOf(sigNo).c_str(), static_cast<int>(destination));
    SupervisionEntry entry;
    entry.froId = froId;
    entry.sentSignal = *signal;
    entry.tmoTime = tmoTimeMs;
    entry.sigNo = sigNo;
    entry.expectedReplies = expectedReplies;
    entry.destination = destination;
    if (!supervise(entry)) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                    "%s::send2RoWTmo: Unable to register the signal to supervise = %s, "
                    "destination=%d",
                    name.c_str(), nameOf(sigNo).c_str(), static_cast<int>(destination));
        return Refused;
    }
    // The send names the signal only in its traces: of a send to no one, and of every
    // send at level 16. Otherwise the name is not looked up.
    const bool named = destination == 0 || TRACE_ON(traceGroups::ulsaRoSigHndSwU, 16);
    const std::string sigName = named ? nameOf(sigNo) : std::string();
    if (!applsupp::signalUtil::sendWithSender(traceGroups::ulsaRoSigHndSwU, signal, fromPid,
                                              destination, sigName.c_str())) {
        // Not sent (no destination): the signal stays the caller's and nothing is
        // supervised.
        ULSAtmo::getInstance()->cancel_Tmo(froId, sigNo, kTmoType);
        supervised.erase(sigNo);
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                    "%s::send2RoWTmo: Unable to register the signal to supervise = %s, "
                    "destination=%d",
                    name.c_str(), nameOf(sigNo).c_str(), static_cast<int>(destination));
        return Refused;
    }
    return Supervised;
}

uint32_t roSignalHandler::prep4ToSup(uint32_t froId, uint32_t tmoTimeMs, SIGSELECT sigNo,
                                     const std::vector<SIGSELECT>& expectedReplies) {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                "%s::prep4ToSup: supervise signal name = %s (no preload)\n", name.c_str(),
                nameOf(sigNo).c_str());
    SupervisionEntry entry;
    entry.froId = froId;
    entry.tmoTime = tmoTimeMs;
    entry.sigNo = sigNo;
    entry.expectedReplies = expectedReplies;
    if (!supervise(entry)) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                    "%s::prep4ToSup: Unable to register the signal to supervise = %s", name.c_str(),
                    nameOf(sigNo).c_str());
        return Refused;
    }
    return Supervised;
}

uint32_t roSignalHandler::receiveTimeout(union SIGNAL* signal, SIGSELECT& supervisedSigNo) {
    supervisedSigNo = noSupervisedSigNo;
    union SIGNAL* owned = signal;
    if (sigsize(&owned) < sizeof(UlsaTmoSig)) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                    "%s::receiveFromRo: ULSA_TMO_SIG of %u bytes is too short, dropped",
                    name.c_str(), static_cast<unsigned>(sigsize(&owned)));
        return HandlingError;
    }
    UlsaTmoSig tmo;
    std::memcpy(&tmo, signal, sizeof tmo);
    const auto it = supervised.find(tmo.preload);
    if (it == supervised.end()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4,
                    "%s::receiveFromRo: Timeout for not supervised signal received.  name: = %s, "
                    "froId = %d, preload: %d\n",
                    name.c_str(), nameOf(tmo.preload).c_str(), static_cast<int>(tmo.id),
                    static_cast<int>(tmo.preload));
        return HandlingError;
    }
    const SupervisionEntry& entry = it->second;
    ULSAtmo::getInstance()->remove_Tmo(entry.froId, tmo.preload, kTmoType);
    supervisedSigNo = entry.sigNo;
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4,
                "%s::receiveFromRo: Timeout received: %s, for signal: %s, froId = %d, "
                "preload: %d\n",
                name.c_str(), nameOf(ULSA_TMO_SIG).c_str(), nameOf(entry.sigNo).c_str(),
                static_cast<int>(entry.froId), static_cast<int>(tmo.preload));
    supervised.erase(it);
    return Timeout;
}

uint32_t roSignalHandler::receiveFromRo(union SIGNAL* signal, SIGSELECT& supervisedSigNo) {
    if (signal == nullptr) {
        supervisedSigNo = noSupervisedSigNo;
        return HandlingError;
    }
    const SIGSELECT sigNo = numberOf(signal);
    if (sigNo == ULSA_TMO_SIG) {
        return receiveTimeout(signal, supervisedSigNo);
    }
    // The last entry, in key order, that expects this reply ends.
    auto match = supervised.end();
    for (auto it = supervised.begin(); it != supervised.end(); ++it) {
        for (SIGSELECT reply : it->second.expectedReplies) {
            if (reply == sigNo) {
                match = it;
            }
        }
    }
    if (match == supervised.end()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4,
                    "%s::receiveFromRo: signal name = %s is not supervised or received late!\n",
                    name.c_str(), nameOf(sigNo).c_str());
        supervisedSigNo = noSupervisedSigNo;
        return NotSupervised;
    }
    supervisedSigNo = match->second.sigNo;
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8, "%s::receiveFromRo: received signal name = %s",
                name.c_str(), nameOf(sigNo).c_str());
    const uint32_t cancelled =
        ULSAtmo::getInstance()->cancel_Tmo(match->second.froId, match->first, kTmoType);
    supervised.erase(match);
    if (cancelled == 1) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                    "%s::receiveFromRo: Cancel supervision of signal name = %s", name.c_str(),
                    nameOf(sigNo).c_str());
        return SupervisedReply;
    }
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                "%s::receiveFromRo: Error during cancellation of timeout for signal name = %s",
                name.c_str(), nameOf(sigNo).c_str());
    return HandlingError;
}

void roSignalHandler::cancelTimer(SIGSELECT sigNo) {
    const auto it = supervised.find(sigNo);
    if (it == supervised.end()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4,
                    "%s::cancelTimer: Signal name = %s is not supervised", name.c_str(),
                    nameOf(sigNo).c_str());
        return;
    }
    ULSAtmo::getInstance()->cancel_Tmo(it->second.froId, sigNo, kTmoType);
    supervised.erase(it);
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                "%s::cancelTimer: Cancel supervision of signal name = %s", name.c_str(),
                nameOf(sigNo).c_str());
}
