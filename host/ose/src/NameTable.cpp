#include "NameTable.h"

#include <algorithm>

namespace ose {

void NameTable::add(const std::string& name, PROCESS pid) {
    m_names[name].push_back(pid);
}

void NameTable::remove(const std::string& name, PROCESS pid) {
    auto it = m_names.find(name);
    if (it == m_names.end()) {
        return;
    }
    auto& pids = it->second;
    pids.erase(std::remove(pids.begin(), pids.end(), pid), pids.end());
    if (pids.empty()) {
        m_names.erase(it);
    }
}

PROCESS NameTable::find(const std::string& name) const {
    auto it = m_names.find(name);
    return it == m_names.end() ? 0 : it->second.front();
}

void NameTable::addHunt(const std::string& name, PROCESS hunter, BufferHeader* signal) {
    m_hunts[name].push_back(PendingHunt{hunter, signal});
}

std::vector<PendingHunt> NameTable::takeHunts(const std::string& name) {
    std::vector<PendingHunt> taken;
    auto it = m_hunts.find(name);
    if (it != m_hunts.end()) {
        taken.swap(it->second);
        m_hunts.erase(it);
    }
    return taken;
}

std::vector<BufferHeader*> NameTable::dropHuntsBy(PROCESS hunter) {
    std::vector<BufferHeader*> dropped;
    for (auto it = m_hunts.begin(); it != m_hunts.end();) {
        auto& hunts = it->second;
        for (auto h = hunts.begin(); h != hunts.end();) {
            if (h->hunter == hunter) {
                dropped.push_back(h->signal);
                h = hunts.erase(h);
            } else {
                ++h;
            }
        }
        it = hunts.empty() ? m_hunts.erase(it) : std::next(it);
    }
    return dropped;
}

std::vector<std::string> NameTable::huntedNames(const std::string& prefix) const {
    std::vector<std::string> names;
    for (const auto& entry : m_hunts) {
        if (entry.first.compare(0, prefix.size(), prefix) == 0) {
            names.push_back(entry.first);
        }
    }
    return names;
}

std::vector<BufferHeader*> NameTable::clear() {
    std::vector<BufferHeader*> dropped;
    for (auto& entry : m_hunts) {
        for (const PendingHunt& h : entry.second) {
            dropped.push_back(h.signal);
        }
    }
    m_hunts.clear();
    m_names.clear();
    return dropped;
}

}  // namespace ose
