#include "Process.h"

#include <utility>

namespace ose {

Process::Process(PROCESS pid, std::string name, uint32_t type, OSPRIORITY priority, PROCESS block,
                 OSENTRYPOINT* entryPoint, const OS_redir_entry* redir, bool adopted)
    : m_pid(pid),
      m_name(std::move(name)),
      m_type(type),
      m_priority(priority),
      m_block(block),
      m_entry(entryPoint),
      m_adopted(adopted),
      m_life(type == OS_PHANTOM || adopted ? Life::Running : Life::Stopped) {
    if (redir != nullptr) {
        m_defaultRoute = redir[0].pid;
        m_redirection.assign(redir + 1, redir + redir[0].sig);
    }
}

uint32_t Process::status() const {
    switch (life()) {
        case Life::Stopped:
            return OS_STATE_STOPPED;
        case Life::Killed:
            return OS_STATE_KILLED;
        case Life::Ended:
            return OS_STATE_ENDED;
        case Life::Running:
            break;
    }
    return phantom() ? OS_STATE_READY : m_queue.blockedState();
}

bool Process::markRunning() {
    Life expected = Life::Stopped;
    return m_life.compare_exchange_strong(expected, Life::Running, std::memory_order_acq_rel);
}

bool Process::markDead(Life how) {
    if (m_killRequested.load(std::memory_order_relaxed)) {
        how = Life::Killed;  // the kill comes first, whoever gets here first
    }
    Life now = life();
    while (now != Life::Killed && now != Life::Ended) {
        if (m_life.compare_exchange_weak(now, how, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return false;
}

void Process::requestKill() {
    m_killRequested.store(true, std::memory_order_relaxed);
    m_queue.interrupt();
}

PROCESS Process::route(SIGSELECT sigNo) const {
    for (const OS_redir_entry& e : m_redirection) {
        if (e.sig == sigNo) {
            return e.pid;
        }
    }
    if (phantom()) {
        return m_defaultRoute;
    }
    return m_pid;
}

}  // namespace ose
