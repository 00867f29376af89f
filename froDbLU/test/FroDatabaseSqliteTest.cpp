// FroDatabase on an SQLite file through the host's real services: tables, writes that
// reach the database only through the transaction server at commit, the tidying of
// emptied tables, long and awkward values, SQL errors, and a restart.
#include "FroDatabase.h"
#include "FroDatabaseWriter.h"
#include "LoadModuleNode.h"
#include "TempFolder.h"
#include "froMgr.h"

#include <gtest/gtest.h>

#include <algorithm>

using frodbtest::LoadModuleNode;
using frodbtest::Transaction;

namespace {

const std::vector<FroTypeEntry> kTypes = {{1, "Alpha"}, {2, "Beta"}};

Attributes alphaAttributes(const std::string& name, const std::string& level) {
    return {{"name", "STRING", name}, {"level", "U32", level}, {"shape", "struct", "<s/>"}};
}

std::string valueOf(const Attributes& attributes, const std::string& name) {
    for (const Attribute& attribute : attributes) {
        if (attribute.name == name)
            return attribute.value;
    }
    return "<absent>";
}

class FroDatabaseOnSqlite : public ::testing::Test {
  protected:
    FroDatabaseOnSqlite() { config.stateDir = folder.path(); }

    // The column values of one row, NULLs as "<null>".
    std::vector<std::string> row(const std::string& sql) {
        const hostdb::SqlRows rows = node->query(sql);
        std::vector<std::string> values;
        if (!rows.empty()) {
            for (const auto& value : rows.front())
                values.push_back(value.value_or("<null>"));
        }
        return values;
    }

    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    hostdb::DatabaseConfig config;
    std::unique_ptr<LoadModuleNode> node;
    TraceCapture trace;
};

TEST_F(FroDatabaseOnSqlite, versions_table_is_made_at_first_start_and_completed_at_the_next) {
    node = std::make_unique<LoadModuleNode>(config);
    node->runMain([&] {
        FroDatabase::instance()->initialize("", kTypes);
        EXPECT_FALSE(FroDatabase::instance()->isConnected());
    });
    EXPECT_EQ(node->query("select frotype, froTypeName, frodataTableName from fro_versions "
                          "order by frotype")
                  .size(),
              2u);
    EXPECT_EQ(row("select frodataTableName from fro_versions where frotype = 2"),
              std::vector<std::string>{"frodata_Beta_INITIAL"});
    EXPECT_FALSE(node->tableListed("frodata_alpha_initial"));
    EXPECT_FALSE(node->tableListed("fro_attributes"));
    const auto texts = trace.texts("FroDbLU");
    EXPECT_NE(std::find(texts.begin(), texts.end(), "scratch installation"), texts.end());

    // A second start inserts only the new type, and the prefix names other tables.
    trace.clear();
    node->runMain([&] {
        FroDatabase::instance()->initialize("", {{1, "Alpha"}, {2, "Beta"}, {7, "Gamma"}});
        FroDatabase::instance()->initialize("node", kTypes);
    });
    EXPECT_EQ(node->query("select frotype from fro_versions").size(), 3u);
    EXPECT_EQ(row("select frodataTableName from fro_versions where frotype = 7"),
              std::vector<std::string>{"frodata_Gamma_INITIAL"});
    EXPECT_FALSE(trace.contains("scratch installation"));
    // The instance initializes once: the second call only switched the names.
    EXPECT_FALSE(node->tableListed("node_fro_versions"));
}

TEST_F(FroDatabaseOnSqlite, rows_reach_the_database_at_commit_and_never_after_a_rollback) {
    node = std::make_unique<LoadModuleNode>(config);
    const std::string quoted = "it's 'quoted'";
    const std::string xml = "<struct><m name=\"a\">1</m><m name='b'>x&amp;y</m></struct>";
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", kTypes);
        db.open();
        Transaction created;
        ASSERT_TRUE(db.saveFRO(created.id(), 1, 1, "Top=1,Alpha=1", alphaAttributes(quoted, "5")));
        ASSERT_TRUE(db.saveFRO(
            created.id(), 2, 1, "Top=1,Alpha=2",
            {{"name", "STRING", "two"}, {"level", "U32", "4294967295"}, {"shape", "struct", xml}}));
        db.close();
        EXPECT_TRUE(db.isConnected()) << "a transaction that has written keeps the connection";
        // The tables are made at once, the rows wait for the commit.
        EXPECT_TRUE(node->tableListed("frodata_alpha_initial"));
        EXPECT_TRUE(node->query("select * from frodata_Alpha_INITIAL").empty());
        EXPECT_TRUE(node->query("select * from fro_attributes").empty());
        ASSERT_TRUE(created.end(db, true));
        EXPECT_FALSE(db.isConnected());

        db.open();
        std::string ldn;
        Attributes read;
        ASSERT_TRUE(db.retrieveFRO(1, 1, ldn, read));
        EXPECT_EQ(ldn, "Top=1,Alpha=1");
        ASSERT_EQ(read.size(), 3u);
        EXPECT_EQ(valueOf(read, "name"), quoted);
        EXPECT_EQ(valueOf(read, "level"), "5");
        EXPECT_EQ(valueOf(read, "shape"), "<s/>");
        ASSERT_TRUE(db.retrieveFRO(2, 1, ldn, read));
        EXPECT_EQ(valueOf(read, "shape"), xml);
        EXPECT_EQ(valueOf(read, "level"), "-1") << "a U32 above 0x7FFFFFFF reads back as %d";

        // A rolled-back create, and an update and a delete under one committed transaction.
        Transaction rolledBack;
        ASSERT_TRUE(db.saveFRO(rolledBack.id(), 3, 1, "Top=1,Alpha=3", alphaAttributes("x", "1")));
        ASSERT_TRUE(rolledBack.end(db, false));
        db.open();
        Transaction changed;
        ASSERT_TRUE(db.saveAttributes(changed.id(), 1, 1, {{"level", "U32", "9"}}, false));
        db.deleteFRO(changed.id(), 2, 1);
        EXPECT_EQ(node->query("select froid from frodata_Alpha_INITIAL").size(), 2u);
        ASSERT_TRUE(changed.end(db, true));

        db.open();
        std::vector<uint32_t> ids;
        ASSERT_TRUE(db.retrieveFroIds(1, ids));
        EXPECT_EQ(ids, std::vector<uint32_t>{1});
        ASSERT_TRUE(db.retrieveFroIds(2, ids));
        EXPECT_TRUE(ids.empty()) << "a type without a data table has no fROs";
        // Through froMgr's writer: outside a transaction the update is direct; only
        // persistent attributes are written when asked so.
        installFroDatabaseWriter();
        EXPECT_TRUE(froMgr::instance().saveAttributes(
            1, 1, {{"name", "STRING", "renamed"}, {"unknown", "STRING", "u"}}, true));
        EXPECT_TRUE(froMgr::instance().saveAttributes(1, 1, {{"unknown", "STRING", "u"}}, true));
        froMgr::destroyInstance();
        db.close();
    });
    EXPECT_EQ(row("select froid, ldn, name, level from frodata_Alpha_INITIAL"),
              (std::vector<std::string>{"1", "Top=1,Alpha=1", "renamed", "9"}));
    EXPECT_EQ(node->query("select attrname from fro_attributes where frotype = 1").size(), 3u);
    EXPECT_TRUE(trace.contains("FroDatabase::saveAttributes, 1 of 2 attributes are persistent"));
}

TEST_F(FroDatabaseOnSqlite, an_emptied_scratch_type_loses_its_table_and_can_change_columns) {
    node = std::make_unique<LoadModuleNode>(config);
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", kTypes);
        db.open();
        Transaction first;
        ASSERT_TRUE(db.saveFRO(first.id(), 1, 2, "Top=1,Beta=1", {{"a", "S32", "-3"}}));
        ASSERT_TRUE(first.end(db, false));
        EXPECT_FALSE(node->tableListed("frodata_beta_initial"));
        EXPECT_TRUE(node->query("select * from fro_attributes").empty());
        EXPECT_EQ(node->query("select * from fro_versions where frotype = 2").size(), 1u);

        // The type comes back with other columns.
        db.open();
        Transaction second;
        ASSERT_TRUE(db.saveFRO(second.id(), 1, 2, "Top=1,Beta=1", {{"b", "STRING", "B"}}));
        ASSERT_TRUE(second.end(db, true));
        // An indication of a transaction that never wrote is refused by the check.
        db.open();
        Transaction silent;
        ASSERT_TRUE(silent.end(db, true));
    });
    EXPECT_EQ(row("select froid, b from frodata_Beta_INITIAL"),
              (std::vector<std::string>{"1", "B"}));
    EXPECT_TRUE(trace.contains("cannot be deregistered"));
}

TEST_F(FroDatabaseOnSqlite, long_texts_travel_in_parts_and_sql_errors_fail_without_harm) {
    node = std::make_unique<LoadModuleNode>(config);
    std::string longValue;
    for (int i = 0; longValue.size() < 60000; ++i)
        longValue += "<v i='" + std::to_string(i) + "'/>";
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", kTypes);
        db.open();
        Transaction tx;
        ASSERT_TRUE(db.saveFRO(tx.id(), 5, 1, "Top=1,Alpha=5", alphaAttributes(longValue, "1")));
        ASSERT_TRUE(tx.end(db, true));
        db.open();
        std::string ldn;
        Attributes read;
        ASSERT_TRUE(db.retrieveFRO(5, 1, ldn, read));
        const auto name = std::find_if(read.begin(), read.end(),
                                       [](const Attribute& a) { return a.name == "name"; });
        ASSERT_NE(name, read.end());
        EXPECT_EQ(name->value.size(), longValue.size());
        EXPECT_EQ(name->value, longValue);

        // A column that does not exist: the direct update fails, the process goes on.
        trace.clear();
        EXPECT_FALSE(db.saveAttributes(0, 5, 1, {{"nosuch", "STRING", "x"}}, false));
        EXPECT_TRUE(
            trace.contains("SQLExecDirect Failed. The database does not exist at this moment"));
        // A type without a versions row, and an integer value that is no number.
        EXPECT_FALSE(db.saveFRO(1, 1, 99, "Top=1", {}));
        EXPECT_TRUE(trace.contains(
            "No froDataTable name found for froType: 99 (DB not properly initialized?)"));
        EXPECT_FALSE(db.retrieveFRO(5, 99, ldn, read));
        EXPECT_TRUE(read.empty());
        EXPECT_TRUE(
            db.saveAttributes(0, 5, 1, {{"level", "U32", "7; drop table fro_versions"}}, false));
        // An unknown signal is traced and left alone.
        union SIGNAL* stray = alloc(8, 0x1234);
        db.handleSignal(&stray);
        EXPECT_NE(stray, nullptr);
        free_buf(&stray);
        db.close();
    });
    EXPECT_TRUE(node->tableListed("fro_versions"));
    EXPECT_TRUE(trace.contains("unexpected message 0x00001234 received in froDatabase"));
}

TEST_F(FroDatabaseOnSqlite, restart_gets_back_exactly_the_committed_fros) {
    node = std::make_unique<LoadModuleNode>(config);
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", kTypes);
        db.open();
        Transaction kept;
        for (uint32_t id = 1; id <= 4; ++id) {
            ASSERT_TRUE(db.saveFRO(kept.id(), id, 1, "Top=1,Alpha=" + std::to_string(id),
                                   alphaAttributes("n" + std::to_string(id), std::to_string(id))));
        }
        ASSERT_TRUE(db.saveFRO(kept.id(), 1, 2, "Top=1,Beta=1", {{"b", "STRING", "b1"}}));
        ASSERT_TRUE(kept.end(db, true));
        db.open();
        Transaction dropped;
        ASSERT_TRUE(db.saveFRO(dropped.id(), 9, 1, "Top=1,Alpha=9", alphaAttributes("n9", "9")));
        db.deleteFRO(dropped.id(), 1, 1);
        ASSERT_TRUE(dropped.end(db, false));
        db.open();
        Transaction deleted;
        db.deleteFRO(deleted.id(), 3, 1);
        ASSERT_TRUE(deleted.end(db, true));
        // Left open when the process ends: never committed.
        db.open();
        Transaction open;
        ASSERT_TRUE(db.saveFRO(open.id(), 8, 1, "Top=1,Alpha=8", alphaAttributes("n8", "8")));
        froMgr::destroyInstance();
    });
    node->restartNameProcess();
    std::vector<FroInfo> restored;
    std::vector<Attributes> attributes;
    node->runMain([&] {
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", kTypes);
        db.open();
        ASSERT_TRUE(db.retrieveFROs(restored));
        // The restore's second read of each listed fRO gives what a fresh read gives.
        for (const FroInfo& info : restored) {
            std::string listedLdn;
            std::string ldn;
            Attributes listed;
            attributes.emplace_back();
            EXPECT_TRUE(db.retrieveListedFRO(info.froId, info.froType, listedLdn, listed));
            EXPECT_TRUE(db.retrieveFRO(info.froId, info.froType, ldn, attributes.back()));
            EXPECT_EQ(listedLdn, ldn);
            EXPECT_EQ(listed, attributes.back());
        }
        // A write after the listing is seen: what was listed is not handed out any more.
        std::vector<FroInfo> again;
        ASSERT_TRUE(db.retrieveFROs(again));
        ASSERT_TRUE(db.saveAttributes(0, 2, 1, {{"level", "U32", "42"}}, false));
        std::string ldn;
        Attributes changed;
        EXPECT_TRUE(db.retrieveListedFRO(2, 1, ldn, changed));
        EXPECT_EQ(ldn, "Top=1,Alpha=2");
        EXPECT_EQ(valueOf(changed, "level"), "42");
        db.close();
    });
    std::vector<std::string> found;
    for (const FroInfo& info : restored) {
        found.push_back(std::to_string(info.froType) + "/" + std::to_string(info.froId) + " " +
                        info.ldn);
    }
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<std::string>{"1/1 Top=1,Alpha=1", "1/2 Top=1,Alpha=2",
                                               "1/4 Top=1,Alpha=4", "2/1 Top=1,Beta=1"}));
    ASSERT_EQ(attributes.size(), 4u);
    for (std::size_t i = 0; i < restored.size(); ++i) {
        if (restored[i].froType == 1) {
            EXPECT_EQ(valueOf(attributes[i], "name"), "n" + std::to_string(restored[i].froId));
        }
    }
}

}  // namespace
