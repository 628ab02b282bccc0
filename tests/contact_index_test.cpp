#include "tests/support.h"

namespace {

using enum db::UserDataType;

class ContactIndex : protected scratch_directory, public WithStore {
protected:
    ContactIndex() : WithStore(std::make_shared<sqlite::database>(file("a.db"))) {
        users->CreateContactIndex();
    }

    /// How SQLite goes about the statement that some work runs, with this mask bound.
    template <typename Work>
    std::string plan(db::UserDataType mask, Work work) {
        std::string sql;
        const auto note = [](unsigned /*event*/, void* noted, void* stmt, void* /*text*/) {
            *static_cast<std::string*>(noted) = sqlite3_sql(static_cast<sqlite3_stmt*>(stmt));
            return 0;
        };
        sqlite3_trace_v2(connection->native_handle(), SQLITE_TRACE_STMT, note, &sql);
        work();
        sqlite3_trace_v2(connection->native_handle(), 0, nullptr, nullptr);
        auto stmt = connection->prepare_statement("EXPLAIN QUERY PLAN " + sql);
        stmt.bind<int>(":data_type", static_cast<int>(mask));
        return (*connection->execute(stmt).begin())[3].as<std::string>();
    }
};

TEST_F(ContactIndex, ServesWhatAsksForContactsAlone) {
    users->CreateContactIndex();
    for (const auto mask : {USERDATA_CONTACT, USERDATA_USER, USERDATA_USER | USERDATA_CONTACT}) {
        const auto uses_it = [&](auto work) {
            return plan(mask, work).find("users_contacts") != std::string::npos;
        };
        const bool expected = mask == USERDATA_CONTACT;
        EXPECT_EQ(uses_it([&] { users->GetUsersByDataType(mask); }), expected);
        EXPECT_EQ(uses_it([&] { users->GetUsersByDataTypeAndSource(mask, 1); }), expected);
        EXPECT_EQ(uses_it([&] { found("x"); }), expected) << "of a search with another mask";
    }
}

TEST_F(ContactIndex, FindsWhoeverIsAContactNow) {
    const std::string long_text = repeated("long ", 5000);
    db::UserRow row = contact("a", long_text + "Ann");
    row.remark = R"({"remark_name":")" + long_text + R"(Bob"})";
    row.group_info = R"([{"nick_name":")" + long_text + R"(Cid"}])";
    store(row);
    store(contact("b", "李小雨"));
    store(contact("c", "Ann"));
    sqlite::database elsewhere(file("a.db"));
    const struct {
        std::string change, found;
    } steps[] = {
        {"UPDATE users SET data_type = 4 WHERE user_id = 'c'", "a"},
        {"UPDATE users SET data_type = 6 WHERE user_id = 'c'", "ca"},
        {"REPLACE INTO users (local_user_id, user_id, user_name, data_type)"
         " VALUES ('d:0', 'd', 'Anna', 2)",
         "cda"},
        {"UPDATE users SET user_name = 'Bob' WHERE user_id = 'd'", "ca"},
        {"DELETE FROM users WHERE user_id = 'a'", "c"},
        {"DROP INDEX users_contacts", "c"},
        {"UPDATE users SET user_name = 'Ann', user_source = 1 WHERE user_id = 'b'", "bc"},
    };
    connection->set_statement_cache_capacity(16);
    for (const char* key_word : {"^.*Ann", "Bob", "(x|C)id", "long Bob"}) {
        EXPECT_EQ(found(key_word), *key_word == '^' ? "ca" : "a") << key_word;
    }
    EXPECT_EQ(found("小雨"), "b");
    EXPECT_EQ(found(""), "cab") << "in the order of their names";
    for (const auto& [change, expected] : steps) {
        elsewhere.execute(change);
        EXPECT_EQ(found("Ann"), expected) << change;
        EXPECT_EQ(users->GetUsersByDataType(USERDATA_PUBLIC_ACCOUNT).size(),
                  query("SELECT 1 FROM users WHERE data_type & 4").empty() ? 0U : 1U);
        EXPECT_EQ(users->GetUsersByDataType(USERDATA_CONTACT).size(),
                  query("SELECT 1 FROM users WHERE data_type & 2").size() / 2 + 1);
    }
}

/// A store in a file with WAL, where readers and a writer do not wait for each other.
class WalkByIds : public ContactIndex {
protected:
    WalkByIds() {
        query("PRAGMA journal_mode = WAL");
        for (const char* id : {"a", "b", "c"}) {
            store(contact(id, "name"));
        }
    }
    std::string walk(const std::function<bool(db::UserRow&)>& visit) {
        std::string visited;
        users->WalkUsersByUserIds(asked, [&](db::UserRow& row) {
            visited += row.user_id + row.user_name + " ";
            return visit(row);
        });
        return visited;
    }

    std::set<std::pair<std::string, int>> asked{{"c", 0}, {"a", 0}, {"x", 0}, {"b", 0}, {"a", 1}};
    sqlite::database elsewhere{file("a.db")};
};

TEST_F(WalkByIds, VisitsAnyNumberOfUsersAsTheyWereAtOnce) {
    sqlite3_limit(connection->native_handle(), SQLITE_LIMIT_VARIABLE_NUMBER, 22);
    for (int i = 0; i < 10'000; ++i) {
        asked.emplace("d", i);
    }
    EXPECT_EQ(walk([&](auto&) {
                  elsewhere.execute("UPDATE users SET user_name = 'new'");
                  return true;
              }),
              "aname bname cname ");
    EXPECT_EQ(walk([](db::UserRow& row) { return row.user_id != "b"; }), "anew bnew ");
    EXPECT_EQ(connection->as_transaction([&](auto&) { walk([](auto&) { return true; }); }), 0U);
}

TEST_F(WalkByIds, CommitsWhatTheVisitorWritesUnlessItThrows) {
    walk([&](db::UserRow& row) { return users->Update(row = contact(row.user_id, "seen")) == 1; });
    EXPECT_EQ(all_rows(elsewhere.execute("SELECT user_name FROM users")), "seen;seen;seen");
    const auto write_and_fail = [&](db::UserRow& row) -> bool {
        users->DelUserByUserIdAndSource(row.user_id, 0);
        throw std::out_of_range("enough");
    };
    EXPECT_THROW(walk(write_and_fail), std::out_of_range);
    fails(SQLITE_BUSY_SNAPSHOT, "DELETE", [&] {
        walk([&](db::UserRow&) {
            elsewhere.execute("UPDATE users SET user_name = 'new'");
            return users->DelUserByUserIdAndSource("c", 0) == 1;
        });
    });
    EXPECT_EQ(all_rows(elsewhere.execute("SELECT user_name FROM users")), "new;new;new");
    EXPECT_NE(sqlite3_get_autocommit(connection->native_handle()), 0);
}

} // namespace
