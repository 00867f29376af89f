// hostDisk.h: the node's disk volume "/d" on the host.
//
// The load module writes under the literal folder "/d" (for example
// "/d/ulsasample"). On the host that volume is the folder "d" inside the node's state
// folder, so that a node needs no root and two nodes never share files. Every program
// that links the library hostDisk has the C library's file calls that take a path
// (access, stat, mkdir, opendir, rmdir, remove, fopen) wrapped at link time: a path
// that is "/d" or begins with "/d/" is moved into the disk folder, every other path is
// left as it is. Until setDiskRoot() is called, a path under "/d" fails with ENOENT.
#ifndef HOST_DISK_H
#define HOST_DISK_H

#include <string>

namespace hostdisk {

/// Makes "<stateDir>/d" (and stateDir) if need be and maps "/d" there from now on, for
/// every thread of the program. A relative stateDir is taken from the current folder.
/// False, with the reason, when the folder cannot be made; the mapping is then unchanged.
bool setDiskRoot(const std::string& stateDir, std::string& problem);

/// Forgets the mapping: paths under "/d" fail again.
void clearDiskRoot();

/// The host folder that stands for "/d"; empty without a mapping.
std::string diskFolder();

/// Whether the path is "/d" or lies under "/d/".
bool onDisk(const char* path);

/// The host path of a node path: a path on the disk moved into the disk folder, any
/// other path unchanged. False for a path on the disk while there is no mapping.
bool hostPath(const std::string& nodePath, std::string& mapped);

}  // namespace hostdisk

#endif  // HOST_DISK_H
