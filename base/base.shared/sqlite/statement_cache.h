#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace sqlite::detail {

/// The compiled statements that a connection keeps for their next use. Belongs to the `database`;
/// the statements it gave out know it weakly, and finalise themselves once it is gone. Guarded by
/// SQLite's mutex of the connection: hold that for each call.
class statement_cache {
public:
    statement_cache() = default;
    ~statement_cache() { set_capacity(0); }
    statement_cache(const statement_cache&) = delete;
    statement_cache& operator=(const statement_cache&) = delete;

    /// Finalises the least recently used statements beyond the capacity.
    void set_capacity(size_t statements) noexcept;
    /// The statement kept for this text, now the caller's; null if there is none. The cost is
    /// linear in the capacity.
    [[nodiscard]] sqlite3_stmt* take(const std::string& sql) noexcept;
    /// Resets a statement, clears its bindings and keeps it. False, with nothing done, if the cache
    /// is off or there is no memory for it.
    [[nodiscard]] bool keep(sqlite3_stmt* stmt) noexcept;

private:
    std::vector<sqlite3_stmt*> m_kept; // the least recently used first
    size_t m_capacity = 0;
};

/// Shares a compiled statement among its holders. The last one hands it back to the cache.
[[nodiscard]] std::shared_ptr<sqlite3_stmt>
shared_statement(sqlite3_stmt* stmt, const std::shared_ptr<statement_cache>& cache);

} // namespace sqlite::detail
