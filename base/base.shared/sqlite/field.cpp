#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

field::field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index)
    : stmt(stmt), index(index) {}

bool field::is_null() const {
    detail::require_value(stmt.get(), index);
    return is_null_at(stmt.get(), index);
}

field::operator bool() const {
    return !is_null();
}

std::string field::column_name() const {
    return detail::column_name(stmt.get(), index);
}

bool field::is_null_at(sqlite3_stmt* stmt, size_t index) {
    return sqlite3_column_type(stmt, static_cast<int>(index)) == SQLITE_NULL;
}

long long field::integer_at(sqlite3_stmt* stmt, size_t index) {
    return sqlite3_column_int64(stmt, static_cast<int>(index));
}

double field::real_at(sqlite3_stmt* stmt, size_t index) {
    return sqlite3_column_double(stmt, static_cast<int>(index));
}

void field::read_text(sqlite3_stmt* stmt, size_t index, std::string& value) {
    // One call that takes SQLite's mutex instead of two.
    sqlite3_value* cell = sqlite3_column_value(stmt, static_cast<int>(index));
    const int type = sqlite3_value_type(cell); // asked before a failed conversion can leave NULL
    if (type == SQLITE_NULL) {
        value.clear();
        return;
    }
    const unsigned char* text = sqlite3_value_text(cell);
    if (text == nullptr) {
        // SQLite gives no name before a call on the statement has noted the failure.
        (void)sqlite3_column_type(stmt, static_cast<int>(index));
        detail::fail(nullptr, SQLITE_NOMEM,
                     "read column '" + std::string(detail::column_name(stmt, index)) + "'",
                     detail::shown(stmt));
    }
    value.assign(reinterpret_cast<const char*>(text),
                 static_cast<size_t>(sqlite3_value_bytes(cell)));
}

void field::read(reader read_value, void* value) const {
    const auto held = detail::hold(sqlite3_db_handle(stmt.get()));
    detail::require_value(stmt.get(), index);
    read_value(stmt.get(), index, value);
}

} // namespace sqlite
