// LinkCore: the kernel side of one link.
//
// It owns the link's kernel process (which hunts and attaches for the peer), the
// phantoms that stand for the peer's processes here (imports), and the set of this
// kernel's processes that the peer knows (known). Frames from the peer arrive on the
// socket thread through onFrame(); signals to the phantoms leave on their senders'
// threads through the phantoms' outlet.
//
// A core is never freed: a phantom's outlet may be entered by a sender at the moment
// the link is lost, so its context has to outlive the link. What a lost core keeps
// is a few hundred bytes and its phantoms' records, which the kernel keeps anyway.
#ifndef HOSTLINK_LINK_CORE_H
#define HOSTLINK_LINK_CORE_H

#include "FrameSink.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>

union SIGNAL;

namespace hostlink {

class LinkCore {
  public:
    /// A core under that link name, or null if this process has a link of that name.
    static LinkCore* reserve(const std::string& name);

    const std::string& name() const { return m_name; }

    /// Socket thread: the link is up; starts the link's process and asks the peer for
    /// the names that hunts here wait for.
    void begin(std::shared_ptr<FrameSink> sink);
    /// The reading thread (the socket thread or a watching process): a frame from the peer. False, with the reason, for a frame that
    /// breaks the protocol: the link is to be lost.
    bool onFrame(wire::FrameType type, const uint8_t* payload, uint32_t length, std::string& why);
    /// Socket thread: the link is lost (or was never begun): its phantoms and its process
    /// die, its name is free again.
    void lost();

    /// Any thread: asks the peer to hunt name (a hunt here waits for "<link>/name").
    void requestHunt(const std::string& name);
    /// A sender's thread: a signal to the phantom that stands for the peer's process remote.
    void forward(uint32_t remote, const void* signal, uint32_t size, uint32_t from);
    /// The link's process.
    void run();

  private:
    struct Import {
        LinkCore* core;
        uint32_t remote;   // the pid on the peer's side
        uint32_t phantom;  // the phantom here
    };

    explicit LinkCore(std::string name);
    /// Reading thread: the phantom for the peer's process remote named name (made if new).
    void import(uint32_t remote, const std::string& name);
    /// Reading thread: a signal from the phantom from (0: nobody) to the process to here.
    void deliverSignal(uint32_t from, uint32_t to, const uint8_t* bytes, uint32_t size);
    /// Sends a signal of its own to the link's process, if it is still there.
    void toProcess(union SIGNAL* s);
    /// Link process: the peer knows pid now; its end is to be told.
    void watch(uint32_t pid);
    static void outlet(void* context, const void* signal, uint32_t size, uint32_t from,
                       uint32_t to);

    const std::string m_name;
    std::atomic<uint32_t> m_process{0};  // the link's process, once begun

    std::mutex m_mutex;
    // Guarded by m_mutex. A frame and what it depends on (an Announce before the
    // signal) are written under it, so that they leave in order.
    std::shared_ptr<FrameSink> m_sink;            // null while the link is down
    std::unordered_set<std::string> m_requested;  // names asked for and not found yet
    std::unordered_set<uint32_t> m_known;         // processes here that the peer knows

    // The reader's only (one at a time, under the connection's read lock), then lost()'s.
    std::unordered_map<uint32_t, Import*> m_imports;  // by remote pid
    std::deque<Import> m_importRecords;               // stable: phantoms' outlet contexts
};

}  // namespace hostlink

#endif  // HOSTLINK_LINK_CORE_H
