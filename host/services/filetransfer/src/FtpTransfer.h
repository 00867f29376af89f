// FtpTransfer: one FTP session with libcurl, behind a plain C++ interface.
//
// Kept apart from the kernel's header (its send() and the socket send() cannot share
// a translation unit). A session is used by one thread only: the service's worker
// process of that session; each call blocks until the server has answered or a
// time-out has passed.
#ifndef HOST_FTP_TRANSFER_H
#define HOST_FTP_TRANSFER_H

#include <cstdint>
#include <memory>
#include <string>

namespace hostftp {

/// The fault codes of failed confirmations; each goes with a text that says more.
enum FtpFault : uint32_t {
    kFaultNone = 0,
    kFaultConnect = 1,        // no connection: refused, unreachable, not an FTP server
    kFaultLogin = 2,          // the server refused the user or the password
    kFaultNoLocalFile = 3,    // the local file does not exist or cannot be read
    kFaultServerRefused = 4,  // the server refused the folder or the file
    kFaultTimeout = 5,        // the server stopped answering
    kFaultTransfer = 6,       // the transfer broke off, or another failure of the session
    kFaultBadAddress = 7,     // the address or the remote path cannot be used
};

struct FtpOutcome {
    bool ok = false;
    uint32_t faultCode = kFaultNone;
    std::string info;  // what happened, for the additionalInfo of the answer
};

/// The limits of a session.
struct FtpSettings {
    uint16_t defaultPort = 21;           // for an address without a port
    uint32_t connectTimeoutMs = 10000;   // to set up the connection
    uint32_t responseTimeoutMs = 30000;  // the longest wait for one answer of the server
    bool loopbackOnly = false;           // refuse any host but a loopback one
};

/// Prepares libcurl for threads; call once before the first session (idempotent).
void ftpGlobalInit();

class FtpSession {
  public:
    explicit FtpSession(const FtpSettings& settings);
    ~FtpSession();  // ends the connection (QUIT) if one is open
    FtpSession(const FtpSession&) = delete;
    FtpSession& operator=(const FtpSession&) = delete;

    /// Connects and logs in. address: an IPv4 or IPv6 address or a host name, with an
    /// optional port ("10.0.0.1:2121", "[2001:db8::1]:2121", "2001:db8::1").
    FtpOutcome connect(const std::string& address, const std::string& username,
                       const std::string& password);
    /// Uploads the file at hostFile (shown as localName in texts) to remotePath: an
    /// absolute path from the server's root, or one relative to the login folder;
    /// missing folders are made.
    FtpOutcome put(const std::string& hostFile, const std::string& localName,
                   const std::string& remotePath);
    /// Ends the connection.
    FtpOutcome disconnect();

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace hostftp

#endif  // HOST_FTP_TRANSFER_H
