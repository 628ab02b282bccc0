#include "base/base.shared/logging/logging.h"
#include "bll/bll.shared/db2/user_columns.h"
#include "tests/support.h"

#include <algorithm>
#include <sqlite3.h>

using db::UserDataType;
using db::UserRow;

namespace {

/// A record whose 22 fields all differ, as it is once stored.
UserRow full_record() {
    return {.local_user_id = "id:8",
            .user_id = "id",
            .device_id = "device",
            .avatar = "avatar",
            .user_name = "name",
            .name_spell = "spell",
            .remark = "remark",
            .is_anonymous = 3,
            .is_star = 4,
            .is_attention = 5,
            .user_type = 6,
            .user_version = (1LL << 40) + 7,
            .user_source = 8,
            .gender = 9,
            .extra = "extra",
            .group_info = "group",
            .msg_set = "msg",
            .in_black_list = 10,
            .is_blacked = 4294967295U,
            .data_type = 12,
            .user_extension = "user ext",
            .contact_extension = "contact ext"};
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

    UserRow store(const std::string& user_id, uint32_t source, uint32_t data_type = 0,
                  const std::string& name = "") {
        UserRow row;
        row.user_id = user_id;
        row.user_source = source;
        row.data_type = data_type;
        row.user_name = name;
        EXPECT_EQ(users.InsertOrReplace(row), 1U);
        return row;
    }

    /// The keys of records, in order.
    static std::string keys(std::vector<UserRow> rows) {
        std::string all;
        std::ranges::sort(rows, {}, &UserRow::local_user_id);
        for (const UserRow& row : rows) {
            all += row.local_user_id + " ";
        }
        return all;
    }

    std::shared_ptr<sqlite::database> connection =
        std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    db::DBUser users{{"me", 1}, connection};
};

TEST_F(UserStore, CreatesTheTableOnce) {
    const std::string schema = query("SELECT sql FROM sqlite_schema WHERE name = 'users'");
    EXPECT_EQ(schema.size(), 2038U);
    EXPECT_EQ(query("SELECT group_concat(name || ' ' || type || ' ' || \"notnull\" || ' ' ||"
                    " coalesce(dflt_value, '-') || ' ' || pk) FROM pragma_table_info('users')"),
              "local_user_id TEXT 0 - 1,user_id TEXT 1 - 0,device_id TEXT 0 - 0,avatar TEXT 0 - 0,"
              "user_name TEXT 0 - 0,name_spell TEXT 0 - 0,remark TEXT 0 - 0,extra TEXT 0 - 0,"
              "custom TEXT 0 - 0,user_extension TEXT 0 - 0,contact_extension TEXT 0 - 0,"
              "is_anonymous INTEGER 1 0 0,is_star INTEGER 1 0 0,is_attention INTEGER 1 0 0,"
              "user_type INTEGER 1 0 0,user_version INTEGER 1 0 0,user_source INTEGER 1 0 0,"
              "gender INTEGER 1 0 0,data_type INTEGER 1 0 0,group_info TEXT 0 '0' 0,"
              "msg_set TEXT 0 '0' 0,in_black_list INTEGER 1 0 0,is_blacked INTEGER 1 0 0");
    store("a", 1);
    const db::DBUser second({"you", 1}, connection);
    users.CreateTable();
    EXPECT_EQ(query("SELECT sql FROM sqlite_schema WHERE name = 'users'"), schema);
    EXPECT_EQ(users.GetAll().size(), 1U);
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

TEST_F(UserStore, InsertsDifferInAConflictOnly) {
    UserRow first = store("a", 1, 2, "first");
    UserRow second = first;
    second.user_name = "second";
    second.local_user_id.clear();
    fails(SQLITE_CONSTRAINT_PRIMARYKEY, "users.local_user_id", [&] { users.Insert(second); });
    EXPECT_EQ(second.local_user_id, first.local_user_id) << "the key is formed before the insert";
    EXPECT_EQ(users.InsertOrIgnore(second), 0U);
    EXPECT_EQ(query("SELECT group_concat(user_name) FROM users"), "first");
    EXPECT_EQ(users.InsertOrReplace(second), 1U);
    EXPECT_EQ(query("SELECT group_concat(user_name) FROM users"), "second");
    second.user_source = 4294967295U;
    EXPECT_EQ(users.InsertOrIgnore(second), 1U);
    EXPECT_EQ(second.local_user_id, users.make_local_user_id("a", -1));
}

TEST_F(UserStore, FindsAndDeletesByKey) {
    store("a", 1, 3, "one");
    store("a", 2147483648U, 0, "high");
    UserRow row = full_record();
    UserRow untouched = row;
    EXPECT_EQ(users.GetUserByUserIdAndSource("a", 2, row), 0U);
    EXPECT_EQ(users.GetUserByUserIdAndSource("A", 1, row), 0U);
    for (const uint32_t mask : {0U, 4U, 8U}) {
        EXPECT_EQ(users.GetUserByIdSourceAndDataType("a", 1, UserDataType{int(mask)}, row), 0U)
            << mask;
    }
    EXPECT_TRUE(row == untouched);
    for (const int mask : {1, 2, 3, 6}) {
        row = untouched;
        EXPECT_EQ(users.GetUserByIdSourceAndDataType("a", 1, UserDataType{mask}, row), 1U) << mask;
        EXPECT_EQ(row.user_name, "one");
    }
    EXPECT_EQ(users.GetUserByUserIdAndSource("a", 2147483648U, row), 1U);
    EXPECT_EQ(row.user_name, "high");
    EXPECT_EQ(row.user_source, 2147483648U);

    EXPECT_EQ(users.DelUserByUserIdAndSource("a", 1), 1U);
    EXPECT_EQ(users.DelUserByUserIdAndSource("a", 1), 0U);
    EXPECT_EQ(keys(users.GetAll()), "a:-2147483648 ");
}

TEST_F(UserStore, ListsByKindAndSource) {
    EXPECT_TRUE(users.GetAll().empty() && users.GetUsersByDataType(UserDataType{7}).empty());
    store("none", 1, 0);
    store("user", 1, 1);
    store("both", 2, 6);
    store("contact", 4294967295U, 2);
    struct {
        int mask;
        const char* any_source;
        const char* source_2;
    } const cases[] = {{0, "", ""},
                       {1, "user:1 ", ""},
                       {2, "both:2 contact:-1 ", "both:2 "},
                       {4, "both:2 ", "both:2 "},
                       {7, "both:2 contact:-1 user:1 ", "both:2 "}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mask);
        EXPECT_EQ(keys(users.GetUsersByDataType(UserDataType{c.mask})), c.any_source);
        EXPECT_EQ(keys(users.GetUsersByDataTypeAndSource(UserDataType{c.mask}, 2)), c.source_2);
    }
    EXPECT_EQ(keys(users.GetUsersByDataTypeAndSource(UserDataType{2}, 4294967295U)), "contact:-1 ");
    EXPECT_EQ(keys(users.GetAll()), "both:2 contact:-1 none:1 user:1 ");
}

TEST_F(UserStore, AStrangeTableFailsClearly) {
    auto other = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    other->execute("CREATE TABLE users (local_user_id TEXT PRIMARY KEY, user_name TEXT)");
    other->execute("INSERT INTO users VALUES ('a:1', 'Ann')");
    db::DBUser strange({"me", 1}, other);
    UserRow row = full_record();
    UserRow untouched = row;
    fails(SQLITE_RANGE, "'user_id'", [&] { strange.GetUserByUserIdAndSource("a", 1, row); });
    fails(SQLITE_RANGE, "'user_id'", [&] { strange.GetAll(); });
    EXPECT_TRUE(row == untouched);
    fails(SQLITE_ERROR, "no column named user_id", [&] { strange.InsertOrReplace(row); });
    fails(SQLITE_MISUSE, "no database", [] { db::DBUser({"me", 1}, nullptr); });
}

TEST_F(UserStore, LogsItsLifeWhileLoggingIsOn) {
    std::string seen;
    base::log::set_sink([&](base::log::level lev, const std::string& tag, const std::string& text) {
        EXPECT_EQ(lev, base::log::level::DBG);
        EXPECT_TRUE(contains(tag, "bll/bll.shared/db2/db_handler_user.cpp:"));
        seen += text + ";";
    });
    { const db::DBUser logged({"me", 1}, connection); }
    EXPECT_EQ(seen, "CreateTable;~DBUser;");
    logInited = false;
    { const db::DBUser silent({"me", 1}, connection); }
    EXPECT_EQ(seen, "CreateTable;~DBUser;");
    base::log::set_sink({});
    logInited = false;
}

} // namespace
