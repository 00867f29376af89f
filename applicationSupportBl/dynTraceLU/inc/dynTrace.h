// dynTrace.h: how the load module traces.
//
//   TraceHandle m_trace{"TimerLU"};               // registers prefix + "TimerLU" + suffix
//   TRACE(m_trace, 2, "Timer::start(timeOut=%u)", timeOut);
//   TRACE_DATA(m_trace, 16, sig, size, "SigNo: 0x%x", sigNo);
//   TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlInit, 4, "ULSpectrumAnalyzer Main Process started");
//
// The level test stands inline in front of every call: a level that is off costs
// one load and one test, and nothing is formatted or allocated. A reference that the
// service may set meanwhile (a group's, the default one) is read with acquire order,
// which costs nothing more than a plain load on the common processors. Texts longer than
// 400 characters are written between "BEGIN long trace" and "END long trace" in
// pieces of 400.
#ifndef DYN_TRACE_H
#define DYN_TRACE_H

#include "traceAndError.h"

#include <cstddef>
#include <cstdint>
#include <string>

// The longest text written in one piece.
constexpr std::size_t kTraceMaxPiece = 400;

// A registered trace object, held by a class as m_trace: registered at
// construction under DynTraceHandler's prefix + group + suffix, deregistered at
// destruction. Not copyable.
class TraceHandle {
public:
    explicit TraceHandle(const char* group);
    ~TraceHandle();
    TraceHandle(const TraceHandle&) = delete;
    TraceHandle& operator=(const TraceHandle&) = delete;

    /// The trace object; the dummy object until registered.
    TraceObject* get() const { return m_ref; }

private:
    TraceObject* m_ref;
};

inline const TraceObject* traceObjectOf(const TraceObject* object) { return object; }
inline const TraceObject* traceObjectOf(const TraceRef& ref) { return traceRefGet(ref); }
inline const TraceObject* traceObjectOf(const TraceHandle& handle) { return handle.get(); }

/// printf-style formatting into a string, for the trace call that follows.
std::string traceFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Writes a text, in the long form when it is longer than kTraceMaxPiece.
void traceText(const TraceObject* object, unsigned level, const char* file, unsigned line,
               const std::string& text);

/// Writes a heading and then the data; the length is taken as 16 bits.
void traceData(const TraceObject* object, unsigned level, const char* file, unsigned line,
               const std::string& heading, const void* data, std::size_t length);

/// A group trace: the group's level and bit 21 of the default object must both be on.
inline bool traceGroupOn(const TraceObject* group, unsigned level) {
    return traceLevelOn(group, level) && traceLevelOn(traceRefGet(traceDefaultRef), 21);
}

#define TRACE_ON(obj, level) traceLevelOn(traceObjectOf(obj), (level))

#define TRACE(obj, level, ...)                                                           \
    do {                                                                                 \
        const TraceObject* traceObj_ = traceObjectOf(obj);                               \
        if (traceLevelOn(traceObj_, (level)))                                            \
            traceText(traceObj_, (level), __FILE__, __LINE__, traceFormat(__VA_ARGS__)); \
    } while (0)

#define TRACE_DATA(obj, level, data, length, ...)                                        \
    do {                                                                                 \
        const TraceObject* traceObj_ = traceObjectOf(obj);                               \
        if (traceLevelOn(traceObj_, (level)))                                            \
            traceData(traceObj_, (level), __FILE__, __LINE__, traceFormat(__VA_ARGS__),  \
                      (data), (length));                                                 \
    } while (0)

#define TRACE_GROUP(group, level, ...)                                               \
    do {                                                                             \
        const TraceObject* traceObj_ = traceObjectOf(group);                         \
        if (traceGroupOn(traceObj_, (level)))                                        \
            traceText(traceObj_, (level), __FILE__, __LINE__, traceFormat(__VA_ARGS__)); \
    } while (0)

#endif  // DYN_TRACE_H
