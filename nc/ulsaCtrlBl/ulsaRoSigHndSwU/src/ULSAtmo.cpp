#include "ULSAtmo.h"

#include "dynTrace.h"
#include "processError.h"
#include "traceGroups.h"
#include "ulsaSig.h"

#include <algorithm>
#include <cstring>

namespace {

ULSAtmo* instance = nullptr;

class ProcessTmo : public ULSAtmo {};

}  // namespace

ULSAtmo* ULSAtmo::getInstance() {
    if (instance == nullptr) {
        instance = new ProcessTmo;
    }
    return instance;
}

void ULSAtmo::destroyInstance() {
    delete instance;
    instance = nullptr;
}

OSTMOREF ULSAtmo::requestTmo(OSTIME tmoTime, union SIGNAL** sig) {
    return request_tmo_sig(tmoTime, sig);
}

union SIGNAL* ULSAtmo::cancelTmo(OSTMOREF* timerRef) {
    return cancel_tmo_sig(timerRef);
}

ULSAtmo::~ULSAtmo() {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4, "------------  DELETEING tmo_OBJECT!!!!!");
}

void ULSAtmo::clear() {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 4,
                "ULSAtmo::clear() called. Cancel all outstanding TMO's");
    const std::vector<TmoRecord> records = dataVec;
    for (const TmoRecord& record : records) {
        cancel_Tmo(record.id, record.preload, record.tmo_type);
    }
    if (!dataVec.empty()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1, "dataVec is not EMPTY!");
        nc::reportProcessError(traceGroups::ulsaRoSigHndSwU, "dataVec is not EMPTY!");
    }
}

std::vector<TmoRecord>::iterator ULSAtmo::find(uint32_t id, uint32_t preload, uint32_t tmo_type) {
    return std::find_if(dataVec.begin(), dataVec.end(), [&](const TmoRecord& record) {
        return record.id == id && record.preload == preload && record.tmo_type == tmo_type;
    });
}

void ULSAtmo::erase(uint32_t id, uint32_t preload, uint32_t tmo_type) {
    const auto it = find(id, preload, tmo_type);
    if (it != dataVec.end()) {
        dataVec.erase(it);
    }
}

bool ULSAtmo::contains(uint32_t id, uint32_t preload, uint32_t tmo_type) const {
    return std::any_of(dataVec.begin(), dataVec.end(), [&](const TmoRecord& record) {
        return record.id == id && record.preload == preload && record.tmo_type == tmo_type;
    });
}

uint32_t ULSAtmo::ulsa_set_Tmo(uint32_t id, uint32_t preload, uint32_t tmoTime, uint32_t tmo_type) {
    if (find(id, preload, tmo_type) != dataVec.end()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1,
                    "ulsa_set_Tmo Failed, old request still in list, please canceltmo  id: %d, "
                    "preload: %d tmo_type: %d",
                    static_cast<int>(id), static_cast<int>(preload), static_cast<int>(tmo_type));
        return refused;
    }
    union SIGNAL* sig = alloc(sizeof(UlsaTmoSig), ULSA_TMO_SIG);
    UlsaTmoSig* tmo = reinterpret_cast<UlsaTmoSig*>(sig);
    tmo->id = id;
    tmo->tmo_type = tmo_type;
    tmo->preload = preload;
    const OSTMOREF timerRef = requestTmo(tmoTime, &sig);
    dataVec.push_back(TmoRecord{tmoTime, timerRef, id, preload, tmo_type});
    return started;
}

uint32_t ULSAtmo::remove_Tmo(uint32_t id, uint32_t preload, uint32_t tmo_type) {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                "ULSAtmo::remove_Tmo: Removing MEMORY for id:%d, preload: %d and tmo_type: %d",
                static_cast<int>(id), static_cast<int>(preload), static_cast<int>(tmo_type));
    erase(id, preload, tmo_type);
    return 1;
}

uint32_t ULSAtmo::remove_Tmo(const union SIGNAL* sig) {
    if (sig == nullptr) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1, "Signal is empty! (rec_p == 0)");
        return 1;
    }
    UlsaTmoSig tmo{};
    std::memcpy(&tmo.sigNo, sig, sizeof tmo.sigNo);
    union SIGNAL* owned = const_cast<union SIGNAL*>(sig);
    if (tmo.sigNo != ULSA_TMO_SIG || sigsize(&owned) < sizeof tmo) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 1, "Unknown signal to handle, sig_no:%d",
                    static_cast<int>(tmo.sigNo));
        return 1;
    }
    std::memcpy(&tmo, sig, sizeof tmo);
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8, " Removing MEMORY for id:%d",
                static_cast<int>(tmo.id));
    erase(tmo.id, tmo.preload, tmo.tmo_type);
    return 1;
}

uint32_t ULSAtmo::cancel_Tmo(uint32_t id, uint32_t preload, uint32_t tmo_type) {
    const auto it = find(id, preload, tmo_type);
    if (it == dataVec.end()) {
        return 1;
    }
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8, " Cancel froId: %d, preload: %d, tmo_id: %d ",
                static_cast<int>(id), static_cast<int>(preload), static_cast<int>(tmo_type));
    OSTMOREF timerRef = it->timerRef;
    dataVec.erase(it);
    // Null when the time-out has fired already: its signal is on its way and will
    // find no record.
    union SIGNAL* sig = cancelTmo(&timerRef);
    if (sig != nullptr) {
        free_buf(&sig);
    }
    return 1;
}

void ULSAtmo::cancelAllTMOtypes(uint32_t id, uint32_t tmo_type) {
    TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                "ULSAtmo::cancelAllTMOtypes() called, tmoType:%d, id:%d",
                static_cast<int>(tmo_type), static_cast<int>(id));
    const std::vector<TmoRecord> records = dataVec;
    for (const TmoRecord& record : records) {
        if (record.id == id && record.tmo_type == tmo_type) {
            cancel_Tmo(record.id, record.preload, record.tmo_type);
        }
    }
}

void ULSAtmo::list() const {
    if (dataVec.empty()) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8, " List is empty ! ");
        return;
    }
    for (const TmoRecord& record : dataVec) {
        TRACE_GROUP(traceGroups::ulsaRoSigHndSwU, 8,
                    " List MEMORY for id:%d, preload:%d, tmo_type:%d", static_cast<int>(record.id),
                    static_cast<int>(record.preload), static_cast<int>(record.tmo_type));
    }
}
