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
    return {stmt, position_of(column_name)};
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

size_t row::position_of(std::string_view column_name, size_t guess) const {
    const size_t count = column_count();
    for (size_t tried = 0; tried < count; ++tried) {
        const size_t position = (guess + tried) % count;
        if (detail::column_name(stmt.get(), position) == column_name) {
            return position;
        }
    }
    throw error(SQLITE_RANGE, "no column '" + std::string(column_name) +
                                  "' in the result of: " + detail::shown(stmt.get()));
}

void row::read(size_t position, std::string& value) const {
    detail::read(stmt.get(), position, value);
}

void row::read(size_t position, long long& value) const {
    detail::read(stmt.get(), position, value);
}

bool row::is_valid_index(const size_t& index) const {
    return index < column_count();
}

} // namespace sqlite
