// The rows of a class that declares attributes: every row holds all of them, so the
// data table that the first fRO makes has a column for each, whatever that fRO gave.
#include "FroDatabase.h"
#include "FroDatabaseWriter.h"
#include "LoadModuleNode.h"
#include "TempFolder.h"
#include "froMgr.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using frodbtest::LoadModuleNode;
using frodbtest::Transaction;

namespace {

TEST(FroDatabaseDeclaredAttributes, every_row_holds_the_declared_attributes_at_their_defaults) {
    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    hostdb::DatabaseConfig config;
    config.stateDir = folder.path();
    LoadModuleNode node(config);
    node.runMain([&] {
        froMgr& store = froMgr::instance();
        store.addReadOnlyAttribute("Alpha", "level", "U32", "0");
        store.addReadOnlyAttribute("Alpha", "name", "STRING", "none");
        FroDatabase& db = *FroDatabase::instance();
        db.initialize("", {{1, "Alpha"}});
        db.open();
        // The first fRO gives one of the two, the second the other one, in another type
        // word than the class declares.
        Transaction created;
        ASSERT_TRUE(db.saveFRO(created.id(), 1, 1, "Top=1,Alpha=1", {{"level", "U32", "3"}}));
        ASSERT_TRUE(db.saveFRO(created.id(), 2, 1, "Top=1,Alpha=2", {{"name", "S32", "b"}}));
        EXPECT_TRUE(created.end(db, true));

        // A set of what the first fRO did not give, in a transaction and through
        // froMgr's writer, which writes only what the table holds.
        db.open();
        Transaction changed;
        ASSERT_TRUE(db.saveAttributes(changed.id(), 1, 1, {{"name", "STRING", "set"}}, false));
        EXPECT_TRUE(changed.end(db, true));
        installFroDatabaseWriter();
        EXPECT_TRUE(store.saveAttributes(2, 1, {{"level", "U32", "8"}}, true));
        froMgr::destroyInstance();
    });
    const hostdb::SqlRows rows = node.query(
        "select froid, level, name from frodata_Alpha_INITIAL "
        "order by froid");
    ASSERT_EQ(rows.size(), 2u);
    auto text = [](const hostdb::SqlRows::value_type& row) {
        std::vector<std::string> values;
        for (const auto& value : row)
            values.push_back(value.value_or("<null>"));
        return values;
    };
    EXPECT_EQ(text(rows[0]), (std::vector<std::string>{"1", "3", "set"}));
    EXPECT_EQ(text(rows[1]), (std::vector<std::string>{"2", "8", "b"}));
    EXPECT_EQ(node.query("select attrname from fro_attributes where frotype = 1 and "
                         "attrtype = 'STRING' and attrname = 'name'")
                  .size(),
              1u);
}

}  // namespace
