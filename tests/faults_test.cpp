#include "base/base.shared/sqlite/transaction.h"
#include "tests/support.h"

namespace {

class Faults : public WithFile {
protected:
    Faults() {
        run("PRAGMA busy_timeout = 20");
        run("PRAGMA cache_size = 4"); // long rows reach the file in mid statement
        db->add_custom_function({"interrupt", 0, [](sqlite3_context* context, auto...) {
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
    std::string stored() { return others_see("SELECT user_name, length(extra) FROM users"); }

    db::DBUser users{{"me", 1}, db};
};

TEST_F(Faults, FailAndLoseNothing) {
    const std::string on_insert = "CREATE TEMP TRIGGER t BEFORE INSERT ON users BEGIN SELECT ";
    const struct {
        sqlite::database& where; // what a connection runs to bring a fault about and to end it
        std::string begin, end;
        int write_code;
        std::string write_text;
        int read_code = SQLITE_OK; // reads get through
        std::string read_text = {};
    } faults[] = {
        {*db, "PRAGMA max_page_count = 1", "PRAGMA max_page_count = 9999", SQLITE_FULL,
         "disk is full"},
        {other, "SELECT * FROM users", "SELECT 1", SQLITE_BUSY, "is locked"},
        {other, "BEGIN IMMEDIATE", "COMMIT", SQLITE_BUSY, "is locked"},
        {other, "BEGIN EXCLUSIVE", "COMMIT", SQLITE_BUSY, "is locked", SQLITE_BUSY,
         "is locked, in: SELECT"},
        {*db, on_insert + "interrupt() FROM main.sqlite_master; END", "DROP TRIGGER t",
         SQLITE_INTERRUPT, "interrupted"},
        {*db, on_insert + "RAISE(ROLLBACK, 'no'); END", "DROP TRIGGER t", SQLITE_CONSTRAINT_TRIGGER,
         "no"},
#if SQLITE_VERSION_NUMBER >= 3025000 // renames columns
        {other, "ALTER TABLE users RENAME extra TO x", "ALTER TABLE users RENAME x TO extra",
         SQLITE_ERROR, "no column named extra", SQLITE_RANGE, "no column 'extra'"},
#endif
        {other, "ALTER TABLE users RENAME TO x", "ALTER TABLE x RENAME TO users", SQLITE_ERROR,
         "no such table: users", SQLITE_ERROR, "no such table: users, in: SELECT"},
    };
    for (const auto& [where, begin, end, write_code, write_text, read_code, read_text] : faults) {
        SCOPED_TRACE(begin);
        sqlite::result held = where.execute(begin);
        fails(write_code, write_text + ", in: REPLACE", [this] { grow(); });
        fails(write_code, "", [this] { grow_twice(); });
        if (read_code != SQLITE_OK) {
            db::UserRow read;
            fails(read_code, read_text, [this] { users.SearchUserRowsWithKeyWord("old"); });
            fails(read_code, read_text, [&] { users.GetUserByUserIdAndSource("a", 0, read); });
            EXPECT_EQ(read, db::UserRow());
        }
        held = where.execute(end);
        EXPECT_EQ(users.SearchUserRowsWithKeyWord("old").size(), 1U);
        EXPECT_EQ(stored(), "old|50000");
        EXPECT_NO_THROW(grow_twice());
        EXPECT_EQ(stored(), "new|90000");
        store("old", 50000);
    }
    EXPECT_EQ(others_see("PRAGMA integrity_check"), "ok");
}

TEST_F(Faults, ALargeTransactionWaitsForAReaderOnlyToCommit) {
    std::optional reader(other.execute("SELECT * FROM users")); // not walked to its end
    sqlite::transaction writer(*db);
    for (int i = 0; i < 5000; ++i) {
        db::UserRow row = contact(std::to_string(i));
        users.Insert(row);
    }
    EXPECT_EQ(timeout(), "0") << "or it waits each time that rows leave its full cache";
    fails(SQLITE_BUSY, "COMMIT", [&] { writer.commit(); });
    EXPECT_EQ(timeout(), "20");
    reader.reset();
    writer.commit();
    EXPECT_EQ(others_see("SELECT count(*) FROM users"), "5001");
}

/// The system's files, of which one call fails: the next one once `calls_left` is 0.
struct faulty_files {
    static inline int calls_left = -1;
    static bool is_failing() { return calls_left >= 0 && calls_left-- == 0; }

    /// Those of databases and those of journals have methods of their own.
    template <bool is_database>
    static void make_faulty(sqlite3_file* file) {
        static sqlite3_io_methods real;
        static sqlite3_io_methods faulty;
        real = faulty = *file->pMethods;
        faulty.xWrite = [](sqlite3_file* file, const void* data, int size, sqlite3_int64 at) {
            return is_failing() ? SQLITE_IOERR_WRITE : real.xWrite(file, data, size, at);
        };
        faulty.xTruncate = [](sqlite3_file* file, sqlite3_int64 size) {
            return is_failing() ? SQLITE_IOERR_TRUNCATE : real.xTruncate(file, size);
        };
        faulty.xSync = [](sqlite3_file* file, int flags) {
            return is_failing() ? SQLITE_IOERR_FSYNC : real.xSync(file, flags);
        };
        faulty.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) {
            return is_failing() ? SQLITE_IOERR_FSTAT : real.xFileSize(file, size);
        };
        faulty.xUnlock = [](sqlite3_file* file,
                            int level) { // unlocked all the same, or for ever not
            const int code = real.xUnlock(file, level);
            return is_failing() ? SQLITE_IOERR_UNLOCK : code;
        };
        file->pMethods = &faulty;
    }

    faulty_files() : vfs(*system) {
        vfs.zName = "faulty";
        vfs.xOpen = [](sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out) {
            const int code =
                is_failing() ? SQLITE_IOERR_ACCESS : system->xOpen(system, name, file, flags, out);
            if (code == SQLITE_OK) {
                (flags & SQLITE_OPEN_MAIN_DB) != 0 ? make_faulty<true>(file)
                                                   : make_faulty<false>(file);
            }
            return code;
        };
        vfs.xDelete = [](sqlite3_vfs*, const char* name, int sync) {
            return is_failing() ? SQLITE_IOERR_DELETE : system->xDelete(system, name, sync);
        };
        sqlite3_vfs_register(&vfs, 1);
    }
    ~faulty_files() {
        sqlite3_vfs_unregister(&vfs);
        sqlite3_vfs_register(system, 1);
    }

    static inline sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    sqlite3_vfs vfs;
};

class FaultyFiles : protected faulty_files, public WithFile {};

TEST_F(FaultyFiles, AreNotOpenedWithoutTheReason) {
    calls_left = 0;
    fails(SQLITE_IOERR_ACCESS, "open the database 'b.db'", [] { sqlite::database("b.db"); });
}

TEST_F(FaultyFiles, LeaveAllOrNothingOfATransaction) {
    run("PRAGMA synchronous = FULL");
    run("CREATE TABLE t (i)");
    const auto store_two = [this] {
        sqlite::transaction both(*db);
        run("INSERT INTO t VALUES (1)");
        db->as_transaction([this](auto&) { run("INSERT INTO t VALUES (2)"); });
        try {
            both.commit();
        } catch (const sqlite::error&) {
            if (!both.is_open()) {
                fails(SQLITE_ABORT_ROLLBACK, "", [this] { run("SELECT 1"); });
            }
            throw;
        }
    };
    for (const std::string mode : {"delete", "truncate", "persist", "wal"}) {
        EXPECT_EQ(run("PRAGMA journal_mode = " + mode), mode);
        bool was_hit = true;
        for (int call = 0; was_hit && !HasFailure(); ++call) {
            SCOPED_TRACE(mode + ", call " + std::to_string(call));
            calls_left = call;
            bool has_thrown = false;
            try {
                store_two();
            } catch (const sqlite::error& failure) {
                has_thrown = true;
                EXPECT_EQ(failure.code() & 0xff, SQLITE_IOERR) << failure.what();
            }
            was_hit = calls_left < 0;
            calls_left = -1;
            EXPECT_THAT(others_see("SELECT i FROM t"),
                        testing::AnyOf("1;2", has_thrown ? "" : "1;2"));
            others_see("DELETE FROM t");
            EXPECT_NO_THROW(store_two());
            EXPECT_EQ(others_see("SELECT i FROM t"), "1;2");
            others_see("DELETE FROM t");
        }
    }
}

} // namespace
