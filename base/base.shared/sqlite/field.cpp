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
    if (is_null()) { // asked first: a conversion that finds no memory leaves NULL behind
        return {};
    }
    const int column = static_cast<int>(index);
    const unsigned char* text = sqlite3_column_text(stmt.get(), column);
    if (text == nullptr) {
        detail::fail(nullptr, SQLITE_NOMEM, "read column '" + column_name() + "'",
                     detail::sql_of(stmt.get()));
    }
    const auto size = static_cast<size_t>(sqlite3_column_bytes(stmt.get(), column));
    return {reinterpret_cast<const char*>(text), size};
}

template <>
unsigned int field::as<unsigned int>() const {
    return static_cast<unsigned int>(as<long long>());
}

template <>
long long field::as<long long>() const {
    require_value();
    return sqlite3_column_int64(stmt.get(), static_cast<int>(index));
}

void field::require_value() const {
    if (index >= static_cast<size_t>(sqlite3_data_count(stmt.get()))) {
        throw error(SQLITE_RANGE, "no current row to read column '" + column_name() +
                                      "' from, in: " + std::string(detail::sql_of(stmt.get())));
    }
}

} // namespace sqlite
