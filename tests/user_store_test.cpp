#include "tests/support.h"

#include <array>
#include <forward_list>

using db::DBUser;
using db::UserRow;

namespace {

/// A record whose 22 fields all differ, in the order of their declaration, as it is once stored.
// clang-format off
UserRow full_record() {
    return {"id:8", "id", "device", "avatar", "name", "spell", "remark", 3, 4, 5, 6,
            1099511627783, 8, 9, "extra", "group", "msg", 10, 4294967295U, 12, "user ext",
            "contact ext"};
}
// clang-format on

/// The same record as a person would write it in SQL, `custom` before it.
const std::string columns =
    "custom, contact_extension, user_extension, data_type, is_blacked, in_black_list, msg_set,"
    " group_info, extra, gender, user_source, user_version, user_type, is_attention, is_star,"
    " is_anonymous, remark, name_spell, user_name, avatar, device_id, user_id, local_user_id";
const std::string full_record_sql =
    "INSERT INTO users (" + columns +
    ") VALUES ('own', 'contact ext', 'user ext', 12, 4294967295, 10, 'msg', 'group', 'extra', 9, 8,"
    " 1099511627783, 6, 5, 4, 3, 'remark', 'spell', 'name', 'avatar', 'device', 'id', 'id:8')";

/// What is selected of it without `custom`.
const std::string full_record_seen =
    "|contact ext|user ext|12|4294967295|10|msg|group|extra|9|8|1099511627783|6|5|4|3|remark|spell"
    "|name|avatar|device|id|id:8";

class UserStore : public WithStore {
protected:
    std::string see() { return query("SELECT " + columns + " FROM users"); }
};

TEST_F(UserStore, CreatesTheTableOnce) {
    const auto schema = [&] {
        return query("SELECT name, length(sql), length(replace(sql, char(9), ''))"
                     " FROM sqlite_master WHERE sql IS NOT NULL");
    };
    const std::string as_created = "users|2038|1872"; // without "IF NOT EXISTS ", and without tabs
    EXPECT_EQ(schema(), as_created);
    EXPECT_EQ(query("SELECT type, \"notnull\", dflt_value, pk, group_concat(cid || name, ' ')"
                    " FROM pragma_table_info('users') GROUP BY 4, 1, 2, 3"),
              "INTEGER|1|0|0|11is_anonymous 12is_star 13is_attention 14user_type 15user_version"
              " 16user_source 17gender 18data_type 21in_black_list 22is_blacked"
              ";TEXT|0|NULL|0|2device_id 3avatar 4user_name 5name_spell 6remark 7extra 8custom"
              " 9user_extension 10contact_extension"
              ";TEXT|0|'0'|0|19group_info 20msg_set;TEXT|1|NULL|0|1user_id"
              ";TEXT|0|NULL|1|0local_user_id");
    store(contact("a"));
    const DBUser second({"you", 1}, connection);
    users->CreateTable();
    EXPECT_EQ(schema(), as_created);
    EXPECT_EQ(users->GetAll().size(), 1U);
    fails(SQLITE_MISUSE, "no database", [] { DBUser({"me", 1}, nullptr); });
}

TEST_F(UserStore, RecordsMeetTheirColumns) {
    UserRow expected = full_record();
    UserRow written = expected;
    written.local_user_id = "stale";
    EXPECT_EQ(users->Insert(written), 1U);
    EXPECT_EQ(written, expected);
    fails(SQLITE_CONSTRAINT_PRIMARYKEY, "users.local_user_id", [&] { users->Insert(written); });
    EXPECT_EQ(see(), "NULL" + full_record_seen);

    query("DELETE FROM users");
    query(full_record_sql);
    UserRow read;
    EXPECT_EQ(users->GetUserByUserIdAndSource("id", 8, read), 1U);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(users->GetAll().at(0), expected);
    EXPECT_EQ(users->Update(expected), 1U);
    EXPECT_EQ(see(), "own" + full_record_seen);
    EXPECT_EQ(users->InsertOrReplace(expected), 1U);
    EXPECT_EQ(see(), "NULL" + full_record_seen) << "a replaced row loses what is its own";
    query("UPDATE users SET local_user_id = 'key'");
    EXPECT_EQ(users->Update(expected), 1U) << "selects by id and source";
}

TEST_F(UserStore, NullColumnsGiveEmptyTextsAndOthersHaveDefaults) {
    store({.user_id = "a"});
    EXPECT_EQ(see(), "NULL|||0|0|0|0|0||0|0|0|0|0|0|0||||||a|a:0");
    query("UPDATE users SET local_user_id = NULL, group_info = NULL, msg_set = NULL");
    EXPECT_EQ(users->GetAll().at(0), (UserRow{.user_id = "a", .group_info = "", .msg_set = ""}));
    query("UPDATE users SET data_type = 2");
    EXPECT_EQ(found("x"), "");
}

TEST_F(UserStore, ComparesEveryField) {
    db::for_each_user_column([&](const auto& column) {
        UserRow one = full_record();
        UserRow other = one;
        EXPECT_TRUE(one == other && !(one != other));
        auto& value = other.*column.field;
        value += *"x"; // a letter more, or a larger number
        EXPECT_TRUE(one != other && !(one == other)) << column.name;
    });
    const std::vector<UserRow> rows{{.user_id = "a"}, {.user_id = "b"}};
    EXPECT_TRUE(rows[0] != rows[1] && rows[1] == UserRow{.user_id = "b"}) << "also constant ones";
}

TEST_F(UserStore, ListsKindsInTheOrderOfSQLite) {
    for (const auto& [id, kinds] : {std::pair("d", 6U), {"c", 1U}, {"b", 2U}, {"a", 0U}}) {
        db::UserRow row = contact(id);
        row.data_type = kinds;
        store(row);
    }
    using enum db::UserDataType;
    EXPECT_EQ(ids_of(users->GetUsersByDataType(USERDATA_USER)), "c");
    EXPECT_EQ(ids_of(users->GetUsersByDataType(USERDATA_PUBLIC_ACCOUNT)), "d");
    EXPECT_EQ(ids_of(users->GetUsersByDataType(USERDATA_USER | USERDATA_CONTACT)), "dcb");
    EXPECT_EQ(ids_of(users->GetUsersByDataTypeAndSource(USERDATA_CONTACT, 0)), "db");
    EXPECT_EQ(ids_of(users->GetAll()), "dcba");
    EXPECT_EQ(ids_of(users->GetUserRowsByUserIds({{"d", 0}, {"b", 0}, {"b", 1}})), "bd");
    sqlite3_limit(connection->native_handle(), SQLITE_LIMIT_VARIABLE_NUMBER, 1);
    fails(SQLITE_ERROR, "too many SQL variables", [&] {
        users->GetUserRowsByUserIds({{"b", 0}, {"d", 0}});
    });
}

TEST_F(UserStore, LogsItsLifeAndUpdatesByAnyHandlerWhileLoggingIsOn) {
    store(contact("u"));
    query("CREATE TEMP TRIGGER t BEFORE UPDATE OF remark ON users BEGIN SELECT RAISE(ABORT, 'no');"
          " END");
    db::DBBase handler({"me", 1}, connection);
    std::string seen;
    const logging_to sink([&](auto lev, const std::string& tag, const std::string& text) {
        EXPECT_EQ(lev, base::log::level::DBG);
        EXPECT_THAT(tag, HasSubstr("bll/bll.shared/db2/db_handler_user.cpp:"));
        seen += text + ";" + query("SELECT USER_REGEX('n', '', '', 'n')") + ";";
    });
    for (const bool is_on : {true, false}) {
        logInited = is_on;
        const DBUser logged({"me", 1}, connection);
        EXPECT_EQ(DBUser::UpdateIsStartByIdAndSource(true, "u", 0, handler), 1U);
        EXPECT_EQ(DBUser::UpdateDataTypeByIdAndSource(7, "nobody", 1, handler), 0U);
        fails(SQLITE_CONSTRAINT_TRIGGER,
              "cannot execute: no, in: UPDATE users SET remark = :remark,",
              [&] { DBUser::UpdateRemarkByIdAndSource("x", "u", 0, handler); });
    }
    const auto update = "UpdateSingleFieldByIdAndSource field_name:"s;
    EXPECT_EQ(seen, "CreateTable;1;" + update + "is_star field_value:1 user_id:u;1;" + update +
                        "data_type field_value:7 user_id:nobody;1;" + update +
                        "remark field_value:x user_id:u;1;~DBUser;NULL;");
}

TEST_F(UserStore, AnIndexFindsTheUserOfAnUpdate) {
    const auto plan = [&] {
        return query("EXPLAIN QUERY PLAN UPDATE users SET is_star = 1"
                     " WHERE user_id = 'a' AND user_source = 1");
    };
    EXPECT_THAT(plan(), HasSubstr("SCAN"));
    users->CreateUserIdIndex();
    users->CreateUserIdIndex();
    EXPECT_THAT(plan(), HasSubstr("USING INDEX users_by_user_id_and_source"));
}

TEST_F(UserStore, SetsAreBoundInTheirOrder) {
    std::array<unsigned int, 0> nothing;
    EXPECT_EQ(db::_prepare_bind(nothing), "(  ) ");
    std::vector<unsigned int> items{2, 4, 8};
    EXPECT_EQ(db::_prepare_bind(items), "( :param0, :param1, :param2  ) ");
    items.resize(11, 16);
    auto stmt = connection->prepare_statement("SELECT :param10 - :param2 WHERE 4 in " +
                                              db::_prepare_bind(items));
    db::_bind(stmt, items);
    EXPECT_EQ(all_rows(connection->execute(stmt)), "8");
    std::forward_list<unsigned int> other{4, 3};
    stmt = connection->prepare_statement("SELECT 1 WHERE 3 in " + db::_prepare_bind(nothing) +
                                         " OR 3 in ( :param0, :param1  ) ");
    db::_bind(stmt, other);
    EXPECT_EQ(all_rows(connection->execute(stmt)), "1");
    other.push_front(1);
    fails(SQLITE_RANGE, "':param2'", [&] { db::_bind(stmt, other); });
}

} // namespace
