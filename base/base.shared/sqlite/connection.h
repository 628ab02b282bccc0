#pragma once

#include "base/base.shared/sqlite/statement_cache.h"
#include "base/base.shared/sqlite/transaction_state.h"

#include <memory>

namespace sqlite::detail {

/// What a `database` shares with its statements and results, which may outlive it. Guarded by
/// SQLite's mutex of the connection.
struct connection {
    explicit connection(sqlite3* db) : transactions(db) {}

    statement_cache statements;
    transaction_state transactions;
};

/// Shares a compiled statement among its holders. The last one hands it back to the cache if it is
/// to be kept.
[[nodiscard]] std::shared_ptr<sqlite3_stmt>
shared_statement(sqlite3_stmt* stmt, const std::shared_ptr<connection>& owner, bool keep);

/// Steps a statement of a connection, which is null for one that was compiled past this layer: true
/// if there is a row. A run that ends or fails is reset at once, so that the statement holds no
/// lock and can be bound again; a failure throws.
bool step(sqlite3_stmt* stmt, connection* owner);

} // namespace sqlite::detail
