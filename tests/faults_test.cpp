#include "base/base.shared/sqlite/transaction.h"
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
    void grow() { store("new", 90000); }
    void grow_twice() {
        users.as_transaction([this] {
            grow();
            grow();
        });
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

/// What a connection runs to bring a fault about and to end it, and the error in between.
struct fault {
    sqlite::database& where;
    std::string begin, end;
    int code;
    std::string named;
};

TEST_F(Faults, FailAWriteAndLoseNothing) {
    const std::string on_insert = "CREATE TEMP TRIGGER t BEFORE INSERT ON users BEGIN SELECT ";
    const std::string locked = "database is locked, in: REPLACE";
    const fault faults[] = {
        {*own, "PRAGMA max_page_count = 1", "PRAGMA max_page_count = 9999", SQLITE_FULL,
         "disk is full, in: REPLACE"},
        {other, "SELECT * FROM users", "SELECT 1", SQLITE_BUSY, locked},
        {other, "BEGIN IMMEDIATE", "COMMIT", SQLITE_BUSY, locked},
        {other, "BEGIN EXCLUSIVE", "COMMIT", SQLITE_BUSY, locked},
        {*own, on_insert + "interrupt() FROM main.sqlite_master; END", "DROP TRIGGER t",
         SQLITE_INTERRUPT, "interrupted, in: REPLACE"},
        {*own, on_insert + "RAISE(ROLLBACK, 'no'); END", "DROP TRIGGER t",
         SQLITE_CONSTRAINT_TRIGGER, "no, in: REPLACE"},
        {other, "ALTER TABLE users RENAME extra TO x", "ALTER TABLE users RENAME x TO extra",
         SQLITE_ERROR, "no column named extra, in: REPLACE"},
    };
    for (const auto& [where, begin, end, code, named] : faults) {
        SCOPED_TRACE(begin);
        sqlite::result held = where.execute(begin);
        fails(code, named, [&] { grow(); });
        fails(code, "", [&] { grow_twice(); });
        held = where.execute(end);
        EXPECT_EQ(stored(), "old|50000");
        EXPECT_NO_THROW(grow_twice());
        EXPECT_EQ(stored(), "new|90000");
        store("old", 50000);
    }
    EXPECT_EQ(shown(other.execute("PRAGMA integrity_check")), "ok");
}

TEST_F(Faults, FailAReadAndLeaveTheRecordAsItIs) {
    const fault faults[] = {
        {other, "BEGIN EXCLUSIVE", "COMMIT", SQLITE_BUSY, "database is locked, in: SELECT"},
        {other, "ALTER TABLE users RENAME extra TO x", "ALTER TABLE users RENAME x TO extra",
         SQLITE_RANGE, "no column 'extra'"},
        {other, "ALTER TABLE users RENAME TO x", "ALTER TABLE x RENAME TO users", SQLITE_ERROR,
         "no such table: users, in: SELECT"},
    };
    for (const auto& [where, begin, end, code, named] : faults) {
        SCOPED_TRACE(begin);
        db::UserRow read;
        where.execute(begin);
        fails(code, named, [&] { users.SearchUserRowsWithKeyWord("old"); });
        fails(code, named, [&] { users.GetUserByUserIdAndSource("a", 0, read); });
        EXPECT_TRUE(read == db::UserRow());
        where.execute(end);
        EXPECT_EQ(users.SearchUserRowsWithKeyWord("old").size(), 1U);
    }
}

TEST_F(Faults, ALargeTransactionWaitsForAReaderOnlyToCommit) {
    const auto store_many = [&](const std::string& id) {
        for (int i = 0; i < 5000; ++i) {
            db::UserRow row = contact(id + std::to_string(i));
            users.Insert(row);
        }
    };
    const auto timeout = [&] { return shown(own->execute("PRAGMA busy_timeout")); };
    std::optional reader(other.execute("SELECT * FROM users")); // not walked to its end
    sqlite::transaction writer(*own);
    store_many("u");
    fails(SQLITE_BUSY, "COMMIT", [&] { writer.commit(); });
    EXPECT_EQ(timeout(), "20");
    reader.reset();
    writer.commit();

    own->execute("PRAGMA busy_timeout = 3600000"); // one wait would last an hour
    reader.emplace(other.execute("SELECT * FROM users"));
    users.as_transaction([&] {
        store_many("v");
        EXPECT_EQ(timeout(), "0");
        reader.reset();
    });
    EXPECT_EQ(timeout(), "3600000");
    EXPECT_EQ(shown(other.execute("SELECT count(*) FROM users")), "10001");
}

} // namespace
