#include "tests/support.h"

#include <set>

namespace {

/// A connection that keeps two statements.
class StatementCache : public WithFile {
protected:
    StatementCache() {
        run("CREATE TABLE t (i INTEGER PRIMARY KEY)");
        db->set_statement_cache_capacity(2);
    }

    using texts = std::multiset<std::string>;
    /// Those of all compiled statements.
    texts compiled() {
        texts all;
        sqlite3_stmt* stmt = nullptr;
        while ((stmt = sqlite3_next_stmt(db->native_handle(), stmt)) != nullptr) {
            all.insert(sqlite3_sql(stmt));
        }
        return all;
    }
};

TEST_F(StatementCache, KeepsTheMostRecentlyUsed) {
    fails(SQLITE_ERROR, "SELEC", [&] { run("SELEC 1"); });
    EXPECT_EQ(compiled(), texts({}));
    run("SELECT 1");
    sqlite3_stmt* const first = sqlite3_next_stmt(db->native_handle(), nullptr);
    {
        const auto again = db->execute("SELECT 1");
        EXPECT_EQ(sqlite3_next_stmt(db->native_handle(), nullptr), first) << "compiled once";
        EXPECT_EQ(all_rows(again), "1");
    }
    run("SELECT 2");
    EXPECT_EQ(compiled(), texts({"SELECT 1", "SELECT 2"}));
    run("SELECT 1");
    run("SELECT 3");
    EXPECT_EQ(compiled(), texts({"SELECT 1", "SELECT 3"}));
    db->set_statement_cache_capacity(1);
    EXPECT_EQ(compiled(), texts({"SELECT 3"}));
    db->set_statement_cache_capacity(0);
    EXPECT_EQ(compiled(), texts({}));
}

TEST_F(StatementCache, KeepsEachTextOnceAndWhatMayComeAgain) {
    for (const char* behind : {"", " ", "\n", "; -- end\n"}) {
        EXPECT_EQ(run("SELECT 1;"s + behind), "1");
    }
    EXPECT_EQ(db->prepare_statement("SELECT 1;\n").sql(), "SELECT 1;");
    fails(SQLITE_MISUSE, "more than one", [&] { run("SELECT 1; SELECT 2"); });
    run("SELECT 4 -- ;");
    fails(SQLITE_MISUSE, "more than one", [&] { run("SELECT 4 -- ;/*\n; SELECT 3 */"); });
    db->set_statement_cache_capacity(1);
    run("SELECT 1;");
    run("EXPLAIN QUERY PLAN SELECT 1");
    EXPECT_EQ(all_rows(db->execute(db->prepare_uncached_statement("SELECT 3"))), "3");
    EXPECT_EQ(compiled(), texts({"SELECT 1;"}));
}

TEST_F(StatementCache, AStatementMayFreeAnother) {
    db->set_statement_cache_capacity(1);
    db->add_custom_function(
        {"hold", 1, [&](sqlite3_context* context, int, sqlite3_value** value) {
             const std::string text =
                 "SELECT " + std::string(reinterpret_cast<const char*>(sqlite3_value_text(*value)));
             auto* held = new sqlite::statement(db->prepare_statement(text));
             sqlite3_set_auxdata(context, 0, held,
                                 [](void* held) { delete static_cast<sqlite::statement*>(held); });
         }});
    for (const char* outer : {"'1'", "'hold(1)'"}) {
        db->execute("SELECT hold("s + outer + ") UNION ALL SELECT 1"); // abandoned half way
        EXPECT_EQ(compiled().size(), 1U);
    }
}

TEST_F(StatementCache, KeepsNoSearches) {
    db::DBUser users({}, db);
    db->set_statement_cache_capacity(1);
    users.GetAll();
    users.SearchUserRowsWithKeyWord("x");
    EXPECT_EQ(compiled(), texts({"SELECT * from users;"}));
}

TEST_F(StatementCache, WhatIsKeptHoldsNoValueAndNoLock) {
    db->execute("INSERT INTO t VALUES (1), (2)");
    {
        auto select = db->prepare_statement("SELECT :v FROM t");
        select.bind(":v", "value");
        EXPECT_EQ(db->execute(select).begin()->operator[](0).as<std::string>(), "value");
    }
    EXPECT_EQ(run("SELECT :v FROM t"), "NULL;NULL");
    auto statement = db->prepare_statement("SELECT i FROM t");
    EXPECT_EQ(db->execute(statement).begin()->operator[](0).as<int>(), 1); // half walked
    statement = db->prepare_statement("SELECT 1");
    EXPECT_NO_THROW(other.execute("DELETE FROM t"));
    EXPECT_EQ(run("SELECT i FROM t"), "");
}

TEST_F(StatementCache, CompilesAnewWhatHasChangedAndPragmas) {
    db->execute("INSERT INTO t VALUES (1)");
    EXPECT_EQ(run("SELECT * FROM t"), "1");
    run("ALTER TABLE t ADD COLUMN j DEFAULT 2");
    EXPECT_EQ(run("SELECT * FROM t"), "1|2");
    for (const char* size : {"100", "200", "100"}) {
        run("/* acts when compiled */ pragma cache_size = "s + size);
        EXPECT_EQ(run("PRAGMA cache_size"), size);
    }
}

} // namespace
