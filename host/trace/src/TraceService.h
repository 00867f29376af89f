// TraceService: the state behind traceAndErrorInit and the host functions.
//
// One per Linux process, made on first use and never destroyed, so that kernel
// processes still tracing while the program exits find it intact. Objects are never
// deleted either: a freed object only leaves the list of registered objects, so a
// reference kept past its free still points at a valid record, and registering the
// name again brings back the same record with its mask computed anew.
#ifndef TRACE_SERVICE_H
#define TRACE_SERVICE_H

#include "TraceMaskRules.h"
#include "TraceOutput.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Marks a record as one of the service's trace objects ("TRCE").
constexpr uint32_t kTraceObjectMagic = 0x54524345u;

class TraceService {
  public:
    static TraceService& instance();

    /// traceAndErrorInit: 0, or -1 for an unknown operation or missing fields.
    int call(int operation, TraceCall* call);

    /// Reads ULSA_TRACE_FILE and ULSA_TRACE, the first time only.
    void ensureSetup();

    int configure(const std::string& rules);
    int setMask(const std::string& pattern, uint32_t mask);
    std::vector<TraceObjectInfo> objects();
    TraceOutput& output() { return m_output; }

  private:
    struct Record {
        TraceObject object{};
        bool registered = false;
        bool isDefault = false;
    };

    TraceService();

    int registerObject(const TraceCall& call);
    int freeObject(const TraceCall& call);
    int write(const TraceCall& call);
    int writeData(const TraceCall& call);
    /// The object a write names, or null when the call does not name a valid one.
    static const TraceObject* writtenObject(const TraceCall& call);
    int applyRules(const std::string& rules);
    void warn(const char* file, unsigned line, const std::string& text);
    uint32_t maskFor(const std::string& name, const Record& record) const;

    std::mutex m_lock;  // guards m_records, m_rules and m_nextId
    std::map<std::string, std::unique_ptr<Record>> m_records;
    TraceMaskRules m_rules;
    uint32_t m_nextId = 1;
    Record* m_default = nullptr;  // the record of kTraceDefaultObjectName, set once
    TraceOutput m_output;
    std::once_flag m_setup;
};

#endif  // TRACE_SERVICE_H
