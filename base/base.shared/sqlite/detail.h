#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// What the classes of this layer share among themselves. Not for use outside of it.
namespace sqlite::detail {

/// Holds SQLite's own mutex of a connection while it lives. The mutex is recursive; every call on
/// the connection or on a statement of it takes the same one.
class connection_hold {
public:
    explicit connection_hold(sqlite3* db) noexcept;
    ~connection_hold();
    connection_hold(const connection_hold&) = delete;
    connection_hold& operator=(const connection_hold&) = delete;

private:
    sqlite3* m_db;
};

/// Throws `error`: "cannot TRIED: MESSAGE, in: SQL". The message is the connection's if that
/// belongs to `code`, else SQLite's text for the code, as it is without a connection. Hold the
/// connection from the failed call on.
[[noreturn]] void fail(sqlite3* db, int code, const std::string& tried, std::string_view sql);

/// The statement's text as it was prepared, parameters unexpanded.
[[nodiscard]] std::string_view sql_of(sqlite3_stmt* stmt) noexcept;

/// Throws `error` for a position that the statement's rows do not have.
[[noreturn]] void fail_position(sqlite3_stmt* stmt, size_t index);

/// The name of a column, counted from 0. Valid until the statement is finalised or compiled anew.
[[nodiscard]] std::string_view column_name(sqlite3_stmt* stmt, size_t index);

/// Bind to the parameter at a position, counted from 1, and give SQLite's result code. A text bound
/// in place is not copied: it must stay as it is until the statement has run.
int bind(sqlite3_stmt* stmt, int index, const char* value) noexcept;
int bind(sqlite3_stmt* stmt, int index, const std::string& value) noexcept;
int bind(sqlite3_stmt* stmt, int index, unsigned int value) noexcept;
int bind(sqlite3_stmt* stmt, int index, long long value) noexcept;
int bind_in_place(sqlite3_stmt* stmt, int index, const std::string& value) noexcept;

/// The position of ":param0" if the parameters ":param0", ":param1" and so on, `count` of them,
/// follow each other in the statement because its text holds `list`, where they first appear; else
/// 0.
int first_of_numbered(sqlite3_stmt* stmt, std::string_view list, size_t count);

/// Throws `error` for a failed bind.
[[noreturn]] void fail_bind(sqlite3_stmt* stmt, int code, const std::string& name);

/// Reads a column of the current row, which must be there, as `field::as` promises. Hold the
/// connection. Out parameters let a record keep the memory of its texts.
void read(sqlite3_stmt* stmt, int column, std::string& value);
void read(sqlite3_stmt* stmt, int column, unsigned int& value);
void read(sqlite3_stmt* stmt, int column, long long& value);

/// Steps a statement: true if there is a row. A run that ends or fails is reset at once, so that
/// the statement holds no lock and can be bound again; a failure throws.
bool step(sqlite3_stmt* stmt);

/// Ends a run that was abandoned half way. Does nothing for a statement that is not running.
void abandon_run(sqlite3_stmt* stmt) noexcept;

/// The handle of an object of this layer, for callers that look positions up once for many rows.
struct access {
    template <typename T>
    static sqlite3_stmt* handle(const T& object) {
        return object.stmt.get();
    }
};

} // namespace sqlite::detail
