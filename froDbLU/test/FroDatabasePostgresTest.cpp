// FroDatabase on PostgreSQL, a throwaway server of the test program: commit and
// rollback as on SQLite, and a restore that loses its backend on the way.
#include "FroDatabase.h"
#include "LoadModuleNode.h"
#include "PgCluster.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using frodbtest::LoadModuleNode;
using frodbtest::Transaction;

namespace {

constexpr uint32_t kFros = 300;

class FroDatabaseOnPostgres : public ::testing::Test {
  protected:
    void SetUp() override {
        config.connectString = hostdbtest::freshTestDatabase("frodb_");
        if (config.connectString.empty())
            return;
        node = std::make_unique<LoadModuleNode>(config);
    }

    hostdbtest::KernelErrors kernelErrors;
    hostdb::DatabaseConfig config;
    std::unique_ptr<LoadModuleNode> node;
    TraceCapture trace;
};

TEST_F(FroDatabaseOnPostgres, a_restore_that_loses_its_backend_reconnects_and_reads_it_all) {
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", {{1, "Alpha"}});
        db.open();
        Transaction created;
        for (uint32_t id = 1; id <= kFros; ++id) {
            ASSERT_TRUE(db.saveFRO(created.id(), id, 1, "Top=1,Alpha=" + std::to_string(id),
                                   {{"name", "STRING", "it's " + std::to_string(id)},
                                    {"level", "S32", std::to_string(-static_cast<int>(id))}}));
        }
        ASSERT_TRUE(created.end(db, true));
        db.open();
        Transaction dropped;
        ASSERT_TRUE(db.saveFRO(dropped.id(), kFros + 1, 1, "Top=1,Alpha=x",
                               {{"name", "STRING", "x"}, {"level", "S32", "0"}}));
        ASSERT_TRUE(dropped.end(db, false));

        // A second connection ends every backend of the load module's database once the
        // restore is reading the data table: FroDatabase's among them.
        db.open();
        std::atomic<bool> killed{false};
        std::thread killer([&] {
            hostdb::OdbcSession admin(config.connectString);
            ASSERT_TRUE(admin.connect());
            hostdb::SqlRows rows;
            const std::string reading =
                "select pid from pg_stat_activity where datname = current_database() and pid <> "
                "pg_backend_pid() and query like '%frodata_Alpha_INITIAL where froid%'";
            for (int tries = 0; tries < 5000 && rows.empty(); ++tries) {
                ASSERT_TRUE(admin.query(reading, rows));
            }
            ASSERT_FALSE(rows.empty()) << "the restore never read the data table";
            ASSERT_TRUE(
                admin.query("select pg_terminate_backend(" + rows.at(0).at(0).value() + ")", rows));
            killed = true;
        });
        std::vector<FroInfo> restored;
        const bool read = db.retrieveFROs(restored);
        killer.join();
        EXPECT_TRUE(killed);
        ASSERT_TRUE(read);
        ASSERT_EQ(restored.size(), kFros);
        for (const FroInfo& info : restored) {
            EXPECT_EQ(info.ldn, "Top=1,Alpha=" + std::to_string(info.froId));
        }
        std::string ldn;
        Attributes attributes;
        ASSERT_TRUE(db.retrieveFRO(7, 1, ldn, attributes));
        ASSERT_EQ(attributes.size(), 2u);
        for (const Attribute& attribute : attributes) {
            EXPECT_EQ(attribute.value, attribute.name == "name" ? "it's 7" : "-7");
        }
        db.close();
    });
    EXPECT_TRUE(trace.contains("DB disconnected") || trace.contains("DB Disconnected"));
}

}  // namespace
