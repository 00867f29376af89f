#include "Composite.h"

#include "connectionTrace.h"
#include "dynTrace.h"
#include "processError.h"

#include <cstdio>

Composite::~Composite() {
    for (auto& entry : m_componentMapT) {
        delete entry.second;
    }
}

bool Composite::add(uint32_t key, Component* component) {
    if (component == nullptr) {
        return false;
    }
    if (!m_componentMapT.emplace(key, component).second) {
        const std::string text = traceFormat(
            "Composite::add(key:%d,*value=%08llx) m_componentMapT.insert: key is already used, "
            "data might have been lost, this shall be protected before call to this function!",
            static_cast<int>(key), addressOf(component));
        const TraceObject* trace = connectionTraceObject();
        TRACE(trace, 1, "%s", text.c_str());
        nc::reportProcessError(trace, text);
        return false;
    }
    return true;
}

void Composite::remove(uint32_t key) {
    const auto it = m_componentMapT.find(key);
    if (it != m_componentMapT.end()) {
        delete it->second;
        m_componentMapT.erase(it);
    }
}

bool Composite::contains(uint32_t key) const {
    return m_componentMapT.count(key) != 0;
}

Component* Composite::child(uint32_t key) const {
    const auto it = m_componentMapT.find(key);
    return it != m_componentMapT.end() ? it->second : nullptr;
}

void Composite::dump(int indent) const {
    std::printf("%*s Composite (%08llx) :\n", indent, "", addressOf(this));
    for (const auto& entry : m_componentMapT) {
        std::printf("%*s m_componentMapT[%d],->%08llx\n", indent, "", static_cast<int>(entry.first),
                    addressOf(entry.second));
        entry.second->dump(indent + 2);
    }
}
