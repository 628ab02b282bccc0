#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace sqlite::detail {

/// The compiled statements that a connection keeps for their next use. Guarded by SQLite's mutex of
/// the connection: hold that for each call. A statement that is reset or finalised can free another
/// one, which is handed back meanwhile (a function that SQL calls may have tied it to its
/// argument).
class statement_cache {
public:
    statement_cache() = default;
    ~statement_cache() { set_capacity(0); }
    statement_cache(const statement_cache&) = delete;
    statement_cache& operator=(const statement_cache&) = delete;

    /// Finalises the least recently used statements beyond the capacity.
    void set_capacity(size_t statements) noexcept;
    /// The statement kept for this text, now the caller's; null if there is none. What stands
    /// behind the `;` of a text does not count, if it is no statement. The cost is linear in the
    /// capacity.
    [[nodiscard]] sqlite3_stmt* take(std::string_view sql) noexcept;
    /// Clears the bindings of a statement that is not running, and keeps it. False if the cache is
    /// off or there is no memory for it.
    [[nodiscard]] bool keep(sqlite3_stmt* stmt) noexcept;

private:
    std::vector<sqlite3_stmt*> m_kept; // the least recently used first
    size_t m_capacity = 0;
};

/// What is behind blanks, comments and semicolons.
[[nodiscard]] std::string_view without_blanks(std::string_view sql);

} // namespace sqlite::detail
