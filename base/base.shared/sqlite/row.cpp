#include "base/base.shared/sqlite/row.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <cstring>
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

void row::find_columns(const std::vector<const char*>& names,
                       std::vector<size_t>& positions) const {
    positions.resize(names.size());
    const size_t count = column_count();
    for (size_t i = 0; i < names.size(); ++i) {
        const char* guess = positions[i] < count
                                ? sqlite3_column_name(stmt.get(), static_cast<int>(positions[i]))
                                : nullptr;
        if (guess == nullptr || std::strcmp(guess, names[i]) != 0) {
            positions[i] = position_of(names[i]);
        }
    }
}

bool row::is_valid_index(const size_t& index) const {
    return index < column_count();
}

size_t row::position_of(std::string_view column_name) const {
    const size_t count = column_count();
    size_t found = count;
    for (size_t position = 0; position < count; ++position) {
        const std::string_view name = detail::column_name(stmt.get(), position);
        if (name == column_name) {
            return position;
        }
        const bool is_alike =
            name.size() == column_name.size() &&
            sqlite3_strnicmp(name.data(), column_name.data(), static_cast<int>(name.size())) == 0;
        found = is_alike && found == count ? position : found;
    }
    if (found < count) {
        return found;
    }
    throw error(SQLITE_RANGE, "no column '" + std::string(column_name) +
                                  "' in the result of: " + detail::shown(stmt.get()));
}

void row::read_slots(const std::vector<size_t>& positions, const slot* slots, size_t count) const {
    if (positions.size() != count) {
        throw error(SQLITE_MISUSE, "cannot read " + std::to_string(positions.size()) +
                                       " columns into " + std::to_string(count) + " values");
    }
    const auto held = detail::hold(sqlite3_db_handle(stmt.get()));
    const auto columns = static_cast<size_t>(sqlite3_data_count(stmt.get()));
    for (size_t i = 0; i < count; ++i) {
        if (positions[i] >= columns) {
            detail::require_value(stmt.get(), positions[i]); // throws
        }
        slots[i].read(stmt.get(), positions[i], slots[i].value);
    }
}

} // namespace sqlite
