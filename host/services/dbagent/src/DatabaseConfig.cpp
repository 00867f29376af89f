#include "DatabaseConfig.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace hostdb {

namespace {

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::string(value) : std::string();
}

std::string workingFolder() {
    char buffer[4096];
    if (getcwd(buffer, sizeof buffer) == nullptr)
        return ".";
    return buffer;
}

// mkdir -p; true when the folder exists afterwards.
bool makeFolders(const std::string& path) {
    if (path.empty())
        return false;
    std::string partial;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t slash = path.find('/', start);
        const std::size_t end = slash == std::string::npos ? path.size() : slash;
        partial = path.substr(0, end);
        if (!partial.empty() && mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

std::string resolveStateDir(const DatabaseConfig& config) {
    std::string folder = config.stateDir;
    if (folder.empty())
        folder = environmentValue(kStateDirVariable);
    if (folder.empty())
        folder = workingFolder();
    // The SQLite driver is given an absolute path, whatever the working folder is later.
    if (folder[0] != '/')
        folder = workingFolder() + "/" + folder;
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

bool usesDefaultSqlite(const DatabaseConfig& config) {
    return config.connectString.empty() && environmentValue(kConnectStringVariable).empty();
}

std::string resolveConnectString(const DatabaseConfig& config) {
    if (!config.connectString.empty())
        return config.connectString;
    const std::string fromEnvironment = environmentValue(kConnectStringVariable);
    if (!fromEnvironment.empty())
        return fromEnvironment;
    return "DRIVER=SQLite3;Database=" + resolveStateDir(config) + "/" + kDatabaseFileName +
           ";JournalMode=WAL;SyncPragma=NORMAL;Timeout=" +
           std::to_string(config.sqliteBusyTimeoutMs) + ";";
}

bool prepareDatabaseConfig(const DatabaseConfig& config, std::string& reason) {
    if (!config.odbcSysIni.empty()) {
        const char* current = std::getenv("ODBCSYSINI");
        if (current == nullptr || config.odbcSysIni != current)
            setenv("ODBCSYSINI", config.odbcSysIni.c_str(), 1);
    }
    if (usesDefaultSqlite(config)) {
        const std::string folder = resolveStateDir(config);
        if (!makeFolders(folder)) {
            reason = "cannot make the state folder " + folder + ": " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

}  // namespace hostdb
