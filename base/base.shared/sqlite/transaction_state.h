#pragma once

struct sqlite3;

namespace sqlite {
class transaction;
}

namespace sqlite::detail {

/// The open transactions of a connection. What is open is asked of SQLite; this knows only what
/// SQLite does not tell later. Guarded by SQLite's mutex of the connection: hold that for each
/// call.
class transaction_state {
public:
    explicit transaction_state(sqlite3* db) : m_db(db) {}

    /// Whether SQLite has a transaction open, one of an SQL text included.
    [[nodiscard]] bool is_open() const noexcept;
    /// Throws `error` if an object of the class `transaction` is open and SQLite's transaction is
    /// not. Pays an owed rollback first, and throws if SQLite cannot roll back yet.
    void require_intact();
    /// Notes that SQLite has rolled back by itself, because a statement failed.
    void note_rollback() noexcept { m_is_rolled_back = true; }
    /// Tries again what `roll_back` could not do. Returns SQLite's code if a rollback is still
    /// owed, else SQLITE_OK.
    int pay_rollback() noexcept;
    /// Owes nothing any more, since the connection is being closed, which rolls back.
    void close() noexcept { m_owes_rollback = false; }

private:
    friend class sqlite::transaction;

    void roll_back() noexcept;

    sqlite3* m_db;
    transaction* m_innermost =
        nullptr;                   // of the open objects, each of which knows the one around it
    bool m_is_rolled_back = false; // SQLite has, by itself, while one of them was open
    bool m_owes_rollback = false;  // SQLite could not when it should have
};

} // namespace sqlite::detail
