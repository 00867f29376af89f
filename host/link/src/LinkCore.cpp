#include "LinkCore.h"

#include "WaitWatch.h"

#include "ose.h"
#include "oseHost.h"

#include <cstring>
#include <vector>

namespace hostlink {
namespace {

// Signals of the link's own process; none of them leaves this kernel.
constexpr SIGSELECT kHuntCommand = 0x4C4B0001;   // from the socket thread: hunt name
constexpr SIGSELECT kHuntDone = 0x4C4B0002;      // the hunt signal: name found, its pid as sender
constexpr SIGSELECT kWatchCommand = 0x4C4B0003;  // from an outlet: the peer knows pid now
constexpr SIGSELECT kKnownEnded = 0x4C4B0004;    // the attach signal: a known process ended

struct NameSig {
    SIGSELECT sigNo;
    char name[1];  // NUL-terminated, as long as the buffer
};

struct PidSig {
    SIGSELECT sigNo;
    PROCESS pid;
};

}  // namespace
}  // namespace hostlink

union SIGNAL {
    SIGSELECT sigNo;
    hostlink::NameSig name;
    hostlink::PidSig pid;
};

namespace hostlink {
namespace {

std::mutex g_mutex;
// Guarded by g_mutex: the links of this process by name, up or being set up.
std::unordered_map<std::string, LinkCore*>& links() {
    static std::unordered_map<std::string, LinkCore*> byName;
    return byName;
}
// Guarded by g_mutex: the core of each link's process, from begin() until the link is
// lost. The process looks itself up here as it starts: a link lost before that has
// killed it and taken it out, and it ends without touching its core.
std::unordered_map<PROCESS, LinkCore*>& coresByProcess() {
    static std::unordered_map<PROCESS, LinkCore*> byProcess;
    return byProcess;
}
// Every core ever made, never freed (see LinkCore.h); reachable, so no leak to report.
std::vector<LinkCore*>* g_cores = new std::vector<LinkCore*>;

LinkCore* linkNamed(const std::string& name) {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = links().find(name);
    return it == links().end() ? nullptr : it->second;
}

// A hunt here for "<link>/<name>" that nothing answered: the link asks its peer.
void observeHunt(void*, const char* path) {
    const char* slash = std::strchr(path, '/');
    if (slash == nullptr) {
        return;
    }
    LinkCore* core = linkNamed(std::string(path, slash));
    if (core != nullptr) {
        core->requestHunt(slash + 1);
    }
}

void requestWaitingHunt(void* context, const char* path) {
    auto* core = static_cast<LinkCore*>(context);
    core->requestHunt(path + core->name().size() + 1);
}

OS_PROCESS(linkEntry) {
    LinkCore* core = nullptr;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = coresByProcess().find(current_process());
        if (it != coresByProcess().end()) {
            core = it->second;
        }
    }
    if (core != nullptr) {
        core->run();
    }
}

const SIGSELECT kAnySignal[] = {0};

union SIGNAL* nameSignal(SIGSELECT sigNo, const char* name, std::size_t length) {
    union SIGNAL* s = alloc(static_cast<OSBUFSIZE>(sizeof(SIGSELECT) + length + 1), sigNo);
    std::memcpy(s->name.name, name, length);
    s->name.name[length] = '\0';
    return s;
}

// A process of this kernel (live, ended or killed); fills name when it is one.
bool processName(PROCESS pid, char* name, std::size_t size) {
    return pid != 0 && ose_process_name(pid, name, size) != 0;
}

bool ofThisKernel(PROCESS pid) {
    char name[1];
    return processName(pid, name, sizeof name);
}

// Kills a process of this kernel; one of a kernel shut down since is gone already.
void end(PROCESS pid) {
    if (ofThisKernel(pid)) {
        kill_proc(pid);
    }
}

}  // namespace

LinkCore::LinkCore(std::string name) : m_name(std::move(name)) {}

LinkCore* LinkCore::reserve(const std::string& name) {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (links().count(name) != 0) {
        return nullptr;
    }
    auto* core = new LinkCore(name);
    g_cores->push_back(core);
    links()[name] = core;
    return core;
}

void LinkCore::begin(std::shared_ptr<FrameSink> sink) {
    const std::string processName = "link:" + m_name;
    const PROCESS pid =
        create_process(OS_PRI_PROC, processName.c_str(), &linkEntry, 0, 16, 0, 0, nullptr, 0, 0);
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        coresByProcess()[pid] = this;
    }
    m_process.store(pid);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sink = std::move(sink);
    }
    start(pid);
    ose_set_hunt_observer(&observeHunt, nullptr);
    static const OseWaitWatch watch{&watchBegin, &watchReady, &watchEnd, nullptr};
    ose_set_wait_watch(&watch);
    ose_waiting_hunts((m_name + "/").c_str(), &requestWaitingHunt, this);
}

void LinkCore::lost() {
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = links().find(m_name);
        if (it != links().end() && it->second == this) {
            links().erase(it);
        }
        coresByProcess().erase(m_process.load());
    }
    std::shared_ptr<FrameSink> sink;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        sink.swap(m_sink);
        m_requested.clear();
        m_known.clear();
    }
    // The link's process takes its hunts and attaches for the peer with it.
    const PROCESS process = m_process.exchange(0);
    end(process);
    for (const auto& entry : m_imports) {
        end(entry.second->phantom);  // its attachers are told
    }
    m_imports.clear();
}

void LinkCore::requestHunt(const std::string& name) {
    if (name.empty() || name.size() > wire::kMaxName) {
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_sink != nullptr && m_requested.insert(name).second) {
        m_sink->write(wire::FrameType::HuntRequest, {{name.data(), name.size()}});
    }
}

bool LinkCore::onFrame(wire::FrameType type, const uint8_t* payload, uint32_t length,
                       std::string& why) {
    const auto pidAndName = [&](uint32_t& pid, std::string& name) {
        if (length <= sizeof pid || length > sizeof pid + wire::kMaxName) {
            why = "a frame with a malformed name";
            return false;
        }
        std::memcpy(&pid, payload, sizeof pid);
        name.assign(reinterpret_cast<const char*>(payload) + sizeof pid, length - sizeof pid);
        if (pid == 0 || name.find('\0') != std::string::npos) {
            why = "a frame with a malformed process";
            return false;
        }
        return true;
    };
    uint32_t pid = 0;
    std::string name;
    switch (type) {
        case wire::FrameType::Ping:
            return true;
        case wire::FrameType::HuntRequest: {
            // A NUL inside would cut the name short, down to an empty one.
            if (length == 0 || length > wire::kMaxName ||
                std::memchr(payload, '\0', length) != nullptr) {
                why = "a hunt for a malformed name";
                return false;
            }
            toProcess(nameSignal(kHuntCommand, reinterpret_cast<const char*>(payload), length));
            return true;
        }
        case wire::FrameType::HuntFound:
            if (!pidAndName(pid, name)) {
                return false;
            }
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_requested.erase(name);
            }
            import(pid, name);
            return true;
        case wire::FrameType::Announce:
            if (!pidAndName(pid, name)) {
                return false;
            }
            import(pid, name);
            return true;
        case wire::FrameType::Signal: {
            if (length < sizeof(wire::SignalPart) + sizeof(SIGSELECT)) {
                why = "a signal shorter than its number";
                return false;
            }
            wire::SignalPart part;
            std::memcpy(&part, payload, sizeof part);
            PROCESS from = 0;
            if (part.from != 0) {
                auto it = m_imports.find(part.from);
                if (it == m_imports.end()) {
                    why = "a signal from a process that was never announced";
                    return false;
                }
                from = it->second->phantom;
            }
            deliverSignal(from, part.to, payload + sizeof part,
                          static_cast<uint32_t>(length - sizeof part));
            return true;
        }
        case wire::FrameType::Ended: {
            if (length != sizeof pid) {
                why = "a malformed end of a process";
                return false;
            }
            std::memcpy(&pid, payload, sizeof pid);
            auto it = m_imports.find(pid);
            if (it != m_imports.end()) {
                end(it->second->phantom);
                m_imports.erase(it);
            }
            return true;
        }
    }
    why = "a frame of unknown type";
    return false;
}

void LinkCore::deliverSignal(PROCESS from, PROCESS to, const uint8_t* bytes, uint32_t size) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_known.count(to) == 0) {
            return;  // ended (the peer has not heard yet), or never made known
        }
    }
    if (!ofThisKernel(to)) {
        return;  // the kernel was shut down under the link
    }
    SIGSELECT sigNo;
    std::memcpy(&sigNo, bytes, sizeof sigNo);
    union SIGNAL* s = alloc(size, sigNo);
    std::memcpy(s, bytes, size);
    send_w_s(&s, from, to);
}

void LinkCore::import(uint32_t remote, const std::string& name) {
    if (m_imports.count(remote) != 0) {
        return;
    }
    m_importRecords.push_back(Import{this, remote, 0});
    Import& record = m_importRecords.back();
    m_imports[remote] = &record;
    // Hunts for the name fire as it is made: the record is complete before.
    record.phantom = ose_create_link_phantom((m_name + "/" + name).c_str(), &outlet, &record);
}

void LinkCore::outlet(void* context, const void* signal, uint32_t size, uint32_t from, uint32_t) {
    const auto* record = static_cast<const Import*>(context);
    record->core->forward(record->remote, signal, size, from);
}

void LinkCore::forward(uint32_t remote, const void* signal, uint32_t size, uint32_t from) {
    uint8_t shortSignal[sizeof(SIGSELECT)] = {};
    if (size < sizeof shortSignal) {  // the number travels whole
        std::memcpy(shortSignal, signal, size);
        signal = shortSignal;
        size = sizeof shortSignal;
    }
    bool announced = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_sink == nullptr) {
            return;
        }
        // A sender the peer knows is a process of this kernel; one it does not know yet
        // is announced first, with its name.
        if (from != 0 && m_known.count(from) == 0) {
            char name[wire::kMaxName + 1];
            if (processName(from, name, sizeof name)) {
                m_known.insert(from);
                m_sink->write(wire::FrameType::Announce,
                              {{&from, sizeof from}, {name, std::strlen(name)}});
                announced = true;
            } else {
                from = 0;  // no process of this kernel: it arrives from nobody
            }
        }
        const wire::SignalPart part{from, remote};
        m_sink->write(wire::FrameType::Signal, {{&part, sizeof part}, {signal, size}});
    }
    if (announced) {
        union SIGNAL* s = alloc(sizeof(PidSig), kWatchCommand);
        s->pid.pid = from;
        toProcess(s);
    }
}

void LinkCore::toProcess(union SIGNAL* s) {
    const PROCESS process = m_process.load();  // 0 once lost, or the link's (maybe dead) process
    if (ofThisKernel(process)) {
        send(&s, process);
    } else {
        free_buf(&s);
    }
}

void LinkCore::watch(uint32_t pid) {
    union SIGNAL* s = alloc(sizeof(SIGSELECT), kKnownEnded);
    attach(&s, pid);
}

void LinkCore::run() {
    for (;;) {
        union SIGNAL* s = receive(kAnySignal);
        if (s == nullptr) {
            return;  // the process is ending: a killed process's receive gives nothing
        }
        switch (s->sigNo) {
            case kHuntCommand: {
                union SIGNAL* found =
                    nameSignal(kHuntDone, s->name.name, std::strlen(s->name.name));
                PROCESS pid = 0;
                hunt(s->name.name, 0, &pid, &found);
                break;
            }
            case kHuntDone: {
                const PROCESS pid = sender(&s);
                bool newlyKnown = false;
                {
                    // Known before the peer hears of it: it may send at once.
                    std::lock_guard<std::mutex> lock(m_mutex);
                    if (m_sink != nullptr) {
                        newlyKnown = m_known.insert(pid).second;
                        m_sink->write(
                            wire::FrameType::HuntFound,
                            {{&pid, sizeof pid}, {s->name.name, std::strlen(s->name.name)}});
                    }
                }
                if (newlyKnown) {
                    watch(pid);
                }
                break;
            }
            case kWatchCommand:
                watch(s->pid.pid);
                break;
            case kKnownEnded: {
                const PROCESS pid = sender(&s);
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_sink != nullptr && m_known.erase(pid) != 0) {
                    m_sink->write(wire::FrameType::Ended, {{&pid, sizeof pid}});
                }
                break;
            }
            default:
                break;  // nothing this process answers
        }
        free_buf(&s);
    }
}

}  // namespace hostlink
