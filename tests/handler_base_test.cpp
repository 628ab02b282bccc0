#include "bll/bll.shared/db2/db_handler_base.h"
#include "tests/support.h"

#include <set>
#include <sqlite3.h>
#include <stdexcept>

using namespace std::string_literals;

namespace {

using user = std::pair<std::string, int>;

/// A handler without a table.
struct Handler : db::DBBase {
    using DBBase::CreateTable;
    using DBBase::DBBase;
};

class HandlerBase : public testing::Test {
protected:
    std::shared_ptr<sqlite::database> connection =
        std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    Handler base{{"me", 1}, connection};
};

TEST_F(HandlerBase, KnowsTheAccountAndTheConnection) {
    EXPECT_EQ(base.get_current_user(), user("me", 1));
    EXPECT_TRUE(base.check_current_user({"me", 1}));
    EXPECT_FALSE(base.check_current_user({"me", 2}));
    EXPECT_TRUE(base.check_same_user({"a", 1}, {"a", 1}) &&
                !base.check_same_user({"a", 1}, {"a", 2}));
    EXPECT_EQ(base.get_other({"me", 1}, {"you", 1}), user("you", 1));
    EXPECT_EQ(base.get_other({"x", 1}, {"y", 1}), user("y", 1));
    EXPECT_EQ(base.get_other("you", 1, "me", 1), user("you", 1));
    EXPECT_TRUE(base.is_group("group_7", 0));
    EXPECT_FALSE(base.is_group({"me", 1}));
    EXPECT_EQ(base.GetDB(), connection);
    base.CreateTable();
    EXPECT_EQ(shown(connection->execute("SELECT name FROM sqlite_master")), "") << "has no table";
}

TEST_F(HandlerBase, KeysAreOneToOne) {
    std::set<std::string> keys;
    const std::string ids[] = {"", "a", "a:1", "a:", ":1", "a\0"s, "1", "a:-1"};
    const int sources[] = {0, 1, -1, 11, 2147483647, -2147483647 - 1};
    for (const std::string& id : ids) {
        for (const int source : sources) {
            EXPECT_TRUE(keys.insert(base.make_local_user_id(id, source)).second) << id << source;
        }
    }
    EXPECT_EQ(base.make_local_user_id("a", -1), "a:-1") << "stored databases depend on the format";
}

TEST_F(HandlerBase, EscapedTextsDecodeToThemselves) {
    const std::string wildcard = base.convert_sql_keyword("%");
    for (const std::string& raw : {""s, "'"s, "O'Malley"s, "'' OR 1 --"s, "100%_\\'"s, "中'"s}) {
        auto stmt = connection->prepare_statement(
            "SELECT '"s + base.convert_quotation_mark(raw) + "', :raw LIKE '%" +
            base.convert_sql_keyword(raw) + "%' ESCAPE '\\', 'x' LIKE '" + wildcard +
            "' ESCAPE '\\'");
        stmt.bind(":raw", "<" + raw + ">");
        EXPECT_EQ(shown(connection->execute(stmt)), raw + "|1|0");
    }
    struct {
        std::string text, from, to, expected;
    } const cases[] = {{"aaa", "aa", "b", "ba"}, {"aXbX", "X", "XX", "aXXbXX"},
                       {"abc", "", "z", "abc"},  {"", "a", "b", ""},
                       {"abab", "ab", "", ""},   {"ab", "abc", "x", "ab"}};
    for (auto c : cases) {
        base.replace_all_in_string(c.text, c.from, c.to);
        EXPECT_EQ(c.text, c.expected);
    }
}

TEST_F(HandlerBase, Transactions) {
    connection->execute("CREATE TABLE t (i)");
    const auto add = [&] { connection->execute("INSERT INTO t VALUES (1)"); };
    const auto stored = [&] { return shown(connection->execute("SELECT count(*) FROM t")); };
    EXPECT_FALSE(base.is_in_transaction());
    EXPECT_NO_THROW(base.rollback_transaction());
    fails(SQLITE_MISUSE, "no open transaction", [&] { base.commit_transaction(); });

    base.begin_transaction();
    add();
    base.begin_transaction();
    add();
    base.rollback_transaction();
    EXPECT_TRUE(base.is_in_transaction());
    base.commit_transaction();
    EXPECT_FALSE(base.is_in_transaction());
    EXPECT_EQ(stored(), "1");

    base.as_transaction([&] {
        EXPECT_TRUE(base.is_in_transaction());
        add();
        EXPECT_THROW(base.as_transaction([&] { add(), throw std::logic_error("x"); }),
                     std::logic_error);
    });
    EXPECT_EQ(stored(), "2");
    fails(SQLITE_MISUSE, "the body must end",
          [&] { base.as_transaction([&] { add(), base.begin_transaction(); }); });
    base.begin_transaction();
    EXPECT_THROW(
        base.as_transaction([&] { base.rollback_transaction(), throw std::logic_error("x"); }),
        std::logic_error);
    EXPECT_TRUE(base.is_in_transaction()) << "the one around it is not the body's to end";
    base.commit_transaction();
    EXPECT_EQ(stored(), "2");
    {
        db::DBBase dying({"me", 1}, connection);
        dying.begin_transaction();
        add();
        dying.begin_transaction();
        add();
    }
    EXPECT_EQ(stored(), "2") << "what nobody committed is rolled back";
    base.begin_transaction();
    connection->execute("ROLLBACK");
    fails(SQLITE_ABORT_ROLLBACK, "already", [&] { base.commit_transaction(); });
    EXPECT_FALSE(base.is_in_transaction());
}

TEST_F(HandlerBase, StoresTheUserDataVersion) {
    base.db_set_user_data_version("-12");
    EXPECT_EQ(shown(connection->execute("PRAGMA user_version")), "-12");
    for (const char* bad : {"", "1;DROP TABLE t", "2147483648", "x"}) {
        fails(SQLITE_MISMATCH, "version", [&] { base.db_set_user_data_version(bad); });
    }
    db::DBBase lonely({"me", 1}, nullptr);
    fails(SQLITE_MISUSE, "no database", [&] { lonely.begin_transaction(); });
}

} // namespace
