#include "FtpTestServer.h"

#include "LoopbackPort.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <cstdio>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ftptest {

int freeLoopbackPort() {
    return testsupport::freeLoopbackPort();
}

std::string readFile(const std::string& path) {
    std::string content;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return content;
    }
    char block[4096];
    std::size_t got = 0;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
        content.append(block, got);
    }
    std::fclose(file);
    return content;
}

FtpTestServer::~FtpTestServer() {
    stop();
    if (!m_root.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
        std::filesystem::remove(m_root + ".log", ignored);
    }
}

bool FtpTestServer::start(const std::string& user, const std::string& password,
                          std::string& whyNot) {
    char pattern[] = "/tmp/ulsa-ftp-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        whyNot = std::string("mkdtemp: ") + std::strerror(errno);
        return false;
    }
    m_root = pattern;
    m_port = testsupport::freeLoopbackPort();
    const std::string log = m_root + ".log";
    std::vector<std::string> argv = {"/usr/bin/python3",
                                     "-m",
                                     "pyftpdlib",
                                     "-i",
                                     "127.0.0.1",
                                     "-p",
                                     std::to_string(m_port),
                                     "-w",
                                     "-d",
                                     m_root,
                                     "-u",
                                     user,
                                     "-P",
                                     password};
    std::vector<char*> args;
    for (std::string& arg : argv) {
        args.push_back(arg.data());
    }
    args.push_back(nullptr);
    const pid_t parent = getpid();
    m_server = fork();
    if (m_server == 0) {
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out >= 0) {
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
            ::close(out);
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(125);
        }
        execv(args[0], args.data());
        _exit(127);
    }
    if (m_server < 0) {
        whyNot = std::string("fork: ") + std::strerror(errno);
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!testsupport::acceptsOnLoopback(m_port)) {
        int status = 0;
        if (waitpid(m_server, &status, WNOHANG) == m_server) {
            m_server = -1;
            whyNot = "the FTP server ended at its start, see " + log;
            return false;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            stop();
            whyNot = "the FTP server did not accept connections within 10 s, see " + log;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

void FtpTestServer::stop() {
    if (m_server > 0) {
        kill(m_server, SIGKILL);
        int status = 0;
        while (waitpid(m_server, &status, 0) < 0 && errno == EINTR) {
        }
        m_server = -1;
    }
}

SilentListener::SilentListener() {
    m_fd = socket(AF_INET, SOCK_STREAM, 0);
    if (m_fd < 0) {
        return;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_fd, 8) != 0 ||
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close();
        return;
    }
    m_port = ntohs(address.sin_port);
}

void SilentListener::close() {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

}  // namespace ftptest
