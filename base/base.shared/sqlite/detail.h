#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_mutex;
struct sqlite3_stmt;

/// What the classes of this layer share among themselves.
namespace sqlite::detail {

/// Holds SQLite's own mutex of a connection while it lives, nothing for a null pointer. The mutex
/// is recursive; every call on the connection or on a statement of it takes the same one.
using connection_hold = std::unique_ptr<sqlite3_mutex, void (*)(sqlite3_mutex*)>;
[[nodiscard]] connection_hold hold(sqlite3* db) noexcept;

/// A statement's text as errors show it: its white space folded, and cut after some 200 bytes.
[[nodiscard]] std::string shown(std::string_view sql);
/// The same for a compiled statement, its parameters unexpanded.
[[nodiscard]] std::string shown(sqlite3_stmt* stmt);

/// Throws `error`: "cannot TRIED: MESSAGE, in: SQL". The message is the connection's if that
/// belongs to `code`, else SQLite's text for the code, as it is without a connection. Hold the
/// connection from the failed call on.
[[noreturn]] void fail(sqlite3* db, int code, const std::string& tried, const std::string& sql);

/// Throws `error` for a position that the statement's rows do not have.
[[noreturn]] void fail_position(sqlite3_stmt* stmt, size_t index);

/// The name of a column, counted from 0. Valid until the statement is finalised or compiled anew.
[[nodiscard]] const char* column_name(sqlite3_stmt* stmt, size_t index);

/// Throws `error` if there is no current row, or if it has no such column.
void require_value(sqlite3_stmt* stmt, size_t index);

/// Ends a run that was abandoned half way. Does nothing for a statement that is not running.
void abandon_run(sqlite3_stmt* stmt) noexcept;

} // namespace sqlite::detail
