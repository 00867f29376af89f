#include "DatabaseConfig.h"

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

using namespace hostdb;

namespace {

// Sets or clears an environment variable for the life of a test.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const char* value) : m_name(name) {
        const char* old = std::getenv(name);
        m_had = old != nullptr;
        if (m_had)
            m_old = old;
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedVariable() {
        if (m_had)
            setenv(m_name, m_old.c_str(), 1);
        else
            unsetenv(m_name);
    }

  private:
    const char* m_name;
    bool m_had = false;
    std::string m_old;
};

}  // namespace

TEST(DatabaseConfig, the_connection_string_comes_from_config_then_environment_then_sqlite) {
    ScopedVariable noConnect(kConnectStringVariable, nullptr);
    DatabaseConfig config;
    config.stateDir = "/var/lib/node/";
    config.sqliteBusyTimeoutMs = 2500;
    EXPECT_EQ(resolveConnectString(config),
              "DRIVER=SQLite3;Database=/var/lib/node/rtrdb.sqlite;JournalMode=WAL;"
              "SyncPragma=NORMAL;Timeout=2500;");
    EXPECT_TRUE(usesDefaultSqlite(config));
    {
        ScopedVariable connect(kConnectStringVariable, "DRIVER=PostgreSQL Unicode;PORT=1;");
        EXPECT_EQ(resolveConnectString(config), "DRIVER=PostgreSQL Unicode;PORT=1;");
        EXPECT_FALSE(usesDefaultSqlite(config));
        config.connectString = "DSN=mine;";
        EXPECT_EQ(resolveConnectString(config), "DSN=mine;");
    }
}

TEST(DatabaseConfig, state_folder_is_absolute_and_made_when_sqlite_is_used) {
    ScopedVariable noConnect(kConnectStringVariable, nullptr);
    hostdbtest::TempFolder folder;
    DatabaseConfig config;
    config.stateDir = folder.path() + "/a/b/c";
    std::string reason;
    ASSERT_TRUE(prepareDatabaseConfig(config, reason)) << reason;
    struct stat info {};
    EXPECT_EQ(stat(config.stateDir.c_str(), &info), 0);

    {
        ScopedVariable stateDir(kStateDirVariable, "relative/state");
        DatabaseConfig fromEnvironment;
        const std::string resolved = resolveStateDir(fromEnvironment);
        EXPECT_EQ(resolved.front(), '/');
        EXPECT_EQ(resolved.substr(resolved.size() - 15), "/relative/state");
    }

    // A state folder that cannot be made is reported, not ignored.
    config.stateDir = "/proc/no/such/place";
    EXPECT_FALSE(prepareDatabaseConfig(config, reason));
    EXPECT_NE(reason.find("/proc/no/such/place"), std::string::npos);
}
