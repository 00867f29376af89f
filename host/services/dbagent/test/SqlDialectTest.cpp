#include "SqlDialect.h"

#include <gtest/gtest.h>

using hostdb::mapPlatformSql;

TEST(SqlDialect, persistent_table_option_is_dropped_wherever_the_platform_writes_it) {
    EXPECT_EQ(mapPlatformSql("create table fro_versions (persistent, frotype integer, primary "
                             "key(frotype))"),
              "create table fro_versions (frotype integer, primary key(frotype))");
    EXPECT_EQ(mapPlatformSql("CREATE PERSISTENT TABLE t (a integer)"),
              "CREATE TABLE t (a integer)");
    EXPECT_EQ(mapPlatformSql("create table t (a integer, persistent)"),
              "create table t (a integer)");
    EXPECT_EQ(mapPlatformSql("create table t (\n  Persistent ,\n  a integer)"),
              "create table t (\n  a integer)");
    // A column of that name, or the word outside a create statement, stays.
    EXPECT_EQ(mapPlatformSql("create table t (persistent integer)"),
              "create table t (persistent integer)");
    EXPECT_EQ(mapPlatformSql("select persistent, x from t"), "select persistent, x from t");
    EXPECT_EQ(mapPlatformSql("create table t (persistent_flag integer)"),
              "create table t (persistent_flag integer)");
}

TEST(SqlDialect, varchar_zero_becomes_an_unbounded_text_and_other_sizes_stay) {
    EXPECT_EQ(mapPlatformSql("create table t (persistent, a varchar(0), b VARCHAR ( 0 ) not null)"),
              "create table t (a text, b text not null)");
    EXPECT_EQ(mapPlatformSql("create table t (a varchar(10), b varchar(0100))"),
              "create table t (a varchar(10), b varchar(0100))");
    EXPECT_EQ(mapPlatformSql("alter table t add column c varchar(0)"),
              "alter table t add column c text");
    EXPECT_EQ(mapPlatformSql("create table t (a myvarchar(0))"), "create table t (a myvarchar(0))");
}

TEST(SqlDialect, quoted_texts_names_and_comments_are_copied_untouched) {
    const std::string insert =
        "insert into t (a, b) values ('create table x (persistent, c varchar(0))', "
        "'<a b=\"varchar(0)\">it''s persistent, </a>')";
    EXPECT_EQ(mapPlatformSql(insert), insert);
    EXPECT_EQ(mapPlatformSql("create table \"varchar(0)\" (persistent, a varchar(0))"),
              "create table \"varchar(0)\" (a text)");
    EXPECT_EQ(mapPlatformSql("create table t ( -- varchar(0)\n a varchar(0) /* varchar(0) */)"),
              "create table t ( -- varchar(0)\n a text /* varchar(0) */)");
    // Unterminated quotes and comments run to the end instead of past it.
    EXPECT_EQ(mapPlatformSql("select 'varchar(0)"), "select 'varchar(0)");
    EXPECT_EQ(mapPlatformSql("select 1 /* varchar(0)"), "select 1 /* varchar(0)");
    EXPECT_EQ(mapPlatformSql(""), "");
    EXPECT_EQ(mapPlatformSql("create table t (a varchar("), "create table t (a varchar(");
}
