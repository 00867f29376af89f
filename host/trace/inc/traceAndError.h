/*
 * traceAndError.h: the one entry of the platform's trace and error service.
 *
 * A trace object is a record owned by the service. Its fourth word is the mask of
 * enabled levels (bit n on: level n is on); the service may change it at any time,
 * from any thread, which is why it is read with a relaxed atomic load. Callers test
 * the mask inline and call the service only for a level that is on.
 *
 * A reference to a trace object (TraceRef) is set by the service (register, free,
 * attach) while other threads may trace through it. The service stores it with
 * release order and a reader loads it with acquire order, so that a reader that sees
 * a new object also sees its fields; on the common processors both are plain moves.
 *
 * Everything else goes through traceAndErrorInit(operation, call), with the
 * operation numbers below and the fields of TraceCall that each one reads.
 */
#ifndef TRACE_AND_ERROR_H
#define TRACE_AND_ERROR_H

#include <stdint.h>

#ifdef __cplusplus
#include <atomic>

struct TraceObject {
    uint32_t magic;
    uint32_t id;
    uint32_t reserved;
    std::atomic<uint32_t> mask;  // the fourth word: enabled levels
    char name[64];
};

typedef std::atomic<TraceObject*> TraceRef;

inline bool traceLevelOn(const TraceObject* object, unsigned level) {
    return ((object->mask.load(std::memory_order_relaxed) >> level) & 1u) != 0;
}

/// The object a reference points at now.
inline TraceObject* traceRefGet(const TraceRef& ref) {
    return ref.load(std::memory_order_acquire);
}

extern "C" {
#else
typedef _Atomic(struct TraceObject*) TraceRef;
#endif

/* Operation numbers of traceAndErrorInit. */
enum TraceOperation {
    TRACE_OP_FREE = 1,      /* ref: the object to free; *ref is set to the dummy object */
    TRACE_OP_REGISTER = 2,  /* name: the object's name; *ref is set to the object */
    TRACE_OP_ATTACH = 3,    /* ref: filled with the default object of the calling process */
    TRACE_OP_GET_REF = 4,   /* ref: a null *ref is set to the dummy object */
    TRACE_OP_WRITE = 5,     /* ref, level, file, line, text */
    TRACE_OP_DATA = 8,      /* ref, level, file, line, text (heading), data, length */
    TRACE_OP_SETUP = 10,    /* once per Linux process; reads ULSA_TRACE and ULSA_TRACE_FILE */
    TRACE_OP_CALLER = 11    /* process: set to the calling process, 0 for a thread that is
                               no kernel process (trace calls come from any thread) */
};

struct TraceCall {
    TraceRef* ref;
    const char* name;
    uint32_t level;
    const char* file;
    uint32_t line;
    const char* text;
    const void* data;
    uint16_t length;
    uint32_t process;
};

/* Returns 0 on success, -1 for an unknown operation or a call without its fields. */
int traceAndErrorInit(int operation, struct TraceCall* call);

/* The object every reference points at before registration: levels 0, 1 and 4
 * and the bits 20 and 21 are on. */
extern struct TraceObject traceDummyObject;

/* The default object, filled by TRACE_OP_ATTACH. Bit 21 of its mask gates every
 * group trace. */
extern TraceRef traceDefaultRef;

#ifdef __cplusplus
}
#endif

#endif /* TRACE_AND_ERROR_H */
