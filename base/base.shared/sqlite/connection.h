#pragma once

#include "base/base.shared/sqlite/statement_cache.h"

#include <memory>

namespace sqlite {
class transaction;
}

namespace sqlite::detail {

/// An open connection. A `database` shares it with its statements, and the last of them closes it.
/// Of its transactions it knows only what SQLite does not tell later. Guarded by SQLite's mutex of
/// the connection: hold that for each call.
struct connection {
    connection() = default;
    ~connection();
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    /// Whether SQLite has a transaction open, one of an SQL text included.
    [[nodiscard]] bool has_transaction() const noexcept;
    /// Throws `error` if an object of the class `transaction` is open and SQLite's transaction is
    /// not. Pays an owed rollback first, and throws if SQLite cannot roll back yet.
    void require_intact();
    /// Rolls back, or owes it if SQLite cannot.
    void roll_back() noexcept;
    /// Tries again what `roll_back` could not do. Returns SQLite's code if a rollback is still
    /// owed, else SQLITE_OK.
    int pay_rollback() noexcept;

    sqlite3* db = nullptr;
    statement_cache statements;
    transaction* innermost = nullptr; // of the open objects, each of which knows the one around it
    bool is_rolled_back = false;      // SQLite has, by itself, while one of them was open
    bool owes_rollback = false;       // SQLite could not when it should have
};

/// Shares a compiled statement among its holders. The last one hands it back to the cache if it is
/// to be kept.
[[nodiscard]] std::shared_ptr<sqlite3_stmt>
shared_statement(sqlite3_stmt* stmt, const std::shared_ptr<connection>& owner, bool keep);

/// Steps a statement: true if there is a row. A run that ends or fails is reset at once, so that
/// the statement holds no lock and can be bound again; a failure throws.
bool step(const std::shared_ptr<sqlite3_stmt>& stmt);

} // namespace sqlite::detail
