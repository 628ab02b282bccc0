#include "tests/support.h"

namespace {

/// A store on a file, and a second connection to the file.
class Faults : public testing::Test {
protected:
    Faults() {
        own->execute("PRAGMA busy_timeout = 20");
        own->execute("PRAGMA synchronous = OFF");
        own->execute("PRAGMA cache_size = 4"); // long rows reach the file in mid statement
        own->add_custom_function({"interrupt", 0, [](sqlite3_context* context, auto...) {
                                      sqlite3_interrupt(sqlite3_context_db_handle(context));
                                  }});
        store("old", 50000);
    }

    void store(const std::string& name, size_t size) {
        db::UserRow row = contact("a", name);
        row.extra = std::string(size, 'x');
        users.InsertOrReplace(row);
    }
    std::string stored() {
        return shown(other.execute("SELECT user_name, length(extra) FROM users"));
    }

    scratch_directory directory;
    std::shared_ptr<sqlite::database> own =
        std::make_shared<sqlite::database>(directory.file("users.db"));
    sqlite::database other{directory.file("users.db")};
    db::DBUser users{{"me", 1}, own};
};

TEST_F(Faults, FailTheirOperationAndLoseNothing) {
    const std::string on_insert = "CREATE TEMP TRIGGER t BEFORE INSERT ON users BEGIN SELECT ";
    const std::string locked = "database is locked, in: ";
    const std::string lost = "no such table: users, in: ";
    // clang-format off
    struct {
        sqlite::database& where;
        std::string begin, end;
        int code; // of a write; its error names the rest, and so for a read that fails too
        std::string named;
        int read_code = SQLITE_OK;
        std::string read_named = {};
    } const cases[] = {
        {*own, "PRAGMA max_page_count = 1", "PRAGMA max_page_count = 9999",
         SQLITE_FULL, "disk is full, in: REPLACE"},
        {other, "SELECT * FROM users", "SELECT 1", SQLITE_BUSY, locked + "REPLACE"},
        {other, "BEGIN IMMEDIATE", "COMMIT", SQLITE_BUSY, locked + "REPLACE"},
        {other, "BEGIN EXCLUSIVE", "COMMIT",
         SQLITE_BUSY, locked + "REPLACE", SQLITE_BUSY, locked + "SELECT"},
        {*own, on_insert + "interrupt() FROM main.sqlite_master; END", "DROP TRIGGER t",
         SQLITE_INTERRUPT, "interrupted, in: REPLACE"},
        {*own, on_insert + "RAISE(ROLLBACK, 'no'); END", "DROP TRIGGER t",
         SQLITE_CONSTRAINT_TRIGGER, "no, in: REPLACE"},
        {other, "ALTER TABLE users RENAME extra TO x", "ALTER TABLE users RENAME x TO extra",
         SQLITE_ERROR, "no column named extra, in: REPLACE", SQLITE_RANGE, "no column 'extra'"},
        {other, "ALTER TABLE users RENAME TO x", "ALTER TABLE x RENAME TO users",
         SQLITE_ERROR, lost + "REPLACE", SQLITE_ERROR, lost + "SELECT"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.begin);
        const auto grow = [&] { store("new", 90000); };
        const auto grow_twice = [&] { users.as_transaction([&] { grow(), grow(); }); };
        db::UserRow read;
        const auto fetch = [&] { users.GetUserByUserIdAndSource("a", 0, read); };
        sqlite::result held = c.where.execute(c.begin);
        fails(c.code, c.named, grow);
        fails(c.code, "", grow_twice);
        if (c.read_code != SQLITE_OK) {
            fails(c.read_code, c.read_named, [&] { users.SearchUserRowsWithKeyWord("old"); });
            fails(c.read_code, c.read_named, fetch);
        } else {
            EXPECT_NO_THROW(fetch());
        }
        EXPECT_EQ(read.user_name, c.read_code == SQLITE_OK ? "old" : "") << "read, or untouched";
        held = c.where.execute(c.end);
        EXPECT_EQ(users.SearchUserRowsWithKeyWord("old").size(), 1U);
        EXPECT_EQ(stored(), "old|50000");
        EXPECT_NO_THROW(grow_twice());
        EXPECT_EQ(stored(), "new|90000");
        store("old", 50000);
    }
    EXPECT_EQ(shown(other.execute("PRAGMA integrity_check")), "ok");
}

TEST_F(Faults, ColumnsHoldWhatNoStoreWrites) {
    own->execute("DELETE FROM users");
    own->execute("INSERT INTO users (local_user_id, user_id, user_name, remark, group_info, extra,"
                 " data_type, gender, user_version, is_star) VALUES"
                 " (NULL, 'null', NULL, NULL, NULL, NULL, 2, 0, 0, 0),"
                 " ('b', 'blob', x'6e00ff', x'ff', 1.5, 7, x'33', x'32', x'31', 'text'),"
                 " ('l', 'large', 'n' || char(0) || 'x', '', '', '', 4294967298, -4294967295,"
                 " 9223372036854775807, -9223372036854775808)");
    std::ostringstream seen;
    for (const db::UserRow& row : users.GetUsersByDataType(db::UserDataType::USERDATA_CONTACT)) {
        seen << row.user_name << row.group_info << row.extra << '|' << row.data_type << '|'
             << row.gender << '|' << row.user_version << '|' << row.is_star << ';';
        EXPECT_EQ(db::DBUser::UpdateIsStartByIdAndSource(true, row.user_id, 0, users), 1U);
    }
    EXPECT_EQ(seen.str(), "|2|0|0|0;n\0\xff"s
                          "1.57|3|2|1|0;n\0x|2|1|9223372036854775807|0;"s);
    EXPECT_EQ(users.SearchUserRowsWithKeyWord("n").size(), 2U) << "all but the first";
}

} // namespace
