#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <sqlite3.h>

namespace sqlite {

field::field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index)
    : stmt(stmt), index(index) {}

bool field::is_null() const {
    require_value();
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
    return read<std::string>();
}

template <>
unsigned int field::as<unsigned int>() const {
    return read<unsigned int>();
}

template <>
long long field::as<long long>() const {
    return read<long long>();
}

template <typename T>
T field::read() const {
    require_value();
    const detail::connection_hold hold(sqlite3_db_handle(stmt.get()));
    T value;
    detail::read(stmt.get(), static_cast<int>(index), value);
    return value;
}

void field::require_value() const {
    if (index >= static_cast<size_t>(sqlite3_data_count(stmt.get()))) {
        throw error(SQLITE_RANGE, "no current row to read column '" + column_name() +
                                      "' from, in: " + std::string(detail::sql_of(stmt.get())));
    }
}

} // namespace sqlite
