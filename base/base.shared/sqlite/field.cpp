#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

static_assert(value_type{SQLITE_INTEGER} == value_type::integer &&
              value_type{SQLITE_FLOAT} == value_type::real &&
              value_type{SQLITE_TEXT} == value_type::text &&
              value_type{SQLITE_BLOB} == value_type::blob);

namespace {

[[noreturn]] void fail_conversion(sqlite3_stmt* stmt, size_t index) {
    // SQLite gives no name before a call on the statement has noted the failure.
    (void)sqlite3_column_type(stmt, static_cast<int>(index));
    detail::fail(nullptr, SQLITE_NOMEM,
                 "read column '" + std::string(detail::column_name(stmt, index)) + "'",
                 detail::shown(stmt));
}

} // namespace

field::field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index)
    : stmt(stmt), index(index) {}

bool field::is_null() const {
    return type() == value_type::null;
}

field::operator bool() const {
    return !is_null();
}

value_type field::type() const {
    detail::require_value(stmt.get(), index);
    return static_cast<value_type>(sqlite3_column_type(stmt.get(), static_cast<int>(index)));
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

std::string_view field::text_at(sqlite3_stmt* stmt, size_t index) {
    // One call that takes SQLite's mutex instead of two.
    sqlite3_value* cell = sqlite3_column_value(stmt, static_cast<int>(index));
    const int type = sqlite3_value_type(cell); // asked before a failed conversion can leave NULL
    if (type == SQLITE_NULL) {
        return {};
    }
    const unsigned char* text = sqlite3_value_text(cell);
    if (text == nullptr) {
        fail_conversion(stmt, index);
    }
    return {reinterpret_cast<const char*>(text), static_cast<size_t>(sqlite3_value_bytes(cell))};
}

std::span<const std::byte> field::bytes_at(sqlite3_stmt* stmt, size_t index) {
    const auto column = static_cast<int>(index);
    const void* bytes = sqlite3_column_blob(stmt, column); // null for an empty blob as well
    if (bytes == nullptr && sqlite3_errcode(sqlite3_db_handle(stmt)) == SQLITE_NOMEM) {
        fail_conversion(stmt, index);
    }
    return {static_cast<const std::byte*>(bytes),
            static_cast<size_t>(sqlite3_column_bytes(stmt, column))};
}

void field::read(reader read_value, void* value) const {
    const auto held = detail::hold(sqlite3_db_handle(stmt.get()));
    detail::require_value(stmt.get(), index);
    read_value(stmt.get(), index, value);
}

} // namespace sqlite
