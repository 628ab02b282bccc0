#include "base/base.shared/sqlite/row.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <sqlite3.h>

namespace sqlite {

row::row(const std::shared_ptr<sqlite3_stmt>& stmt) : stmt(stmt) {}

size_t row::column_count() const {
    return static_cast<size_t>(sqlite3_column_count(stmt.get()));
}

field row::operator[](const std::string& column_name) const {
    const size_t count = column_count();
    for (size_t index = 0; index < count; ++index) {
        if (detail::column_name(stmt.get(), index) == column_name) {
            return {stmt, index};
        }
    }
    throw error(SQLITE_RANGE, "no column '" + column_name +
                                  "' in the result of: " + std::string(detail::sql_of(stmt.get())));
}

field row::operator[](const size_t& index) const {
    if (!is_valid_index(index)) {
        detail::fail_position(stmt.get(), index);
    }
    return {stmt, index};
}

void row::swap(row& other) noexcept {
    stmt.swap(other.stmt);
}

bool row::is_valid_index(const size_t& index) const {
    return index < column_count();
}

} // namespace sqlite
