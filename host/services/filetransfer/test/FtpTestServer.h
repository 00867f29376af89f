// FtpTestServer: a real FTP server (Debian's pyftpdlib) for one test, on a free
// loopback port, serving a folder of its own; stopped and removed when the object
// ends, and ended with the test program if that is killed.
//
// SilentListener: a loopback port that takes connections and never answers, as an
// FTP server that hangs; close() makes every waiting connection fail.
//
// Plain C++ without the kernel's header: the sockets' send() and the kernel's clash.
#ifndef HOST_FTP_TEST_SERVER_H
#define HOST_FTP_TEST_SERVER_H

#include <string>
#include <sys/types.h>

namespace ftptest {

class FtpTestServer {
  public:
    FtpTestServer() = default;
    ~FtpTestServer();
    FtpTestServer(const FtpTestServer&) = delete;
    FtpTestServer& operator=(const FtpTestServer&) = delete;

    /// Starts the server with one user that may write; false with the reason when it
    /// does not accept connections within 10 s.
    bool start(const std::string& user, const std::string& password, std::string& whyNot);
    /// Stops the server (the folder stays until the object ends).
    void stop();

    int port() const { return m_port; }
    /// "127.0.0.1:<port>", as an ipAddress of an upload.
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    /// The folder the server serves as "/".
    const std::string& root() const { return m_root; }

  private:
    pid_t m_server = -1;
    int m_port = 0;
    std::string m_root;
};

class SilentListener {
  public:
    SilentListener();
    ~SilentListener() { close(); }
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;

    int port() const { return m_port; }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    void close();

  private:
    int m_fd = -1;
    int m_port = 0;
};

/// A loopback port that nothing listens on at the moment of the call.
int freeLoopbackPort();

/// The whole content of a file; empty when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace ftptest

#endif  // HOST_FTP_TEST_SERVER_H
