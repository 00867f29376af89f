// "ulsa_trace_ctl": the kernel process through which a management client in another
// process, or on another machine over a link, reads and changes the masks.
#include "traceHost.h"

#include "TraceService.h"
#include "oseHost.h"

#include <cstddef>
#include <cstring>
#include <mutex>
#include <string>

namespace {

constexpr const char* kControlProcessName = "ulsa_trace_ctl";

void warn(const std::string& text) {
    TraceService::instance().output().writeText("traceService", 4, __FILE__, __LINE__,
                                                text.c_str());
}

int32_t setMask(union SIGNAL* sig) {
    const OSBUFSIZE size = sigsize(&sig);
    constexpr std::size_t kPatternOffset = offsetof(TraceSetMaskReq, pattern);
    if (size <= kPatternOffset) {
        warn("ulsa_trace_ctl: TRACE_SET_MASK_REQ of " + std::to_string(size) +
             " bytes is too short, refused");
        return -1;
    }
    const auto* req = reinterpret_cast<const TraceSetMaskReq*>(sig);
    std::size_t room = size - kPatternOffset;
    if (room > kTracePatternSize) {
        room = kTracePatternSize;
    }
    if (std::memchr(req->pattern, '\0', room) == nullptr) {
        warn("ulsa_trace_ctl: TRACE_SET_MASK_REQ pattern has no NUL within the signal, refused");
        return -1;
    }
    const std::string pattern(req->pattern);
    const int matched = traceSetMask(pattern, req->mask);
    if (matched < 0) {
        warn("ulsa_trace_ctl: TRACE_SET_MASK_REQ malformed pattern '" + pattern + "', refused");
    }
    return matched;
}

void answerSetMask(union SIGNAL** sig) {
    const int32_t result = setMask(*sig);
    const PROCESS client = sender(sig);
    union SIGNAL* cfm = alloc(sizeof(TraceSetMaskCfm), TRACE_SET_MASK_CFM);
    reinterpret_cast<TraceSetMaskCfm*>(cfm)->result = result;
    send(&cfm, client);
}

void answerList(union SIGNAL** sig) {
    constexpr std::size_t kTextOffset = offsetof(TraceListCfm, text);
    std::string text;
    uint32_t count = 0;
    for (const TraceObjectInfo& object : traceGetObjects()) {
        char mask[16];
        std::snprintf(mask, sizeof mask, " 0x%08x\n", object.mask);
        const std::string line = object.name + mask;
        if (kTextOffset + text.size() + line.size() + 1 > OS_MAX_SIGSIZE) {
            break;  // whole lines only
        }
        text += line;
        ++count;
    }
    const PROCESS client = sender(sig);
    union SIGNAL* cfm =
        alloc(static_cast<OSBUFSIZE>(kTextOffset + text.size() + 1), TRACE_LIST_CFM);
    auto* list = reinterpret_cast<TraceListCfm*>(cfm);
    list->count = count;
    std::memcpy(list->text, text.c_str(), text.size() + 1);
    send(&cfm, client);
}

OS_PROCESS(traceControlProcess) {
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* sig = receive(anySignal);
        const SIGSELECT sigNo = *reinterpret_cast<const SIGSELECT*>(sig);
        if (sigNo == TRACE_SET_MASK_REQ) {
            answerSetMask(&sig);
        } else if (sigNo == TRACE_LIST_REQ) {
            answerList(&sig);
        } else {
            char text[96];
            std::snprintf(text, sizeof text, "ulsa_trace_ctl: unknown signal 0x%x from 0x%x, freed",
                          sigNo, sender(&sig));
            warn(text);
        }
        free_buf(&sig);
    }
}

}  // namespace

PROCESS traceStartControlProcess() {
    static std::mutex lock;
    static PROCESS running = 0;
    std::lock_guard<std::mutex> guard(lock);
    TraceService::instance().ensureSetup();
    if (running != 0) {
        // The kernel may have been shut down and made anew since: only a live process
        // of our name is the one we started.
        char name[64];
        if (ose_process_name(running, name, sizeof name) != 0 &&
            std::strcmp(name, kControlProcessName) == 0) {
            struct OS_pcb* pcb = get_pcb(running);
            const bool alive =
                pcb != nullptr && pcb->status != OS_STATE_KILLED && pcb->status != OS_STATE_ENDED;
            if (pcb != nullptr) {
                free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
            }
            if (alive) {
                return running;
            }
        }
    }
    running = create_process(OS_PRI_PROC, kControlProcessName, traceControlProcess, 16384, 20, 0, 0,
                             nullptr, 0, 0);
    if (running != 0) {
        start(running);
    }
    return running;
}
