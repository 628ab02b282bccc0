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
/// the thread that steps the statement. That thread holds the connection meanwhile, so a connection
/// never runs the function on two threads at once.
struct SqliteCustomFunction {
    std::string name;  ///< the name under which SQL calls it
    int32_t argc = -1; ///< the number of arguments, -1 for any number
    /// Called with the function's context, the argument count and the arguments. It reads them with
    /// SQLite's value API. It sets its result through the context; otherwise that is SQL NULL.
    std::function<void(sqlite3_context*, int, sqlite3_value**)> call_back;
    /// Whether it gives the same result for the same arguments each time, which an index or a
    /// generated column asks of a function.
    bool deterministic = false;
};

namespace sqlite::detail {
struct connection;
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
    /// They share it, and lock single tables against each other. A conflict fails at once with
    /// SQLITE_LOCKED.
    shared_cache = 131072,
    private_cache = 262144,
};

enum class special_t {
    in_memory = 0, ///< a new database in memory, private to this connection and gone with it
};

/// One connection to a SQLite database.
///
/// It is opened in SQLite's serialized mode, with extended result codes and a busy time-out of 5
/// seconds. Any thread may use it, and each call holds the connection while it lasts. Where several
/// calls belong together, for example `execute` and `changes`, hold `lock` around them. While a
/// result is half walked, a write on its connection does not wait for another connection, since the
/// two could wait for each other: it throws SQLITE_BUSY at once if the other one is in its way.
/// Statements, results, rows and fields may outlive the database; SQLite then closes the connection
/// with the last of them. All failures are thrown as `sqlite::error`.
class database {
public:
    /// Opens a file, or a database in memory. Throws if that fails, and SQLITE_MISUSE if SQLite is
    /// built or configured single-threaded. Only the first statement finds out that a file is no
    /// database. A path that begins with "file:" is a URI where SQLite was built to read those.
    explicit database(const std::string& path, const access_mode& mode = read_write_create,
                      const cache_type& cache = private_cache);
    explicit database(const special_t& special, const access_mode& mode = read_write_create,
                      const cache_type& cache = private_cache);
    database(const database&) = delete;
    database& operator=(const database&) = delete;
    ~database();

    /// Compiles one SQL statement. Throws if the text has no statement, more than one, or a NUL
    /// byte in it. Some PRAGMAs act already when they are compiled.
    [[nodiscard]] statement prepare_statement(const std::string& sql) const;

    /// Runs a statement up to its first row or its end. A statement that changes rows has changed
    /// them when this returns. If it also delivers rows (RETURNING), it commits at the end of the
    /// walk, where that can still fail: so walk to the end. A run of the statement that is still
    /// under way is abandoned. Throws if the statement belongs to another connection, and if SQLite
    /// fails; the statement is reset then.
    result execute(const std::string& sql);
    result execute(const statement& stmt);

    /// Keeps every other thread from the connection, its statements, results and fields until
    /// `unlock`. It is recursive, and works with std::lock_guard.
    void lock();
    void unlock();

    /// Runs `body` inside a transaction and commits. Inside an open transaction it uses a savepoint
    /// of that. Holds the lock meanwhile. Takes the write lock at once, unless the database is
    /// read-only, so it waits for other writers at its start and not half way. Returns the number
    /// of rows inserted, updated and deleted inside, also by triggers.
    ///
    /// If `body` or the commit throws, everything inside is rolled back, and that exception leaves.
    /// But a commit that fails while it cleans up, with SQLITE_IOERR_UNLOCK, SQLITE_IOERR_TRUNCATE
    /// or SQLITE_IOERR_FSTAT, can have taken effect. Once SQLite has rolled back by itself, for
    /// example because an INSERT was interrupted, `execute` throws SQLITE_ABORT_ROLLBACK until the
    /// outermost transaction ends, so a body that goes on leaves nothing behind. Once a COMMIT or
    /// ROLLBACK in an SQL text has ended the transaction, `execute` throws SQLITE_MISUSE.
    uint32_t as_transaction(const std::function<void(database&)>& body);

    /// Whether SQLite has a transaction open on the connection, whoever began it.
    [[nodiscard]] bool in_transaction() const;

    /// 0 if the connection has inserted no row yet.
    [[nodiscard]] int64_t last_insert_rowid() const;
    /// The size of the database in bytes, as this connection sees it. An authorizer must allow
    /// PRAGMA page_count and page_size.
    [[nodiscard]] size_t size() const;
    /// Rows inserted, updated or deleted by the most recent such statement that ended, without the
    /// changes made by triggers.
    uint32_t changes() const;

    /// Registers a function. It replaces an earlier one of the same name and argument count, also
    /// for statements prepared before. The callback and what it captures are destroyed when the
    /// function is replaced or the connection is closed. Throws if SQLite refuses the function, for
    /// example with SQLITE_BUSY because it would replace one while a statement is running; the
    /// callback is destroyed then. A callback that captures a statement of this connection keeps
    /// the connection open for ever. A callback may throw. Then its statement fails with the
    /// exception's text, and with the code of an `error`, SQLITE_NOMEM for std::bad_alloc, or else
    /// SQLITE_ERROR.
    void add_custom_function(SqliteCustomFunction function);

    /// Sets how many compiled statements the connection keeps for their next use: 0 at first, and
    /// some tens at most are sensible. While this is above 0, a statement whose last holder goes is
    /// reset, its bindings are cleared, and the next `prepare_statement` of the same text takes it.
    /// A kept statement holds no lock and no value. Beyond the capacity the least recently used
    /// ones are finalised. Two statements that are in use never share a compiled one. A PRAGMA is
    /// never kept, because some act when they are compiled, and an EXPLAIN is not, because the plan
    /// may change. What an authorizer allowed or hid when a statement was compiled stays with it.
    void set_statement_cache_capacity(size_t statements);
    /// Does what `prepare_statement` does, but the statement is never kept. This is for a text that
    /// holds a value and will hardly come again: if such texts were kept, they would push out all
    /// others.
    [[nodiscard]] statement prepare_uncached_statement(const std::string& sql) const;

    /// SQLite's own handle, for what SQLite offers and this layer does not wrap. It is valid as
    /// long as this object; do not close it. Transactions that are begun or ended through it are
    /// noticed in the same way as those in SQL texts.
    [[nodiscard]] sqlite3* native_handle() const;

private:
    friend class transaction;

    void close();
    [[nodiscard]] std::shared_ptr<sqlite3_stmt> create_statement(const std::string& sql) const;
    [[nodiscard]] std::shared_ptr<sqlite3_stmt> compile(const std::string& sql, bool keep) const;

    sqlite3* db = nullptr;
    std::recursive_mutex m_mut;
    bool m_in_trans = false;
    std::shared_ptr<detail::connection> m_connection; // the owner of `db`, shared with statements
};

} // namespace sqlite
