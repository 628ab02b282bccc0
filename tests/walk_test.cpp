#include "tests/support.h"

namespace {

class Walk : public WithStore {
protected:
    Walk() {
        for (const char* id : {"a", "b", "c", "d"}) {
            store(contact(id, "name"));
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
        users->DelUserByUserIdAndSource("c", 0);
        return true;
    });
    EXPECT_EQ(seen, "a4b3d3");
    EXPECT_EQ(query("SELECT sum(is_star) FROM users"), "3");
    users->WalkAll([&](auto&) {
        fails(SQLITE_BUSY, "USER_REGEX", [&] { db::DBUser({"me", 1}, connection); });
        return false;
    });
}

} // namespace
