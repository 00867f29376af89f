#include "AttachTable.h"

#include <algorithm>

namespace ose {

void AttachTable::add(const AttachRecord& record) {
    m_records.emplace(record.ref, record);
    m_byTarget[record.target].push_back(record.ref);
}

AttachTable::Detach AttachTable::take(OSATTREF ref, PROCESS caller, BufferHeader*& signal) {
    auto it = m_records.find(ref);
    if (it == m_records.end()) {
        return Detach::Gone;
    }
    if (it->second.attacher != caller) {
        return Detach::NotAttacher;
    }
    signal = it->second.signal;
    unlinkTarget(it->second.target, ref);
    m_records.erase(it);
    return Detach::Taken;
}

std::vector<AttachRecord> AttachTable::takeTargeting(PROCESS target) {
    std::vector<AttachRecord> taken;
    auto it = m_byTarget.find(target);
    if (it == m_byTarget.end()) {
        return taken;
    }
    for (OSATTREF ref : it->second) {
        auto r = m_records.find(ref);
        taken.push_back(r->second);
        m_records.erase(r);
    }
    m_byTarget.erase(it);
    return taken;
}

std::vector<BufferHeader*> AttachTable::dropMadeBy(PROCESS attacher) {
    std::vector<BufferHeader*> dropped;
    for (auto it = m_records.begin(); it != m_records.end();) {
        if (it->second.attacher == attacher) {
            dropped.push_back(it->second.signal);
            unlinkTarget(it->second.target, it->first);
            it = m_records.erase(it);
        } else {
            ++it;
        }
    }
    return dropped;
}

std::vector<BufferHeader*> AttachTable::clear() {
    std::vector<BufferHeader*> dropped;
    for (auto& entry : m_records) {
        dropped.push_back(entry.second.signal);
    }
    m_records.clear();
    m_byTarget.clear();
    return dropped;
}

void AttachTable::unlinkTarget(PROCESS target, OSATTREF ref) {
    auto it = m_byTarget.find(target);
    if (it == m_byTarget.end()) {
        return;
    }
    auto& refs = it->second;
    refs.erase(std::remove(refs.begin(), refs.end(), ref), refs.end());
    if (refs.empty()) {
        m_byTarget.erase(it);
    }
}

}  // namespace ose
