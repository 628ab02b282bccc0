#pragma once

#include "base/base.shared/sqlite/database.h"

#include <cstdint>
#include <mutex>

namespace sqlite {

/// When a transaction takes its locks.
enum class begin_mode {
    immediate, ///< the write lock at its start, for which it waits; unless the database is
               ///< read-only
    /// None at its start. What is read is of one moment, that of the first read. The first write
    /// takes the write lock, and throws SQLITE_BUSY at once if another connection has written
    /// since.
    deferred,
};

/// A transaction that lives in a scope; inside an open transaction, a savepoint of it.
///
/// Once an immediate one has the write lock it waits for nobody before its commit: the busy
/// time-out is 0 inside. Otherwise, once it outgrows SQLite's page cache while another connection
/// reads, each further page would wait it out; so the cache grows until the reader has ended. A
/// time-out that is set inside stays. So does a busy handler that was set before through SQLite's
/// own interface; one that is set inside is lost at the end, because SQLite does not tell it from
/// the time-out 0. Under an authorizer that denies PRAGMA busy_timeout the time-out stays as it is.
///
/// Holds the connection's lock until it has ended, on the thread that made it. It ends by `commit`,
/// `rollback` or its destructor. One that is rolled back takes those inside of it with it: they are
/// over then.
class transaction {
public:
    /// Throws `error` if it cannot begin, and after SQLite's transaction around it has ended.
    /// Inside an open transaction the mode does not matter.
    explicit transaction(database& db, begin_mode mode = begin_mode::immediate);
    transaction(const transaction&) = delete;
    transaction& operator=(const transaction&) = delete;
    /// Rolls back what was not committed.
    ~transaction();

    /// Throws `error` if the transaction is over, if one that was begun inside it is still open, if
    /// SQLite has rolled back by itself (SQLITE_ABORT_ROLLBACK), if an SQL text has ended the
    /// transaction (SQLITE_MISUSE), and if SQLite cannot commit: then it is still open, and can be
    /// committed later if the reason was a reader (SQLITE_BUSY) or an interrupt. See
    /// `database::as_transaction` for commits that fail after their effect.
    void commit();
    /// Undoes everything inside. Does nothing if the transaction is over. A savepoint that SQLite
    /// cannot undo takes the whole transaction with it. If SQLite cannot even roll that back (it
    /// lacks the memory, or a walk around the transaction was interrupted), the connection does so
    /// once a statement of it ends, and before it runs anything else.
    void rollback() noexcept;

    /// Whether it has ended.
    [[nodiscard]] bool is_over() const { return !m_lock.owns_lock(); }
    /// Whether it has not ended, and SQLite has it open as well.
    [[nodiscard]] bool is_open() const;
    /// Whether it has not ended, and no transaction that was begun inside it is open.
    [[nodiscard]] bool is_innermost() const;

    /// Rows inserted, updated and deleted inside until its end, less those that nested ones rolled
    /// back.
    [[nodiscard]] uint32_t changes() const;

private:
    void set_busy_timeout_back() noexcept;
    void end() noexcept;

    std::unique_lock<database> m_lock; // held until the end
    database& m_db;
    detail::connection& m_connection;
    transaction* m_outer; // the object around it
    uint32_t m_level = 0; // of the savepoint, 0 for a transaction
    uint32_t m_changes_before = 0;
    uint32_t m_changes = 0; // known at the end
    int m_busy_timeout = 0; // in ms: what to give back to the connection, 0 for nothing
};

} // namespace sqlite
