// The mapping of "/d" into the node's state folder, and the link-time wrappers of the
// C library's path calls that apply it.
//
// The program is linked with --wrap=<call> for each call below: every reference to
// fopen in the program's own objects goes to __wrap_fopen, which maps the path and
// calls the C library's fopen as __real_fopen. Shared libraries keep their own calls.
#include "hostDisk.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
int __real_access(const char* path, int mode);
int __real_stat(const char* path, struct stat* buf);
int __real_stat64(const char* path, struct stat64* buf);
int __real_mkdir(const char* path, mode_t mode);
DIR* __real_opendir(const char* path);
int __real_rmdir(const char* path);
int __real_remove(const char* path);
FILE* __real_fopen(const char* path, const char* mode);
FILE* __real_fopen64(const char* path, const char* mode);
}

namespace hostdisk {

namespace {

// The folder for "/d", written at boot and read by every thread that touches a file.
std::mutex rootLock;
std::string rootFolder;  // guarded by rootLock; empty: no mapping

constexpr char kVolume[] = "/d";
constexpr std::size_t kVolumeLength = sizeof kVolume - 1;

bool makeFolder(const std::string& path, std::string& problem) {
    if (__real_mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) {
        struct stat info;
        if (__real_stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            return true;
        }
        problem = path + " exists and is no folder";
        return false;
    }
    problem = "cannot make " + path + ": " + std::strerror(errno);
    return false;
}

}  // namespace

bool setDiskRoot(const std::string& stateDir, std::string& problem) {
    std::string base = stateDir.empty() ? "." : stateDir;
    if (base[0] != '/') {
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd) == nullptr) {
            problem = std::string("getcwd: ") + std::strerror(errno);
            return false;
        }
        base = std::string(cwd) + "/" + base;
    }
    while (base.size() > 1 && base.back() == '/') {
        base.pop_back();
    }
    if (!makeFolder(base, problem) || !makeFolder(base + "/d", problem)) {
        return false;
    }
    std::lock_guard<std::mutex> guard(rootLock);
    rootFolder = base + "/d";
    return true;
}

void clearDiskRoot() {
    std::lock_guard<std::mutex> guard(rootLock);
    rootFolder.clear();
}

std::string diskFolder() {
    std::lock_guard<std::mutex> guard(rootLock);
    return rootFolder;
}

bool onDisk(const char* path) {
    return path != nullptr && std::strncmp(path, kVolume, kVolumeLength) == 0 &&
           (path[kVolumeLength] == '\0' || path[kVolumeLength] == '/');
}

bool hostPath(const std::string& nodePath, std::string& mapped) {
    if (!onDisk(nodePath.c_str())) {
        mapped = nodePath;
        return true;
    }
    std::lock_guard<std::mutex> guard(rootLock);
    if (rootFolder.empty()) {
        return false;
    }
    mapped = rootFolder + nodePath.substr(kVolumeLength);
    return true;
}

}  // namespace hostdisk

namespace hostdisk {
namespace {

// Writes the host path of a path on the disk into out (PATH_MAX bytes), under the lock
// but without an allocation: the sampling file is opened for every block it gets.
// 0, or the error of a path that cannot be mapped.
int mapInto(const char* path, char* out) {
    const std::size_t rest = std::strlen(path) - kVolumeLength;
    std::lock_guard<std::mutex> guard(rootLock);
    if (rootFolder.empty()) {
        return ENOENT;
    }
    if (rootFolder.size() + rest >= PATH_MAX) {
        return ENAMETOOLONG;
    }
    std::memcpy(out, rootFolder.data(), rootFolder.size());
    std::memcpy(out + rootFolder.size(), path + kVolumeLength, rest + 1);
    return 0;
}

}  // namespace
}  // namespace hostdisk

namespace {

// Runs call on the host path of path; a path on the disk without a mapping fails with
// ENOENT, one too long for the host with ENAMETOOLONG, and the value given for failure.
template <class Result, class Call>
Result onHostPath(const char* path, Result failed, Call call) {
    if (!hostdisk::onDisk(path)) {
        return call(path);
    }
    char mapped[PATH_MAX];
    if (const int error = hostdisk::mapInto(path, mapped)) {
        errno = error;
        return failed;
    }
    return call(mapped);
}

}  // namespace

extern "C" {

int __wrap_access(const char* path, int mode) {
    return onHostPath(path, -1, [&](const char* p) { return __real_access(p, mode); });
}

int __wrap_stat(const char* path, struct stat* buf) {
    return onHostPath(path, -1, [&](const char* p) { return __real_stat(p, buf); });
}

int __wrap_stat64(const char* path, struct stat64* buf) {
    return onHostPath(path, -1, [&](const char* p) { return __real_stat64(p, buf); });
}

int __wrap_mkdir(const char* path, mode_t mode) {
    return onHostPath(path, -1, [&](const char* p) { return __real_mkdir(p, mode); });
}

DIR* __wrap_opendir(const char* path) {
    return onHostPath(path, static_cast<DIR*>(nullptr),
                      [&](const char* p) { return __real_opendir(p); });
}

int __wrap_rmdir(const char* path) {
    return onHostPath(path, -1, [&](const char* p) { return __real_rmdir(p); });
}

int __wrap_remove(const char* path) {
    return onHostPath(path, -1, [&](const char* p) { return __real_remove(p); });
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    return onHostPath(path, static_cast<FILE*>(nullptr),
                      [&](const char* p) { return __real_fopen(p, mode); });
}

FILE* __wrap_fopen64(const char* path, const char* mode) {
    return onHostPath(path, static_cast<FILE*>(nullptr),
                      [&](const char* p) { return __real_fopen64(p, mode); });
}

}  // extern "C"
