// traceHost.h: what the host needs of the trace service beyond traceAndError.h.
//
// Only host code (node, tools, tests, benchmarks) includes this; the load module
// reaches the service through traceAndErrorInit alone. Every function sets the
// service up first if no operation has done so yet (ULSA_TRACE, ULSA_TRACE_FILE).
#ifndef TRACE_HOST_H
#define TRACE_HOST_H

#include "ose.h"
#include "traceAndError.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Name of the default object that TRACE_OP_ATTACH hands out; only a rule naming it
/// exactly (no '*') changes its mask.
constexpr const char* kTraceDefaultObjectName = "traceDefault";

/// Mask of an object that no rule names: levels 0, 1 (errors) and 4 (warnings).
constexpr uint32_t kTraceUnnamedMask = (1u << 0) | (1u << 1) | (1u << 4);

/// Mask of the default object when no rule names it: levels 0, 1, 4 and bits 20, 21.
constexpr uint32_t kTraceDefaultObjectMask = kTraceUnnamedMask | (1u << 20) | (1u << 21);

/// One registered object as traceGetObjects() lists it.
struct TraceObjectInfo {
    std::string name;
    uint32_t mask;
};

/// Applies a rule list in ULSA_TRACE syntax ("ulsa*=0-16,Ft_*=13") as if it were the
/// start value: it replaces every earlier rule, run-time ones included, and each
/// registered object's mask is computed anew. Bad rules are skipped with a warning
/// on the trace output; returns how many were skipped.
int traceConfigure(const std::string& rules);

/// Sets the mask of every registered object that the pattern ("name" or "prefix*")
/// matches, and of every object registered later that it matches. Returns how many
/// registered objects it matched, or -1 for a malformed pattern (nothing changes).
int traceSetMask(const std::string& pattern, uint32_t mask);

/// Every registered object, in name order, the default object included.
std::vector<TraceObjectInfo> traceGetObjects();

/// Sends every output line (without its line feed) to the sink instead of the
/// stderr or the file; an empty function restores them. The sink is called under
/// the output lock, one line at a time: it must not trace.
void traceSetSink(std::function<void(const std::string&)> sink);

/// Appends the output to the file at path from now on; an empty path means stderr.
/// False (with a warning on stderr, output unchanged) when the file cannot be opened.
bool traceSetOutputFile(const std::string& path);

/// Creates and starts the kernel process "ulsa_trace_ctl", which serves the signals
/// below. Returns its identity; a second call returns the running one.
PROCESS traceStartControlProcess();

// Signals of "ulsa_trace_ctl". Fields are in the byte order of the machine; the
// answer goes to the request's sender.

/// Set a mask: sets the mask of the pattern's objects as traceSetMask() does.
#define TRACE_SET_MASK_REQ ((SIGSELECT)0x7E100)
/// Answer: result is the count of registered objects matched, -1 for a malformed
/// request (too short, pattern without its NUL, malformed pattern).
#define TRACE_SET_MASK_CFM ((SIGSELECT)0x7E101)
/// List the registered objects.
#define TRACE_LIST_REQ ((SIGSELECT)0x7E102)
/// Answer: one line "name 0xmask" per object, NUL-terminated, cut at whole lines to
/// fit the largest buffer; count is the number of lines in text.
#define TRACE_LIST_CFM ((SIGSELECT)0x7E103)

/// The longest pattern a TraceSetMaskReq carries, its NUL included.
constexpr std::size_t kTracePatternSize = 128;

struct TraceSetMaskReq {
    SIGSELECT sigNo;  // TRACE_SET_MASK_REQ
    uint32_t mask;
    char pattern[kTracePatternSize];  // NUL-terminated
};

struct TraceSetMaskCfm {
    SIGSELECT sigNo;  // TRACE_SET_MASK_CFM
    int32_t result;
};

struct TraceListReq {
    SIGSELECT sigNo;  // TRACE_LIST_REQ
};

struct TraceListCfm {
    SIGSELECT sigNo;  // TRACE_LIST_CFM
    uint32_t count;
    char text[4];  // NUL-terminated; the buffer is as long as the text needs
};

#endif  // TRACE_HOST_H
