#include "Environment.h"

namespace ose {

OSADDRESS Environment::pointer(PROCESS pid, const char* name) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto values = m_values.find(pid);
    if (values == m_values.end()) {
        return 0;
    }
    auto it = values->second.pointers.find(name);
    return it == values->second.pointers.end() ? 0 : it->second;
}

void Environment::setPointer(PROCESS pid, const char* name, OSADDRESS value) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto& pointers = m_values[pid].pointers;
    auto it = pointers.find(name);
    if (it != pointers.end()) {
        it->second = value;
    } else {
        pointers.emplace(name, value);
    }
}

bool Environment::text(PROCESS pid, const char* name, std::string& out) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto values = m_values.find(pid);
    if (values == m_values.end()) {
        return false;
    }
    auto it = values->second.texts.find(name);
    if (it == values->second.texts.end()) {
        return false;
    }
    out = it->second;
    return true;
}

void Environment::setText(PROCESS pid, const char* name, const char* value) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto& texts = m_values[pid].texts;
    auto it = texts.find(name);
    if (value == nullptr) {
        if (it != texts.end()) {
            texts.erase(it);
        }
    } else if (it != texts.end()) {
        it->second = value;
    } else {
        texts.emplace(name, value);
    }
}

void Environment::forget(PROCESS pid) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values.erase(pid);
}

void Environment::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values.clear();
}

}  // namespace ose
