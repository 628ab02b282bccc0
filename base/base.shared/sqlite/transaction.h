#pragma once

#include "base/base.shared/sqlite/database.h"

#include <cstdint>
#include <mutex>

namespace sqlite {

/// A transaction that lives in a scope; inside an open transaction, a savepoint of it.
///
/// Once it has the write lock it waits for nobody before its commit: the busy time-out is 0 inside.
/// Otherwise, once it outgrows SQLite's page cache while another connection reads, each further
/// page would wait it out; so the cache grows until the reader has ended. A busy handler that was
/// set through SQLite's own interface is left alone.
///
/// Holds the connection's lock until it is destroyed, on the thread that made it. A nested one is
/// ended before the one around it. What was not committed is rolled back.
class transaction {
public:
    /// Begins, with the write lock unless the database is read-only. Throws `error` if it cannot,
    /// and after SQLite has rolled back the transaction around it.
    explicit transaction(database& db);
    transaction(const transaction&) = delete;
    transaction& operator=(const transaction&) = delete;
    ~transaction();

    /// Throws `error` if SQLite cannot commit or has rolled back already, if the transaction is
    /// over, or if one that was begun inside it is still open. It throws SQLITE_BUSY if another
    /// connection reads for longer than the busy time-out; then the transaction is still open, and
    /// can be committed later. The destructor rolls back what was not committed. See
    /// `database::as_transaction` for commits that fail after their effect.
    void commit();
    /// Undoes everything inside. Does nothing after it, or after a commit, or if SQLite has rolled
    /// back by itself. A savepoint that SQLite cannot undo takes the whole transaction with it. If
    /// SQLite lacks even the memory for that, the connection rolls back before it runs anything
    /// else.
    void rollback() noexcept;

    /// Whether it is open, and no transaction that was begun inside it is.
    [[nodiscard]] bool is_innermost() const;

    /// Rows inserted, updated and deleted inside so far, less those that nested ones rolled back.
    [[nodiscard]] uint32_t changes() const;

private:
    void wait_for_others_again() noexcept;
    void end() noexcept;

    std::unique_lock<database> m_lock;
    database& m_db;
    bool m_nested = false; // a savepoint
    bool m_open = true;
    uint32_t m_level = 0; // 1 for the outermost object
    uint32_t m_changes_before = 0;
    int m_busy_timeout = 0; // in ms: what to give back to the connection, 0 for nothing
};

} // namespace sqlite
