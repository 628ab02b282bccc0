#include "tests/support.h"

#include <sstream>

namespace {

class Walk : public WithStore {
protected:
    Walk() {
        for (const char* id : {"a", "b", "c", "d"}) {
            db::UserRow row = contact(id, "name");
            row.user_source = id == "d"s ? 2 : 1;
            users->Insert(row);
        }
    }

    [[nodiscard]] bool has_statement() const {
        return sqlite3_next_stmt(connection->native_handle(), nullptr) != nullptr;
    }
};

TEST_F(Walk, EndsItsStatementWhenTheVisitorHasEnough) {
    std::string seen;
    users->WalkAll([&](db::UserRow& row) {
        seen += std::exchange(row.user_id, "moved from");
        return seen != "ab";
    });
    EXPECT_EQ(seen, "ab");
    EXPECT_FALSE(has_statement());
    const auto fail = [](auto&) -> bool { throw std::out_of_range("enough"); };
    EXPECT_THROW(users->WalkUserRowsWithKeyWord("name", fail), std::out_of_range);
    EXPECT_FALSE(has_statement());
}

TEST_F(Walk, TheVisitorUsesTheStore) {
    std::string seen;
    users->WalkUserRowsWithKeyWord("name", [&](db::UserRow& row) {
        seen += row.user_id + std::to_string(users->SearchUserRowsWithKeyWord("ame").size());
        db::DBUser::UpdateIsStartByIdAndSource(true, row.user_id, row.user_source, *users);
        users->DelUserByUserIdAndSource("c", 1);
        return true;
    });
    EXPECT_EQ(seen, "a4b3d3");
    EXPECT_EQ(query("SELECT sum(is_star) FROM users"), "3");
    users->WalkAll([&](auto&) {
        fails(SQLITE_BUSY, "USER_REGEX", [&] { db::DBUser({"me", 1}, connection); });
        return false;
    });
}

TEST_F(Walk, StoresOfOneConnectionTakeTurnsWithTheSearch) {
    // Each string is a story: stores 1 and 2 are made (+), search, and go (-).
    for (const std::string story : {"+1 1 +2 1 2 1 -1 2 -2", "+1 +2 -2 1 -1", "+1 +2 -1 2 +1 2 1",
                                    "+1 +2 2 2 1 1 -2 1 +2 1"}) {
        SCOPED_TRACE(story);
        std::optional<db::DBUser> stores[2];
        std::istringstream steps(story);
        for (std::string step; steps >> step;) {
            const bool is_first = step.back() == '1';
            std::optional<db::DBUser>& store = stores[is_first ? 0 : 1];
            if (step[0] == '+') {
                store.emplace(std::pair("me", 1), connection);
            } else if (step[0] == '-') {
                store.reset();
            } else {
                const auto found = store->SearchUserRowsWithKeyWord(is_first ? "n" : "[ab]m");
                EXPECT_EQ(found.size(), 4U) << step;
            }
        }
    }
    const db::DBUser second({"me", 1}, connection);
    const auto running = connection->execute("SELECT 1 UNION ALL SELECT 2");
    fails(SQLITE_BUSY, "USER_REGEX", [&] { users->SearchUserRowsWithKeyWord("n"); });
}

TEST_F(Walk, AnInterruptStopsOneSearch) {
    fails(SQLITE_INTERRUPT, "interrupted", [&] {
        users->WalkUserRowsWithKeyWord("n", [&](auto&) {
            sqlite3_interrupt(connection->native_handle());
            return true;
        });
    });
    EXPECT_EQ(found("n"), "abcd");
}

TEST_F(Walk, AnIndexFindsTheUserOfAnUpdate) {
    const auto plan = [&] {
        return query("EXPLAIN QUERY PLAN UPDATE users SET is_star = 1"
                     " WHERE user_id = 'a' AND user_source = 1");
    };
    EXPECT_TRUE(contains(plan(), "SCAN users")) << plan();
    users->CreateUserIdIndex();
    users->CreateUserIdIndex();
    EXPECT_TRUE(contains(plan(), "USING INDEX users_by_user_id_and_source")) << plan();
    EXPECT_EQ(query("PRAGMA integrity_check"), "ok");
}

TEST_F(Walk, EscapedTextsFindThemselves) {
    for (const std::string text : {"a.b*", "(c)", "[d]", "{2}", "^$", "e|f", "g\\h", "i+?", "'"}) {
        db::UserRow row = contact(text, "<" + text + ">");
        users->InsertOrReplace(row);
        EXPECT_EQ(found(db::escape_key_word(text)), text);
        users->DelUserByUserIdAndSource(text, 0);
    }
}

} // namespace
