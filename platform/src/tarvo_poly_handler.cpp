// tarvo_poly_handler: the database interface's error events, log lines and ready note
// as traces.
#include "tarvo_poly_handler.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstdio>

namespace {

const char* errorText(int32_t code) {
    switch (code) {
        case 1:
            return "Internal inconsistency";
        case 2:
            return "Out of heap memory";
        case 3:
            return "Warm restart failure";
        case 4:
            return "Checksum error";
        case 5:
            return "Load file not found";
        case 6:
            return "Load file error";
        case 7:
            return "Disk error";
        default:
            return "Unknown error";
    }
}

void logLine(int32_t severity, const char* text, int32_t m, int32_t s, int32_t c) {
    const int mi = static_cast<int>(m);
    const int si = static_cast<int>(s);
    const int ci = static_cast<int>(c);
    switch (severity) {
        case 1:
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, kTarvoPolyDetailLevel, "%s, m:%d s:%d c:%d",
                        text, mi, si, ci);
            break;
        case 2:
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, kTarvoPolyDetailLevel, "%s, m:%d s:%d c:%d",
                        text, mi, si, ci);
            std::fflush(nullptr);
            break;
        case 3:
            TRACE(traceDefaultRef, 4, "%s, m:%d s:%d c:%d", text, mi, si, ci);
            break;
        default:  // 4, 5, and a severity the interface should not send
            TRACE(traceDefaultRef, 1, "%s, m:%d s:%d c:%d", text, mi, si, ci);
            break;
    }
}

}  // namespace

void tarvo_poly_handler(uint32_t kind, int32_t code, const char* text, int32_t m, int32_t s,
                        int32_t c) {
    switch (kind) {
        case kTarvoPolyErrorEvent:
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Database error: %s (%d)", errorText(code),
                        static_cast<int>(code));
            break;
        case kTarvoPolyLogLine:
            logLine(code, text != nullptr ? text : "", m, s, c);
            break;
        case kTarvoPolyReady:
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 4, "poly_server_ready");
            break;
        default:
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "tarvo_poly_handler: unknown kind %u",
                        static_cast<unsigned>(kind));
            break;
    }
}
