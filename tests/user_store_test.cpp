#include "base/base.shared/logging/logging.h"
#include "bll/bll.shared/db2/user_columns.h"
#include "tests/support.h"

#include <set>
#include <sqlite3.h>
#include <vector>

using db::DBUser;
using db::UserRow;

namespace {

/// A record whose 22 fields all differ, in the order of their declaration, as it is once stored.
UserRow full_record() {
    return {"id:8",      "id",
            "device",    "avatar",
            "name",      "spell",
            "remark",    3,
            4,           5,
            6,           (1LL << 40) + 7,
            8,           9,
            "extra",     "group",
            "msg",       10,
            4294967295U, 12,
            "user ext",  "contact ext"};
}

/// The same record as a person would write it in SQL, with `custom` set besides.
const std::string full_record_sql =
    "INSERT INTO users (contact_extension, user_extension, data_type, is_blacked, in_black_list,"
    " msg_set, group_info, extra, gender, user_source, user_version, user_type, is_attention,"
    " is_star, is_anonymous, remark, name_spell, user_name, avatar, device_id, user_id,"
    " local_user_id, custom) VALUES ('contact ext', 'user ext', 12, 4294967295, 10, 'msg', 'group',"
    " 'extra', 9, 8, 1099511627783, 6, 5, 4, 3, 'remark', 'spell', 'name', 'avatar', 'device', "
    "'id',"
    " 'id:8', 'custom')";

/// What it selects of a record stored like `full_record`, and NULL for `custom`.
const std::string full_record_seen =
    "id:8|id|device|avatar|name|spell|remark|3|4|5|6|1099511627783|8|9|extra|group|msg|10|"
    "4294967295|12|user ext|contact ext|NULL";
const std::string see_record =
    "SELECT local_user_id, user_id, device_id, avatar, user_name, name_spell, remark,"
    " is_anonymous, is_star, is_attention, user_type, user_version, user_source, gender, extra,"
    " group_info, msg_set, in_black_list, is_blacked, data_type, user_extension,"
    " contact_extension, custom FROM users";

class UserStore : public testing::Test {
protected:
    std::string query(const std::string& sql) { return shown(connection->execute(sql)); }

    UserRow store(const std::string& user_id, uint32_t source) {
        UserRow row;
        row.user_id = user_id;
        row.user_source = source;
        EXPECT_EQ(users.InsertOrReplace(row), 1U);
        return row;
    }

    std::shared_ptr<sqlite::database> connection =
        std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    DBUser users{{"me", 1}, connection};
};

TEST_F(UserStore, CreatesTheTableOnce) {
    const std::string schema = query("SELECT sql FROM sqlite_master WHERE name = 'users'");
    EXPECT_EQ(schema.size(), 2038U);
    uint32_t checksum = 2166136261U; // FNV-1a, for each blank and tab
    for (const char c : schema) {
        checksum = (checksum ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    EXPECT_EQ(checksum, 338868174U);
    store("a", 1);
    const DBUser second({"you", 1}, connection);
    users.CreateTable();
    EXPECT_EQ(query("SELECT sql FROM sqlite_master WHERE name = 'users'"), schema);
    EXPECT_EQ(users.GetAll().size(), 1U);
    fails(SQLITE_MISUSE, "no database", [] { DBUser({"me", 1}, nullptr); });
}

TEST_F(UserStore, RecordsMeetTheirColumns) {
    UserRow expected = full_record();
    UserRow written = expected;
    written.local_user_id = "stale";
    EXPECT_EQ(users.Insert(written), 1U);
    EXPECT_TRUE(written == expected);
    EXPECT_EQ(query(see_record), full_record_seen);

    connection->execute("DELETE FROM users");
    connection->execute(full_record_sql);
    UserRow read;
    EXPECT_EQ(users.GetUserByUserIdAndSource("id", 8, read), 1U);
    EXPECT_TRUE(read == expected);
    EXPECT_TRUE(users.GetAll().at(0) == expected);
    EXPECT_EQ(users.InsertOrReplace(expected), 1U);
    EXPECT_EQ(query("SELECT quote(custom) FROM users"), "NULL") << "a replaced row loses it";
}

TEST_F(UserStore, UpdateLeavesTheIdentity) {
    connection->execute("INSERT INTO users (local_user_id, user_id, user_source, device_id,"
                        " is_anonymous, custom) VALUES ('key', 'id', 8, 'mine', 2, 'custom'),"
                        " ('other', 'id', 9, '', 0, '')");
    UserRow row = full_record();
    EXPECT_EQ(users.Update(row), 1U);
    EXPECT_EQ(query(see_record + " WHERE user_source = 8"),
              "key|id|mine|avatar|name|spell|remark|2|4|5|6|1099511627783|8|9|extra|group|msg|10|"
              "4294967295|12|user ext|contact ext|custom");
    EXPECT_EQ(query(see_record + " WHERE user_source = 9"),
              "other|id||NULL|NULL|NULL|NULL|0|0|0|0|0|9|0|NULL|0|0|0|0|0|NULL|NULL|");
}

TEST_F(UserStore, DefaultsMatchTheColumns) {
    UserRow row = store("a", 0);
    connection->execute("INSERT INTO users (local_user_id, user_id) VALUES ('b:0', 'b')");
    UserRow bare;
    EXPECT_EQ(users.GetUserByUserIdAndSource("b", 0, bare), 1U);
    bare.user_id = "a";
    bare.local_user_id = "a:0";
    EXPECT_TRUE(bare == row);
    EXPECT_EQ(bare.group_info + bare.msg_set, "00");
    EXPECT_EQ(query("SELECT count(*) FROM users WHERE user_name = '' AND extra = ''"), "1");
}

TEST_F(UserStore, ComparesEveryField) {
    int compared = 0;
    db::for_each_user_column([&](const auto& column) {
        UserRow one = full_record();
        UserRow other = one;
        EXPECT_TRUE(one == other && !(one != other));
        auto& value = other.*column.field;
        value += *"x"; // a letter more, or a larger number
        EXPECT_TRUE(one != other && !(one == other)) << column.name;
        ++compared;
    });
    EXPECT_EQ(compared, 22);
}

TEST_F(UserStore, FormsTheKeyBeforeAnInsertThatFails) {
    UserRow first = store("a", 4294967295U);
    EXPECT_EQ(first.local_user_id, users.make_local_user_id("a", -1));
    first.local_user_id = "stale";
    fails(SQLITE_CONSTRAINT_PRIMARYKEY, "users.local_user_id", [&] { users.Insert(first); });
    EXPECT_EQ(first.local_user_id, users.make_local_user_id("a", -1));
}

TEST_F(UserStore, LogsItsLifeWhileLoggingIsOn) {
    std::string seen;
    base::log::set_sink([&](base::log::level lev, const std::string& tag, const std::string& text) {
        EXPECT_EQ(lev, base::log::level::DBG);
        EXPECT_TRUE(contains(tag, "bll/bll.shared/db2/db_handler_user.cpp:"));
        seen += text + ";" + query("SELECT USER_REGEX('n', '', '', 'n')") + ";";
    });
    { const DBUser logged({"me", 1}, connection); }
    EXPECT_EQ(seen, "CreateTable;1;~DBUser;NULL;");
    logInited = false;
    { const DBUser silent({"me", 1}, connection); }
    EXPECT_EQ(seen, "CreateTable;1;~DBUser;NULL;");
    base::log::set_sink({});
    logInited = false;
}

TEST_F(UserStore, UpdatesOfOneFieldWorkThroughAnyHandlerAndLog) {
    store("u", 1);
    store("u", 2);
    std::string log;
    base::log::set_sink([&](auto, auto&, const std::string& text) { log += text + ";"; });
    db::DBBase handler({"me", 1}, connection);
    EXPECT_EQ(DBUser::UpdateIsStartByIdAndSource(true, "u", 1, handler), 1U);
    EXPECT_EQ(DBUser::UpdateIsAttentionByIdAndSource(true, "u", 1, handler), 1U);
    EXPECT_EQ(DBUser::UpdateDataTypeByIdAndSource(0, "nobody", 1, handler), 0U);
    connection->execute(
        "CREATE TRIGGER t BEFORE UPDATE ON users BEGIN SELECT RAISE(ABORT, 'no'); END");
    fails(SQLITE_CONSTRAINT_TRIGGER, "cannot execute: no, in: UPDATE users SET remark\t= :remark,",
          [&] { DBUser::UpdateRemarkByIdAndSource("", "u", 1, handler); });
    base::log::set_sink({});
    logInited = false;
    EXPECT_EQ(log,
              "UpdateSingleFieldByIdAndSource field_name:is_star field_value:1 user_id:u;"
              "UpdateSingleFieldByIdAndSource field_name:is_attention field_value:1 user_id:u;"
              "UpdateSingleFieldByIdAndSource field_name:data_type field_value:0 user_id:nobody;"
              "UpdateSingleFieldByIdAndSource field_name:remark field_value: user_id:u;");
    EXPECT_EQ(shown(connection->execute("SELECT is_star, is_attention, user_version FROM users")),
              "1|1|2;0|0|0");
    db::DBBase lonely({"me", 1}, nullptr);
    fails(SQLITE_MISUSE, "no database",
          [&] { DBUser::UpdateIsStartByIdAndSource(true, "u", 1, lonely); });
}

TEST_F(UserStore, SetParameterListsAndTheirLimit) {
    std::vector<unsigned int> items;
    EXPECT_EQ(db::_prepare_bind(items), "(  ) ");
    items = {7};
    EXPECT_EQ(db::_prepare_bind(items), "( :param0  ) ");
    items = {2, 4, 8};
    EXPECT_EQ(db::_prepare_bind(items), "( :param0, :param1, :param2  ) ");
    items.resize(11, 16);
    EXPECT_TRUE(db::_prepare_bind(items).ends_with(":param9, :param10  ) "));
    auto stmt = connection->prepare_statement("SELECT :param10 - :param2 WHERE 4 in " +
                                              db::_prepare_bind(items));
    db::_bind(stmt, items);
    EXPECT_EQ(shown(connection->execute(stmt)), "8");
    stmt = connection->prepare_statement("SELECT :param0 || :x || :param2"); // not in a row
    items.resize(3);
    fails(SQLITE_RANGE, "':param1'", [&] { db::_bind(stmt, items); });
    stmt = connection->prepare_statement("SELECT 1 WHERE 4 in " + db::_prepare_bind(items));
    items.push_back(1);
    fails(SQLITE_RANGE, "':param3'", [&] { db::_bind(stmt, items); });

    store("u", 1);
    store("u", 2);
    EXPECT_TRUE(users.GetUserRowsByUserIds({}).empty());
    EXPECT_EQ(users.GetUserRowsByUserIds({{"u", 1}, {"u", 2}, {"u", 3}, {"v", 1}}).size(), 2U);
    const size_t limit = sqlite::parameter_limit(*connection);
    std::set<std::pair<std::string, int>> many;
    for (size_t i = 0; i <= limit; ++i) {
        many.emplace("u", static_cast<int>(i));
    }
    fails(SQLITE_ERROR, std::to_string(limit) + " parameters",
          [&] { users.GetUserRowsByUserIds(many); });
}

} // namespace
