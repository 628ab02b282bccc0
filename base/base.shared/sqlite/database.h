#pragma once

#include "base/base.shared/sqlite/error.h"
#include "base/base.shared/sqlite/result.h"
#include "base/base.shared/sqlite/statement.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

struct sqlite3;
struct sqlite3_context;
struct sqlite3_stmt;
struct sqlite3_value;

/// A scalar SQL function to be registered with `sqlite::database::add_custom_function`. It runs on
/// the thread that steps the statement and holds the connection: of one connection, never on two
/// threads at once.
struct SqliteCustomFunction {
    std::string name;  ///< the name under which SQL calls it
    int32_t argc = -1; ///< the number of arguments, -1 for any number
    /// Called with the function's context, the argument count and the arguments, which it reads
    /// with SQLite's value API; sets its result through the context, else the result is SQL NULL.
    std::function<void(sqlite3_context*, int, sqlite3_value**)> call_back;
};

namespace sqlite::detail {
struct connection;
class transaction_state;
} // namespace sqlite::detail

namespace sqlite {

/// How a file is opened. The values are SQLite's own open flags.
enum access_mode {
    read_only = 1,
    read_write = 2,
    read_write_create = 6, ///< read_write, and the file is created if there is none
};

/// Whether connections of this process to one file share their page cache.
enum cache_type {
    /// They lock single tables against each other; a conflict fails at once with SQLITE_LOCKED.
    shared_cache = 131072,
    private_cache = 262144,
};

enum class special_t {
    in_memory = 0, ///< a new database in memory, of this connection alone, gone with it
};

/// One connection to a SQLite database.
///
/// Opened in SQLite's serialized mode, with a busy time-out of 5 seconds and extended result codes:
/// any thread may use it, and each call holds the connection while it lasts. What needs several
/// calls to belong together, `execute` and then `changes` for one, takes `lock` around them. A
/// write waits for other connections only while no result of its own connection is half walked:
/// then SQLite throws SQLITE_BUSY at once, since the two could wait for each other. Statements,
/// results, rows and fields may outlive the database; SQLite then closes the connection with the
/// last of them. All failures are thrown as `sqlite::error`.
class database {
public:
    /// Opens a file, or a database in memory. Throws if that fails; a file that is no database is
    /// only found out by the first statement.
    explicit database(const std::string& path, const access_mode& mode = read_write_create,
                      const cache_type& cache = private_cache);
    explicit database(const special_t& special, const access_mode& mode = read_write_create,
                      const cache_type& cache = private_cache);
    database(const database&) = delete;
    database& operator=(const database&) = delete;
    ~database();

    /// Compiles one SQL statement. Throws for a text without a statement, with a second one behind
    /// the first, or with a NUL byte in it. Some PRAGMAs act when they are compiled already.
    [[nodiscard]] statement prepare_statement(const std::string& sql) const;

    /// Runs a statement up to its first row or its end: one that changes rows has done so when this
    /// returns. One that delivers rows of what it changed (RETURNING) commits at the end of the
    /// walk, where that can still fail: walk it to its end. Throws if SQLite fails, with the
    /// statement reset, and for a statement of another connection. A run of the statement that is
    /// still under way is abandoned.
    result execute(const std::string& sql);
    result execute(const statement& stmt);

    /// Keeps every other thread from the connection, its statements, results and fields, until
    /// `unlock`. Recursive; works with std::lock_guard.
    void lock();
    void unlock();

    /// Runs `body` inside a transaction and commits; inside an open transaction, inside a savepoint
    /// of it. Holds the lock meanwhile. Returns the number of rows inserted, updated and deleted
    /// inside, by triggers too. If `body` or the commit throws, everything inside is rolled back,
    /// and that exception leaves; but a commit that fails while it cleans up, with
    /// SQLITE_IOERR_UNLOCK, SQLITE_IOERR_TRUNCATE or SQLITE_IOERR_FSTAT, can have taken effect.
    /// Once SQLite has rolled back by itself, `execute` throws SQLITE_ABORT_ROLLBACK up to the end
    /// of the outermost transaction, so that a body that goes on leaves nothing behind; once a
    /// COMMIT or ROLLBACK in an SQL text has ended the transaction, it throws SQLITE_MISUSE. An
    /// operation that was cancelled inside has been rolled back with all of the transaction if it
    /// throws. The transaction takes the write lock at once (on a read-only database none), so that
    /// it waits for other writers at its start and not half way.
    uint32_t as_transaction(const std::function<void(database&)>& body);

    /// 0 if the connection has inserted no row yet.
    [[nodiscard]] int64_t last_insert_rowid() const;
    /// The size of the database in bytes, as this connection sees it. An authorizer must allow
    /// PRAGMA page_count and page_size.
    [[nodiscard]] size_t size() const;
    /// Rows inserted, updated or deleted by the most recent such statement that ended, without the
    /// changes made by triggers.
    uint32_t changes() const;

    /// Registers a function, in place of an earlier one of the same name and argument count, also
    /// for statements prepared before. The callback and what it captures live until the function is
    /// replaced or the connection closed, and are destroyed then, or at once if SQLite refuses the
    /// function (while a statement is running and it would replace one, for example): that throws.
    /// A callback that captures a statement of this connection keeps the connection open for ever.
    /// A callback may throw: its statement fails with the code of an `error`, with SQLITE_NOMEM for
    /// std::bad_alloc, else with SQLITE_ERROR, and with the exception's text.
    void add_custom_function(SqliteCustomFunction function);

    /// How many compiled statements the connection keeps for their next use; 0 at first, some tens
    /// at most are sensible. While it is above 0, a statement whose last holder goes is reset, its
    /// bindings are cleared, and the next `prepare_statement` of the same text takes it. A kept
    /// statement holds no lock and no value. Beyond the capacity the least recently used one is
    /// finalised, also at once when the capacity is lowered. Statements that are in use at a time
    /// never share a compiled one. A PRAGMA or EXPLAIN is never kept, since some act when they are
    /// compiled. What an authorizer allowed or hid when a statement was compiled stays with it.
    void set_statement_cache_capacity(size_t statements);
    /// Compiles a statement that is never kept, for a text that will hardly come again because it
    /// holds a value: kept, such texts would push out all others. Otherwise `prepare_statement`.
    [[nodiscard]] statement prepare_uncached_statement(const std::string& sql) const;

    /// SQLite's own handle, valid as long as this object, for what SQLite offers and this layer
    /// does not wrap. Do not close it. Transactions begun or ended past this layer are noticed as
    /// those in SQL texts are.
    [[nodiscard]] sqlite3* native_handle() const;

private:
    friend class transaction;

    void close();
    [[nodiscard]] std::shared_ptr<sqlite3_stmt> create_statement(const std::string& sql) const;
    void open(const std::string& filename, int flags);
    [[nodiscard]] std::shared_ptr<sqlite3_stmt> compile(const std::string& sql, bool keep) const;

    sqlite3* db = nullptr;
    std::recursive_mutex m_mut;
    bool m_in_trans = false;
    std::shared_ptr<detail::connection> m_connection; // what statements and transactions share
};

} // namespace sqlite
