#include "base/base.shared/sqlite/detail.h"

#include "base/base.shared/sqlite/error.h"

#include <sqlite3.h>

namespace sqlite::detail {

connection_hold::connection_hold(sqlite3* db) noexcept : m_db(db) {
    sqlite3_mutex_enter(sqlite3_db_mutex(m_db));
}

connection_hold::~connection_hold() {
    sqlite3_mutex_leave(sqlite3_db_mutex(m_db));
}

void fail(sqlite3* db, int code, const std::string& tried, std::string_view sql) {
    const bool message_is_ours = db != nullptr && sqlite3_extended_errcode(db) == code;
    std::string text = "cannot " + tried + ": ";
    text += message_is_ours ? sqlite3_errmsg(db) : sqlite3_errstr(code);
    if (!sql.empty()) {
        text.append(", in: ").append(sql);
    }
    throw error(code, text);
}

std::string_view sql_of(sqlite3_stmt* stmt) noexcept {
    const char* text = sqlite3_sql(stmt);
    return text != nullptr ? text : std::string_view();
}

void fail_position(sqlite3_stmt* stmt, size_t index) {
    throw error(SQLITE_RANGE, "no column at position " + std::to_string(index) + " of " +
                                  std::to_string(sqlite3_column_count(stmt)) +
                                  " in the result of: " + std::string(sql_of(stmt)));
}

std::string_view column_name(sqlite3_stmt* stmt, size_t index) {
    if (index >= static_cast<size_t>(sqlite3_column_count(stmt))) {
        fail_position(stmt, index);
    }
    const char* name = sqlite3_column_name(stmt, static_cast<int>(index));
    if (name == nullptr) {
        fail(nullptr, SQLITE_NOMEM, "read the name of column " + std::to_string(index),
             sql_of(stmt));
    }
    return name;
}

int bind(sqlite3_stmt* stmt, int index, const char* value) noexcept {
    return sqlite3_bind_text(stmt, index, value, -1, SQLITE_TRANSIENT);
}

int bind(sqlite3_stmt* stmt, int index, const std::string& value) noexcept {
    return sqlite3_bind_text64(stmt, index, value.data(), value.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
}

int bind(sqlite3_stmt* stmt, int index, unsigned int value) noexcept {
    return sqlite3_bind_int64(stmt, index, value);
}

int bind(sqlite3_stmt* stmt, int index, long long value) noexcept {
    return sqlite3_bind_int64(stmt, index, value);
}

int bind_in_place(sqlite3_stmt* stmt, int index, const std::string& value) noexcept {
    return sqlite3_bind_text64(stmt, index, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
}

int first_of_numbered(sqlite3_stmt* stmt, std::string_view list, size_t count) {
    // Positions go by first appearance: none of the names may stand in the text before the list.
    const std::string_view sql = sql_of(stmt);
    const size_t first_name = sql.find(":param");
    if (first_name == std::string_view::npos || first_name < 2 ||
        !sql.substr(first_name - 2).starts_with(list)) {
        return 0;
    }
    const std::string last_name = std::string(":param").append(std::to_string(count - 1));
    const int first = sqlite3_bind_parameter_index(stmt, ":param0");
    const int last = sqlite3_bind_parameter_index(stmt, last_name.c_str());
    return last - first == static_cast<int>(count) - 1 ? first : 0;
}

void fail_bind(sqlite3_stmt* stmt, int code, const std::string& name) {
    fail(nullptr, code, "bind '" + name + "'", sql_of(stmt));
}

void read(sqlite3_stmt* stmt, int column, std::string& value) {
    // One call that takes SQLite's mutex instead of two; the value is safe while that is held.
    sqlite3_value* cell = sqlite3_column_value(stmt, column);
    const int type = sqlite3_value_type(cell); // asked before a failed conversion can leave NULL
    if (type == SQLITE_NULL) {
        value.clear();
        return;
    }
    const unsigned char* text = sqlite3_value_text(cell);
    if (text == nullptr) {
        (void)sqlite3_column_type(stmt, column); // SQLite gives no name before it notes the failure
        fail(nullptr, SQLITE_NOMEM,
             "read column '" + std::string(column_name(stmt, static_cast<size_t>(column))) + "'",
             sql_of(stmt));
    }
    value.assign(reinterpret_cast<const char*>(text),
                 static_cast<size_t>(sqlite3_value_bytes(cell)));
}

void read(sqlite3_stmt* stmt, int column, unsigned int& value) {
    value = static_cast<unsigned int>(sqlite3_column_int64(stmt, column));
}

void read(sqlite3_stmt* stmt, int column, long long& value) {
    value = sqlite3_column_int64(stmt, column);
}

bool step(sqlite3_stmt* stmt) {
    sqlite3* db = sqlite3_db_handle(stmt);
    const connection_hold hold(db);
    const int code = sqlite3_step(stmt);
    if (code == SQLITE_ROW) {
        return true;
    }
    sqlite3_reset(stmt);
    if (code != SQLITE_DONE) {
        fail(db, code, "execute", sql_of(stmt));
    }
    return false;
}

void abandon_run(sqlite3_stmt* stmt) noexcept {
    if (sqlite3_stmt_busy(stmt) != 0) {
        sqlite3_reset(stmt);
    }
}

} // namespace sqlite::detail
