#include "TraceService.h"

#include "oseHost.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace {

// Names are written as one column of every output line.
bool validName(const char* name) {
    if (name == nullptr || *name == '\0') {
        return false;
    }
    for (const char* p = name; *p != '\0'; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (std::isspace(c) != 0 || std::iscntrl(c) != 0) {
            return false;
        }
    }
    return true;
}

constexpr unsigned kMaxLevel = 31;

}  // namespace

TraceService& TraceService::instance() {
    static TraceService* const service = new TraceService;  // never destroyed, see header
    return *service;
}

TraceService::TraceService() {
    auto record = std::make_unique<Record>();
    record->object.magic = kTraceObjectMagic;
    record->object.id = m_nextId++;
    record->object.mask.store(kTraceDefaultObjectMask, std::memory_order_relaxed);
    std::strncpy(record->object.name, kTraceDefaultObjectName, sizeof record->object.name - 1);
    record->registered = true;
    record->isDefault = true;
    m_default = record.get();
    m_records.emplace(kTraceDefaultObjectName, std::move(record));
}

void TraceService::ensureSetup() {
    std::call_once(m_setup, [this] {
        const char* file = std::getenv("ULSA_TRACE_FILE");
        if (file != nullptr && *file != '\0') {
            m_output.setFile(file);
        }
        const char* rules = std::getenv("ULSA_TRACE");
        if (rules != nullptr) {
            applyRules(rules);
        }
    });
}

int TraceService::call(int operation, TraceCall* call) {
    ensureSetup();
    if (operation == TRACE_OP_SETUP) {
        return 0;
    }
    if (call == nullptr) {
        return -1;
    }
    switch (operation) {
        case TRACE_OP_FREE:
            return freeObject(*call);
        case TRACE_OP_REGISTER:
            return registerObject(*call);
        case TRACE_OP_ATTACH:
            if (call->ref == nullptr) {
                return -1;
            }
            call->ref->store(&m_default->object, std::memory_order_release);
            return 0;
        case TRACE_OP_GET_REF:
            if (call->ref == nullptr) {
                return -1;
            }
            if (call->ref->load(std::memory_order_acquire) == nullptr) {
                call->ref->store(&traceDummyObject, std::memory_order_release);
            }
            return 0;
        case TRACE_OP_WRITE:
            return write(*call);
        case TRACE_OP_DATA:
            return writeData(*call);
        case TRACE_OP_CALLER:
            call->process = ose_current_process_or_zero();
            return 0;
        default:
            return -1;
    }
}

uint32_t TraceService::maskFor(const std::string& name, const Record& record) const {
    // The default object gates every group trace: a wildcard meant for groups must
    // not switch group traces off by accident.
    return record.isDefault ? m_rules.maskFor(name, false, kTraceDefaultObjectMask)
                            : m_rules.maskFor(name, true, kTraceUnnamedMask);
}

int TraceService::registerObject(const TraceCall& call) {
    if (call.ref == nullptr || !validName(call.name)) {
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_lock);
    std::unique_ptr<Record>& slot = m_records[call.name];
    if (!slot) {
        slot = std::make_unique<Record>();
        slot->object.magic = kTraceObjectMagic;
        slot->object.id = m_nextId++;
        std::strncpy(slot->object.name, call.name, sizeof slot->object.name - 1);
    }
    if (!slot->registered) {
        slot->registered = true;
        // Rules match the full name; the record keeps a cut copy for output only.
        slot->object.mask.store(maskFor(call.name, *slot), std::memory_order_relaxed);
    }
    call.ref->store(&slot->object, std::memory_order_release);
    return 0;
}

int TraceService::freeObject(const TraceCall& call) {
    const TraceObject* object = call.ref != nullptr ? traceRefGet(*call.ref) : nullptr;
    if (object == nullptr) {
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_lock);
    for (auto& entry : m_records) {
        Record& record = *entry.second;
        if (&record.object == object) {
            if (record.isDefault || !record.registered) {
                return -1;
            }
            record.registered = false;
            call.ref->store(&traceDummyObject, std::memory_order_release);
            return 0;
        }
    }
    return -1;
}

const TraceObject* TraceService::writtenObject(const TraceCall& call) {
    if (call.ref == nullptr || call.text == nullptr || call.level > kMaxLevel) {
        return nullptr;
    }
    const TraceObject* object = traceRefGet(*call.ref);
    return object != nullptr && object->magic == kTraceObjectMagic ? object : nullptr;
}

int TraceService::write(const TraceCall& call) {
    const TraceObject* object = writtenObject(call);
    if (object == nullptr) {
        return -1;
    }
    // Checked again here so that a caller that skipped the inline test writes nothing
    // that the mask does not allow.
    if (traceLevelOn(object, call.level)) {
        m_output.writeText(object->name, call.level, call.file, call.line, call.text);
    }
    return 0;
}

int TraceService::writeData(const TraceCall& call) {
    const TraceObject* object = writtenObject(call);
    if (object == nullptr || (call.data == nullptr && call.length != 0)) {
        return -1;
    }
    if (traceLevelOn(object, call.level)) {
        m_output.writeData(object->name, call.level, call.file, call.line, call.text,
                           static_cast<const uint8_t*>(call.data), call.length);
    }
    return 0;
}

void TraceService::warn(const char* file, unsigned line, const std::string& text) {
    m_output.writeText("traceService", 4, file, line, text.c_str());
}

int TraceService::applyRules(const std::string& rules) {
    std::vector<std::string> warnings;
    std::vector<TraceMaskRules::Rule> parsed = TraceMaskRules::parse(rules, warnings);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_rules.assign(std::move(parsed));
        for (auto& entry : m_records) {
            Record& record = *entry.second;
            if (record.registered) {
                record.object.mask.store(maskFor(entry.first, record), std::memory_order_relaxed);
            }
        }
    }
    // Written after the lock is released: the output never waits for the registry.
    for (const std::string& warning : warnings) {
        warn(__FILE__, __LINE__, "ULSA_TRACE: " + warning);
    }
    return static_cast<int>(warnings.size());
}

int TraceService::configure(const std::string& rules) {
    ensureSetup();
    return applyRules(rules);
}

int TraceService::setMask(const std::string& pattern, uint32_t mask) {
    ensureSetup();
    if (!TraceMaskRules::validPattern(pattern)) {
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_lock);
    m_rules.add(TraceMaskRules::Rule{pattern, mask});
    int matched = 0;
    for (auto& entry : m_records) {
        Record& record = *entry.second;
        if (record.registered && TraceMaskRules::matches(pattern, entry.first, !record.isDefault)) {
            record.object.mask.store(mask, std::memory_order_relaxed);
            ++matched;
        }
    }
    return matched;
}

std::vector<TraceObjectInfo> TraceService::objects() {
    ensureSetup();
    std::vector<TraceObjectInfo> list;
    std::lock_guard<std::mutex> lock(m_lock);
    for (const auto& entry : m_records) {
        if (entry.second->registered) {
            list.push_back(TraceObjectInfo{
                entry.first, entry.second->object.mask.load(std::memory_order_relaxed)});
        }
    }
    return list;
}
