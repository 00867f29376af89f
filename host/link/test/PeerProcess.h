// PeerProcess: a program the test starts (fork and exec) and that is gone when the
// object is, even when the test fails; it also dies with the test program.
#ifndef HOSTLINK_PEER_PROCESS_H
#define HOSTLINK_PEER_PROCESS_H

#include <string>
#include <vector>

namespace linktest {

class PeerProcess {
  public:
    PeerProcess() = default;
    ~PeerProcess() { kill(); }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    /// Starts program with args; false if it cannot be started.
    bool start(const std::string& program, const std::vector<std::string>& args);
    /// Stops it in its tracks (SIGSTOP): its sockets stay open, it answers nothing.
    void suspend();
    /// Kills it (SIGKILL) and waits for it.
    void kill();

  private:
    int m_pid = -1;
};

/// A fresh folder under /tmp, for socket paths.
std::string makeTempFolder();
/// Removes the folder and what is in it.
void removeFolder(const std::string& path);

}  // namespace linktest

#endif  // HOSTLINK_PEER_PROCESS_H
