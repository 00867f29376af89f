#include "PeerProcess.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace linktest {

bool PeerProcess::start(const std::string& program, const std::vector<std::string>& args) {
    std::vector<std::string> all{program};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all) {
        argv.push_back(a.data());
    }
    argv.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        return false;
    }
    if (pid == 0) {
        // Only async-signal-safe calls between fork and exec: the test has threads.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(127);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    m_pid = pid;
    return true;
}

void PeerProcess::suspend() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGSTOP);
    }
}

void PeerProcess::kill() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
    }
}

std::string makeTempFolder() {
    char pattern[] = "/tmp/hostlink-XXXXXX";
    const char* made = ::mkdtemp(pattern);
    return made != nullptr ? made : "";
}

void removeFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

}  // namespace linktest
