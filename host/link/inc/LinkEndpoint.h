// LinkEndpoint: links between this process's kernel and kernels of other processes.
//
// A link has a name on each side. Once it is up, a hunt here for "<link>/<name>"
// finds the process <name> of the other kernel through a local phantom of that name;
// signals sent to the phantom arrive there with a phantom of their sender as sender.
// An end point listens for links (a Unix socket or a TCP port on 127.0.0.1), or
// connects to a listener, or both. Its sockets run on a thread of its own.
//
// Close every end point (or destroy it) before ose_shutdown().
#ifndef HOSTLINK_LINK_ENDPOINT_H
#define HOSTLINK_LINK_ENDPOINT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace hostlink {

/// Supervision of a peer: a ping every interval, the link lost after timeout of silence.
struct Heartbeat {
    std::chrono::milliseconds interval{1000};
    std::chrono::milliseconds timeout{3000};
};

/// Where an end point listens: a Unix socket path, or else a TCP port on 127.0.0.1.
struct ListenConfig {
    std::string unixPath;  // a stale socket file there is replaced
    uint16_t tcpPort = 0;  // with no unixPath; 0 picks a free port (see port())
    Heartbeat heartbeat;
};

/// Where and as what an end point connects.
struct ConnectConfig {
    std::string unixPath;  // a listener's Unix socket, or else
    std::string tcpHost = "127.0.0.1";
    uint16_t tcpPort = 0;
    std::string linkName;    // this side's name for the link: hunts for "<linkName>/..."
    std::string nameAtPeer;  // the peer's name for the link, i.e. for this side
    Heartbeat heartbeat;
    std::chrono::milliseconds setupTimeout{5000};
};

/// One line for the log: a link up, lost (and why), a peer refused.
using LinkLog = std::function<void(const std::string& line)>;

class LinkEndpoint {
  public:
    /// log gets every event; none: they go to stderr.
    explicit LinkEndpoint(LinkLog log = {});
    ~LinkEndpoint();
    LinkEndpoint(const LinkEndpoint&) = delete;
    LinkEndpoint& operator=(const LinkEndpoint&) = delete;

    /// Starts listening; an empty string when it does, else why not.
    std::string listen(const ListenConfig& config);
    /// Sets a link up with a listener; an empty string once it is up, else why not.
    std::string connect(const ConnectConfig& config);
    /// The TCP port listened on (useful with port 0), or 0.
    uint16_t port() const;
    /// The names of this end point's links that are up.
    std::vector<std::string> links() const;
    /// Ends every link (their phantoms die, attachers are told) and stops listening.
    void close();

    class Impl;

  private:
    std::shared_ptr<Impl> m_impl;
};

}  // namespace hostlink

#endif  // HOSTLINK_LINK_ENDPOINT_H
