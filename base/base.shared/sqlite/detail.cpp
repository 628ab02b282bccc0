#include "base/base.shared/sqlite/detail.h"

#include "base/base.shared/sqlite/error.h"

#include <algorithm>
#include <sqlite3.h>

namespace sqlite::detail {

connection_hold hold(sqlite3* db) noexcept {
    connection_hold held(db != nullptr ? sqlite3_db_mutex(db) : nullptr, sqlite3_mutex_leave);
    sqlite3_mutex_enter(held.get()); // does nothing for NULL
    return held;
}

std::string shown(std::string_view sql) {
    constexpr std::string_view white_space = " \t\n\f\r";
    constexpr size_t longest = 200;
    std::string text;
    while (!sql.empty()) {
        const bool is_space = white_space.find(sql.front()) != std::string_view::npos;
        const bool is_character_start = (static_cast<unsigned char>(sql.front()) & 0xc0U) != 0x80U;
        if (text.size() >= longest && (is_character_start || text.size() >= longest + 3)) {
            return text + "...";
        }
        text += is_space ? ' ' : sql.front();
        sql.remove_prefix(is_space ? std::min(sql.find_first_not_of(white_space), sql.size()) : 1);
    }
    return text;
}

std::string shown(sqlite3_stmt* stmt) {
    const char* sql = sqlite3_sql(stmt); // NULL for no statement
    return shown(std::string_view(sql != nullptr ? sql : ""));
}

void fail(sqlite3* db, int code, const std::string& tried, const std::string& sql) {
    const bool message_is_ours = db != nullptr && sqlite3_extended_errcode(db) == code;
    std::string text = "cannot " + tried + ": ";
    text += message_is_ours ? sqlite3_errmsg(db) : sqlite3_errstr(code);
    throw error(code, sql.empty() ? text : text + ", in: " + sql);
}

void fail_position(sqlite3_stmt* stmt, size_t index) {
    throw error(SQLITE_RANGE, "no column at position " + std::to_string(index) + " of " +
                                  std::to_string(sqlite3_column_count(stmt)) +
                                  " in the result of: " + shown(stmt));
}

const char* column_name(sqlite3_stmt* stmt, size_t index) {
    if (index >= static_cast<size_t>(sqlite3_column_count(stmt))) {
        fail_position(stmt, index);
    }
    const char* name = sqlite3_column_name(stmt, static_cast<int>(index));
    if (name == nullptr) {
        fail(nullptr, SQLITE_NOMEM, "read the name of column " + std::to_string(index),
             shown(stmt));
    }
    return name;
}

void require_value(sqlite3_stmt* stmt, size_t index) {
    if (index >= static_cast<size_t>(sqlite3_data_count(stmt))) {
        throw error(SQLITE_RANGE, "no current row to read column '" +
                                      std::string(column_name(stmt, index)) +
                                      "' from, in: " + shown(stmt));
    }
}

void abandon_run(sqlite3_stmt* stmt) noexcept {
    if (sqlite3_stmt_busy(stmt) != 0) {
        sqlite3_reset(stmt);
    }
}

} // namespace sqlite::detail
