#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

field::field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index)
    : stmt(stmt), index(index) {}

bool field::is_null() const {
    detail::require_value(stmt.get(), index);
    return sqlite3_column_type(stmt.get(), static_cast<int>(index)) == SQLITE_NULL;
}

field::operator bool() const {
    return !is_null();
}

std::string field::column_name() const {
    return std::string(detail::column_name(stmt.get(), index));
}

template <>
std::string field::as<std::string>() const {
    const detail::connection_hold hold(sqlite3_db_handle(stmt.get()));
    std::string value;
    detail::read(stmt.get(), index, value);
    return value;
}

template <>
long long field::as<long long>() const {
    long long value = 0;
    detail::read(stmt.get(), index, value);
    return value;
}

template <>
unsigned int field::as<unsigned int>() const {
    return static_cast<unsigned int>(as<long long>());
}

} // namespace sqlite
