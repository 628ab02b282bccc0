#include "tests/support.h"

#include <array>

namespace {

using user = std::pair<std::string, int>;

class HandlerBase : public WithStore {
protected:
    db::DBBase base{{"me", 1}, connection};
};

TEST_F(HandlerBase, KnowsTheAccountAndTheConnection) {
    EXPECT_EQ(base.get_current_user(), user("me", 1));
    EXPECT_TRUE(base.check_current_user({"me", 1}) && !base.check_current_user({"me", 2}));
    EXPECT_TRUE(base.check_same_user({"a", 1}, {"a", 1}) &&
                !base.check_same_user({"a", 1}, {"a", 2}));
    EXPECT_EQ(base.get_other({"me", 1}, {"you", 1}), user("you", 1));
    EXPECT_EQ(base.get_other({"x", 1}, {"y", 1}), user("y", 1));
    EXPECT_EQ(base.get_other("you", 1, "me", 1), user("you", 1));
    EXPECT_TRUE(base.is_group("group_7", 0) && !base.is_group({"me", 1}));
    EXPECT_EQ(base.make_local_user_id("a\0:1"s, -1), "a\0:1:-1"s) << "one key for one user";
}

TEST_F(HandlerBase, EscapedTextsDecodeToThemselves) {
    for (const auto& raw : {""s, "'' OR 1 --"s, "100%_\\'"s, "中'"s}) {
        auto stmt = connection->prepare_statement(
            "SELECT '"s + base.convert_quotation_mark(raw) + "', :raw LIKE '%" +
            base.convert_sql_keyword(raw) + "%' ESCAPE '\\', 'x' LIKE '" +
            base.convert_sql_keyword("%") + "' ESCAPE '\\'");
        stmt.bind(":raw", "<" + raw + ">");
        EXPECT_EQ(all_rows(connection->execute(stmt)), raw + "|1|0");
    }
}

TEST_F(HandlerBase, ReplacesWhatWasThereAndNotWhatItPutThere) {
    const std::array<std::string, 4> cases[] = {
        {"aaa", "aa", "b", "ba"}, {"aXbX", "X", "XX", "aXXbXX"}, {"abc", "", "z", "abc"}};
    for (auto [text, from, to, expected] : cases) {
        base.replace_all_in_string(text, from, to);
        EXPECT_EQ(text, expected);
    }
}

TEST_F(HandlerBase, StoresTheUserDataVersion) {
    base.db_set_user_data_version("-12");
    EXPECT_EQ(query("PRAGMA user_version"), "-12");
    for (const char* bad : {"", "1;DROP TABLE t", "2147483648", "x"}) {
        fails(SQLITE_MISMATCH, "version", [&] { base.db_set_user_data_version(bad); });
    }
    db::DBBase lonely({"me", 1}, nullptr);
    fails(SQLITE_MISUSE, "no database", [&] { lonely.begin_transaction(); });
    fails(SQLITE_MISUSE, "no database",
          [&] { db::DBUser::UpdateIsStartByIdAndSource(true, "u", 0, lonely); });
}

} // namespace
