// LinkEndpoint: listening, connecting and the hello, on the end point's socket thread.
#include "LinkEndpoint.h"

#include "Connection.h"
#include "LinkCore.h"

#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <future>
#include <thread>

namespace hostlink {
namespace {

using Acceptor = asio::basic_socket_acceptor<asio::generic::stream_protocol>;
using Endpoint = asio::generic::stream_protocol::endpoint;
using std::chrono::milliseconds;

// How long a listener waits for a new peer's hello.
constexpr milliseconds kHelloTimeout{5000};

wire::Hello makeHello(milliseconds timeout, wire::HelloStatus status, std::size_t nameLength) {
    wire::Hello h{};
    std::memcpy(h.magic, wire::kMagic, sizeof h.magic);
    h.byteOrder = wire::kByteOrderMark;
    h.version = wire::kVersion;
    h.heartbeatTimeoutMs = static_cast<uint32_t>(timeout.count());
    h.status = static_cast<uint32_t>(status);
    h.nameLength = static_cast<uint32_t>(nameLength);
    return h;
}

// Why a hello cannot be taken, or an empty string.
std::string checkHello(const wire::Hello& h) {
    if (std::memcmp(h.magic, wire::kMagic, sizeof h.magic) != 0) {
        return "the peer is no link end point (it sent no hello)";
    }
    if (h.byteOrder == wire::kByteOrderSwapped) {
        return "the peer's byte order differs from this machine's: links between machines of "
               "different byte order are not supported";
    }
    if (h.byteOrder != wire::kByteOrderMark) {
        return "the peer sent a malformed hello";
    }
    if (h.version != wire::kVersion) {
        return "the peer speaks link protocol version " + std::to_string(h.version) +
               ", this side version " + std::to_string(wire::kVersion);
    }
    if (h.nameLength > wire::kMaxName) {
        return "the peer sent a malformed hello";
    }
    return "";
}

// This side pings often enough for the peer's time-out as well as for its own.
milliseconds pingInterval(const Heartbeat& mine, uint32_t peerTimeoutMs) {
    milliseconds interval = std::min(mine.interval, milliseconds(peerTimeoutMs / 3));
    return std::max(interval, milliseconds(1));
}

// A connection between accept (or connect) and a finished hello.
struct Setup {
    Setup(Socket s, asio::io_context& io) : socket(std::move(s)), timer(io) {}
    Socket socket;
    asio::steady_timer timer;
    wire::Hello hello{};
    std::string peerName;
    std::vector<uint8_t> out;
};

// Reads the peer's hello and its name; done gets the reason it cannot be taken, or "".
template <class Done>
void readHello(std::shared_ptr<Setup> s, Done done) {
    asio::async_read(s->socket, asio::buffer(&s->hello, sizeof s->hello),
                     [s, done](const asio::error_code& ec, std::size_t) {
                         if (ec) {
                             done(ec == asio::error::operation_aborted
                                      ? "no hello in time"
                                      : "the peer closed before its hello");
                             return;
                         }
                         std::string why = checkHello(s->hello);
                         if (!why.empty()) {
                             done(why);
                             return;
                         }
                         s->peerName.resize(s->hello.nameLength);
                         asio::async_read(s->socket, asio::buffer(s->peerName),
                                          [s, done](const asio::error_code& e, std::size_t) {
                                              done(e ? "the peer closed in its hello" : "");
                                          });
                     });
}

void put(std::vector<uint8_t>& out, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    out.insert(out.end(), bytes, bytes + size);
}

}  // namespace

class LinkEndpoint::Impl : public std::enable_shared_from_this<LinkEndpoint::Impl> {
  public:
    explicit Impl(LinkLog log) : m_log(std::move(log)), m_work(asio::make_work_guard(m_io)) {
        if (!m_log) {
            m_log = [](const std::string& line) {
                std::fprintf(stderr, "hostlink: %s\n", line.c_str());
            };
        }
        m_thread = std::thread([this] { m_io.run(); });
    }

    ~Impl() { close(); }

    /// Runs f on the socket thread and gives its result.
    template <class F>
    auto onSocketThread(F f) -> decltype(f()) {
        std::packaged_task<decltype(f())()> task(std::move(f));
        auto result = task.get_future();
        asio::post(m_io, [&task] { task(); });
        return result.get();
    }

    std::string listen(const ListenConfig& config) {
        if (!m_thread.joinable()) {
            return "the end point is closed";
        }
        return onSocketThread([&]() -> std::string {
            auto acceptor = std::make_unique<Acceptor>(m_io);
            asio::error_code ec;
            Endpoint where;
            if (!config.unixPath.empty()) {
                struct stat st {};
                if (::stat(config.unixPath.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) {
                    ::unlink(config.unixPath.c_str());  // a listener before us left it
                }
                where = Endpoint(asio::local::stream_protocol::endpoint(config.unixPath));
            } else {
                where = Endpoint(
                    asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), config.tcpPort));
            }
            acceptor->open(where.protocol(), ec);
            if (!ec && config.unixPath.empty()) {
                acceptor->set_option(asio::socket_base::reuse_address(true), ec);
            }
            if (!ec) {
                acceptor->bind(where, ec);
            }
            if (!ec) {
                acceptor->listen(asio::socket_base::max_listen_connections, ec);
            }
            if (ec) {
                return "cannot listen: " + ec.message();
            }
            if (config.unixPath.empty()) {
                const Endpoint bound = acceptor->local_endpoint(ec);
                sockaddr_in sin{};
                std::memcpy(&sin, bound.data(), std::min(sizeof sin, std::size_t(bound.size())));
                m_port = ntohs(sin.sin_port);
            } else {
                m_unixPaths.push_back(config.unixPath);
            }
            m_acceptors.push_back(std::move(acceptor));
            accept(*m_acceptors.back(), config.heartbeat);
            return "";
        });
    }

    std::string connect(const ConnectConfig& config) {
        if (!m_thread.joinable()) {
            return "the end point is closed";
        }
        if (config.linkName.empty() || config.linkName.find('/') != std::string::npos ||
            config.nameAtPeer.empty() || config.nameAtPeer.size() > wire::kMaxName) {
            return "a link needs a name without '/' on each side";
        }
        auto result = std::make_shared<std::promise<std::string>>();
        std::future<std::string> done = result->get_future();
        asio::post(m_io, [this, config, result] { startConnect(config, result); });
        return done.get();
    }

    std::vector<std::string> links() {
        if (!m_thread.joinable()) {
            return {};
        }
        return onSocketThread([this] {
            std::vector<std::string> names;
            for (const auto& entry : m_connections) {
                if (!entry.second.expired()) {
                    names.push_back(entry.first->name());
                }
            }
            return names;
        });
    }

    void close() {
        if (!m_thread.joinable()) {
            return;
        }
        onSocketThread([this] {
            m_closing = true;
            for (auto& a : m_acceptors) {
                asio::error_code ignored;
                a->close(ignored);
            }
            for (const std::string& path : m_unixPaths) {
                ::unlink(path.c_str());
            }
            for (auto& entry : m_connections) {
                if (auto c = entry.second.lock()) {
                    c->lose("closed by this side");
                }
            }
            m_connections.clear();
            for (auto& weak : m_setups) {
                if (auto s = weak.lock()) {
                    asio::error_code ignored;
                    s->socket.close(ignored);
                    s->timer.cancel();
                }
            }
            return 0;
        });
        m_work.reset();
        m_io.stop();
        m_thread.join();
    }

    uint16_t port() const { return m_port.load(); }

  private:
    void accept(Acceptor& acceptor, Heartbeat heartbeat) {
        acceptor.async_accept(
            [this, &acceptor, heartbeat](const asio::error_code& ec, Socket socket) {
                if (ec) {
                    if (ec != asio::error::operation_aborted && !m_closing) {
                        m_log(std::string("accept failed: ") + ec.message());
                        accept(acceptor, heartbeat);
                    }
                    return;
                }
                welcome(std::make_shared<Setup>(std::move(socket), m_io), heartbeat);
                accept(acceptor, heartbeat);
            });
    }

    std::shared_ptr<Setup> track(std::shared_ptr<Setup> s, milliseconds timeout) {
        m_setups.push_back(s);
        s->timer.expires_after(timeout);
        s->timer.async_wait([weak = std::weak_ptr<Setup>(s)](const asio::error_code& ec) {
            auto late = weak.lock();
            if (!ec && late) {
                asio::error_code ignored;
                late->socket.close(ignored);
            }
        });
        return s;
    }

    void untrack(const std::shared_ptr<Setup>& s) {
        s->timer.cancel();
        m_setups.erase(std::remove_if(m_setups.begin(), m_setups.end(),
                                      [&](const std::weak_ptr<Setup>& w) {
                                          auto p = w.lock();
                                          return p == nullptr || p == s;
                                      }),
                       m_setups.end());
    }

    // Listening side: the peer's hello first, then this side's answer.
    void welcome(std::shared_ptr<Setup> s, Heartbeat heartbeat) {
        track(s, kHelloTimeout);
        readHello(s, [this, s, heartbeat](const std::string& why) {
            if (!why.empty()) {
                untrack(s);
                m_log("refused a peer: " + why);
                return;  // the socket closes with the setup
            }
            wire::HelloStatus status = wire::HelloStatus::Accepted;
            LinkCore* core = nullptr;
            if (s->peerName.empty() || s->peerName.find('/') != std::string::npos ||
                s->peerName.find('\0') != std::string::npos) {
                status = wire::HelloStatus::Refused;
            } else if ((core = LinkCore::reserve(s->peerName)) == nullptr) {
                status = wire::HelloStatus::NameInUse;
            }
            const wire::Hello answer = makeHello(heartbeat.timeout, status, 0);
            put(s->out, &answer, sizeof answer);
            asio::async_write(
                s->socket, asio::buffer(s->out),
                [this, s, core, heartbeat, status](const asio::error_code& ec, std::size_t) {
                    untrack(s);
                    if (status != wire::HelloStatus::Accepted) {
                        m_log("refused a link named \"" + s->peerName + "\": " +
                              (status == wire::HelloStatus::NameInUse ? "a link of that name is up"
                                                                      : "not a name for a link"));
                        return;
                    }
                    if (ec || m_closing) {
                        core->lost();
                        return;
                    }
                    up(s, *core, heartbeat);
                });
        });
    }

    // Connecting side: this side's hello first, then the listener's answer.
    void startConnect(const ConnectConfig& config,
                      const std::shared_ptr<std::promise<std::string>>& result) {
        if (m_closing) {
            result->set_value("the end point is closed");
            return;
        }
        LinkCore* core = LinkCore::reserve(config.linkName);
        if (core == nullptr) {
            result->set_value("this process has a link named \"" + config.linkName + "\"");
            return;
        }
        Endpoint where;
        if (!config.unixPath.empty()) {
            where = Endpoint(asio::local::stream_protocol::endpoint(config.unixPath));
        } else {
            asio::error_code ec;
            const auto address = asio::ip::make_address(config.tcpHost, ec);
            if (ec) {
                core->lost();
                result->set_value("no address: " + config.tcpHost);
                return;
            }
            where = Endpoint(asio::ip::tcp::endpoint(address, config.tcpPort));
        }
        auto s = track(std::make_shared<Setup>(Socket(m_io), m_io), config.setupTimeout);
        const wire::Hello hello = makeHello(config.heartbeat.timeout, wire::HelloStatus::Accepted,
                                            config.nameAtPeer.size());
        put(s->out, &hello, sizeof hello);
        put(s->out, config.nameAtPeer.data(), config.nameAtPeer.size());
        auto fail = [this, s, core, result](const std::string& why) {
            untrack(s);
            core->lost();
            result->set_value(why);
        };
        s->socket.async_connect(
            where, [this, s, core, config, result, fail](const asio::error_code& ec) {
                if (ec) {
                    fail("cannot connect: " + ec.message());
                    return;
                }
                asio::async_write(
                    s->socket, asio::buffer(s->out),
                    [this, s, core, config, result, fail](const asio::error_code& e, std::size_t) {
                        if (e) {
                            fail("cannot write the hello: " + e.message());
                            return;
                        }
                        readHello(s, [this, s, core, config, result, fail](const std::string& why) {
                            if (!why.empty()) {
                                fail(why);
                                return;
                            }
                            if (s->hello.status != 0) {
                                fail(s->hello.status ==
                                             static_cast<uint32_t>(wire::HelloStatus::NameInUse)
                                         ? "the listener has a link named \"" + config.nameAtPeer +
                                               "\" already"
                                         : "the listener refused the name \"" + config.nameAtPeer +
                                               "\"");
                                return;
                            }
                            if (m_closing) {
                                fail("the end point is closed");
                                return;
                            }
                            untrack(s);
                            up(s, *core, config.heartbeat);
                            result->set_value("");
                        });
                    });
            });
    }

    void up(const std::shared_ptr<Setup>& s, LinkCore& core, Heartbeat heartbeat) {
        auto c = std::make_shared<Connection>(std::move(s->socket), core,
                                              pingInterval(heartbeat, s->hello.heartbeatTimeoutMs),
                                              heartbeat.timeout, m_log);
        // Forget lost links as new ones come.
        for (auto it = m_connections.begin(); it != m_connections.end();) {
            it = it->second.expired() ? m_connections.erase(it) : std::next(it);
        }
        m_connections.emplace_back(&core, c);
        m_log("link " + core.name() + " up");
        c->start();
    }

    asio::io_context m_io;  // first: the sockets below need it to the end
    LinkLog m_log;
    asio::executor_work_guard<asio::io_context::executor_type> m_work;
    std::thread m_thread;
    std::atomic<uint16_t> m_port{0};

    // Socket thread only.
    bool m_closing = false;
    std::vector<std::unique_ptr<Acceptor>> m_acceptors;
    std::vector<std::string> m_unixPaths;
    std::vector<std::pair<LinkCore*, std::weak_ptr<Connection>>> m_connections;
    std::vector<std::weak_ptr<Setup>> m_setups;
};

LinkEndpoint::LinkEndpoint(LinkLog log) : m_impl(std::make_shared<Impl>(std::move(log))) {}

LinkEndpoint::~LinkEndpoint() {
    m_impl->close();
}

std::string LinkEndpoint::listen(const ListenConfig& config) {
    return m_impl->listen(config);
}

std::string LinkEndpoint::connect(const ConnectConfig& config) {
    return m_impl->connect(config);
}

uint16_t LinkEndpoint::port() const {
    return m_impl->port();
}

std::vector<std::string> LinkEndpoint::links() const {
    return m_impl->links();
}

void LinkEndpoint::close() {
    m_impl->close();
}

}  // namespace hostlink
