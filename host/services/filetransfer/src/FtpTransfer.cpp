// The FTP session on libcurl: one easy handle per session, so that the put reuses the
// connection and login of the connect.
#include "FtpTransfer.h"

#include <curl/curl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sys/stat.h>

namespace hostftp {

namespace {

constexpr std::size_t kLongestInfo = 127;  // additionalInfo is 128 bytes with its NUL

std::string cut(std::string text) {
    if (text.size() > kLongestInfo) {
        text.resize(kLongestInfo);
    }
    return text;
}

FtpOutcome success(const std::string& info) {
    return FtpOutcome{true, kFaultNone, cut(info)};
}

FtpOutcome failure(uint32_t faultCode, const std::string& info) {
    return FtpOutcome{false, faultCode, cut(info)};
}

// Whether a host (as splitAddress gives it) names this machine's loopback interface:
// "localhost", a dotted IPv4 address in 127.0.0.0/8, or [::1]. Nothing is looked up.
bool isLoopbackHost(const std::string& host) {
    if (host == "localhost" || host == "[::1]") {
        return true;
    }
    if (host.compare(0, 4, "127.") != 0) {
        return false;
    }
    int dots = 0;
    for (char c : host) {
        if (c == '.') {
            ++dots;
        } else if (c < '0' || c > '9') {
            return false;
        }
    }
    return dots == 3;
}

// Host and port of an address text; false when it is empty or malformed.
bool splitAddress(const std::string& address, uint16_t defaultPort, std::string& host,
                  unsigned long& port) {
    port = defaultPort;
    std::string portText;
    if (!address.empty() && address[0] == '[') {
        const std::size_t close = address.find(']');
        if (close == std::string::npos) {
            return false;
        }
        host = address.substr(0, close + 1);
        if (close + 1 < address.size()) {
            if (address[close + 1] != ':') {
                return false;
            }
            portText = address.substr(close + 2);
        }
    } else if (address.find(':') != address.rfind(':')) {
        host = "[" + address + "]";  // an IPv6 address without a port
    } else {
        const std::size_t colon = address.find(':');
        host = address.substr(0, colon);
        if (colon != std::string::npos) {
            portText = address.substr(colon + 1);
        }
    }
    if (host.empty() || host == "[]") {
        return false;
    }
    if (address.find_first_of("/@?# ") != std::string::npos) {
        return false;
    }
    if (!portText.empty() || (address.back() == ':')) {
        char* end = nullptr;
        port = std::strtoul(portText.c_str(), &end, 10);
        if (portText.empty() || *end != '\0' || port == 0 || port > 65535) {
            return false;
        }
    }
    return true;
}

}  // namespace

void ftpGlobalInit() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct FtpSession::Impl {
    explicit Impl(const FtpSettings& newSettings) : settings(newSettings) {}
    ~Impl() { close(); }

    void close() {
        if (handle != nullptr) {
            curl_easy_cleanup(handle);  // sends QUIT on an open connection
            handle = nullptr;
        }
    }

    // A fresh handle with the session's common options.
    void open() {
        close();
        handle = curl_easy_init();
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText);
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS,
                         static_cast<long>(settings.connectTimeoutMs));
        curl_easy_setopt(handle, CURLOPT_FTP_RESPONSE_TIMEOUT,
                         static_cast<long>((settings.responseTimeoutMs + 999) / 1000));
        // A transfer that stands still for the response time is broken off.
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME,
                         static_cast<long>((settings.responseTimeoutMs + 999) / 1000));
        curl_easy_setopt(handle, CURLOPT_USERNAME, username.c_str());
        curl_easy_setopt(handle, CURLOPT_PASSWORD, password.c_str());
        curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "ftp");
    }

    // The text of a failed perform, by what went wrong.
    FtpOutcome explain(CURLcode code, const std::string& what) {
        const std::string detail = errorText[0] != '\0' ? errorText : curl_easy_strerror(code);
        const std::string at = host + ":" + std::to_string(port);
        switch (code) {
            case CURLE_COULDNT_CONNECT: {
                long osError = 0;
                curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &osError);
                if (osError == ECONNREFUSED) {
                    return failure(kFaultConnect, "Connection refused by " + at);
                }
                return failure(kFaultConnect, "Could not connect to " + at + " (" + detail + ")");
            }
            case CURLE_COULDNT_RESOLVE_HOST:
                return failure(kFaultBadAddress, "Unknown host " + host);
            case CURLE_URL_MALFORMAT:
                return failure(kFaultBadAddress, "Bad address or path (" + detail + ")");
            case CURLE_LOGIN_DENIED:
                return failure(kFaultLogin,
                               "Login failed for user " + username + " (" + detail + ")");
            case CURLE_OPERATION_TIMEDOUT:
                return failure(kFaultTimeout, "No answer from " + at + " in time (" + detail + ")");
            case CURLE_RECV_ERROR:
            case CURLE_SEND_ERROR:
            case CURLE_GOT_NOTHING:
                return failure(kFaultConnect, "Connection to " + at + " lost (" + detail + ")");
            case CURLE_WEIRD_SERVER_REPLY:
            case CURLE_FTP_WEIRD_PASV_REPLY:
            case CURLE_FTP_WEIRD_227_FORMAT:
                return failure(kFaultConnect, "Not an FTP server at " + at + " (" + detail + ")");
            case CURLE_REMOTE_ACCESS_DENIED:
            case CURLE_UPLOAD_FAILED:
            case CURLE_REMOTE_DISK_FULL:
            case CURLE_REMOTE_FILE_NOT_FOUND:
            case CURLE_QUOTE_ERROR:
                return failure(kFaultServerRefused, "Server refused " + what + " (" + detail + ")");
            case CURLE_READ_ERROR:
                return failure(kFaultNoLocalFile, "Could not read local file " + what);
            default:
                return failure(kFaultTransfer, "Transfer failed (" + detail + ")");
        }
    }

    // The URL of a path on the server: each segment escaped, an absolute path marked
    // so that curl goes from the server's root.
    std::string url(const std::string& remotePath) {
        std::string text = "ftp://" + host + ":" + std::to_string(port) + "/";
        std::size_t at = 0;
        if (!remotePath.empty() && remotePath[0] == '/') {
            text += "%2F";
            at = remotePath.find_first_not_of('/');
            if (at == std::string::npos) {
                return text;
            }
        }
        bool first = true;
        while (at <= remotePath.size()) {
            std::size_t slash = remotePath.find('/', at);
            if (slash == std::string::npos) {
                slash = remotePath.size();
            }
            const std::string segment = remotePath.substr(at, slash - at);
            char* escaped =
                curl_easy_escape(handle, segment.c_str(), static_cast<int>(segment.size()));
            if (!first) {
                text += "/";
            }
            text += escaped != nullptr ? escaped : "";
            curl_free(escaped);
            first = false;
            at = slash + 1;
        }
        return text;
    }

    FtpSettings settings;
    CURL* handle = nullptr;
    char errorText[CURL_ERROR_SIZE] = {};
    std::string host;
    unsigned long port = 21;
    std::string username;
    std::string password;
    bool connected = false;
};

FtpSession::FtpSession(const FtpSettings& settings) : m_impl(new Impl(settings)) {}

FtpSession::~FtpSession() = default;

FtpOutcome FtpSession::connect(const std::string& address, const std::string& username,
                               const std::string& password) {
    Impl& impl = *m_impl;
    impl.connected = false;
    impl.close();
    if (!splitAddress(address, impl.settings.defaultPort, impl.host, impl.port)) {
        return failure(kFaultBadAddress, "Bad address \"" + address + "\"");
    }
    if (impl.settings.loopbackOnly && !isLoopbackHost(impl.host)) {
        return failure(kFaultBadAddress, "Not a loopback address \"" + address + "\"");
    }
    impl.username = username;
    impl.password = password;
    impl.open();
    // Connect and log in, and nothing more: no listing, no transfer.
    const std::string target = impl.url("");
    curl_easy_setopt(impl.handle, CURLOPT_URL, target.c_str());
    curl_easy_setopt(impl.handle, CURLOPT_NOBODY, 1L);
    impl.errorText[0] = '\0';
    const CURLcode code = curl_easy_perform(impl.handle);
    if (code != CURLE_OK) {
        FtpOutcome outcome = impl.explain(code, "the login");
        impl.close();
        return outcome;
    }
    impl.connected = true;
    return success("Connected to " + impl.host + ":" + std::to_string(impl.port));
}

FtpOutcome FtpSession::put(const std::string& hostFile, const std::string& localName,
                           const std::string& remotePath) {
    Impl& impl = *m_impl;
    if (!impl.connected || impl.handle == nullptr) {
        return failure(kFaultTransfer, "Not connected");
    }
    if (remotePath.empty() || remotePath.back() == '/') {
        return failure(kFaultBadAddress, "No file name in remote path \"" + remotePath + "\"");
    }
    FILE* file = std::fopen(hostFile.c_str(), "rb");
    if (file == nullptr) {
        const int error = errno;
        if (error == ENOENT) {
            return failure(kFaultNoLocalFile, "No such local file " + localName);
        }
        return failure(kFaultNoLocalFile,
                       "Cannot open local file " + localName + ": " + std::strerror(error));
    }
    struct stat info;
    if (fstat(fileno(file), &info) != 0 || !S_ISREG(info.st_mode)) {
        std::fclose(file);
        return failure(kFaultNoLocalFile, "Not a regular file " + localName);
    }
    const std::string target = impl.url(remotePath);
    curl_easy_setopt(impl.handle, CURLOPT_URL, target.c_str());
    curl_easy_setopt(impl.handle, CURLOPT_NOBODY, 0L);
    curl_easy_setopt(impl.handle, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(impl.handle, CURLOPT_READDATA, file);
    curl_easy_setopt(impl.handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(info.st_size));
    curl_easy_setopt(impl.handle, CURLOPT_FTP_CREATE_MISSING_DIRS,
                     static_cast<long>(CURLFTP_CREATE_DIR_RETRY));
    impl.errorText[0] = '\0';
    const CURLcode code = curl_easy_perform(impl.handle);
    std::fclose(file);
    curl_easy_setopt(impl.handle, CURLOPT_UPLOAD, 0L);
    curl_easy_setopt(impl.handle, CURLOPT_READDATA, nullptr);
    if (code != CURLE_OK) {
        return impl.explain(code, code == CURLE_READ_ERROR ? localName : remotePath);
    }
    return success("Stored " + std::to_string(static_cast<long long>(info.st_size)) + " bytes as " +
                   remotePath);
}

FtpOutcome FtpSession::disconnect() {
    const bool wasConnected = m_impl->connected;
    m_impl->connected = false;
    m_impl->close();
    return wasConnected ? success("Disconnected") : failure(kFaultTransfer, "Not connected");
}

}  // namespace hostftp
