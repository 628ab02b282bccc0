#include "base/base.shared/sqlite/row.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <algorithm>
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
    fail_name(column_name);
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

std::vector<size_t> row::positions_of(const std::vector<std::string_view>& column_names) const {
    std::vector<std::string_view> present(column_count());
    for (size_t index = 0; index < present.size(); ++index) {
        present[index] = detail::column_name(stmt.get(), index);
    }
    std::vector<size_t> positions;
    positions.reserve(column_names.size());
    auto place = present.begin(); // most names follow each other as the columns do
    for (const std::string_view name : column_names) {
        place = std::find(place, present.end(), name);
        place = place != present.end() ? place : std::find(present.begin(), present.end(), name);
        if (place == present.end()) {
            fail_name(name);
        }
        positions.push_back(static_cast<size_t>(place - present.begin()));
    }
    return positions;
}

bool row::is_valid_index(const size_t& index) const {
    return index < column_count();
}

void row::fail_name(std::string_view column_name) const {
    throw error(SQLITE_RANGE, "no column '" + std::string(column_name) +
                                  "' in the result of: " + detail::shown(stmt.get()));
}

void row::require_count(const std::vector<size_t>& positions, size_t count) {
    if (positions.size() != count) {
        throw error(SQLITE_MISUSE, "cannot read " + std::to_string(positions.size()) +
                                       " columns into " + std::to_string(count) + " values");
    }
}

std::unique_ptr<sqlite3_mutex, void (*)(sqlite3_mutex*)> row::held_connection() const {
    sqlite3_mutex* mutex = sqlite3_db_mutex(sqlite3_db_handle(stmt.get()));
    sqlite3_mutex_enter(mutex);
    return {mutex, sqlite3_mutex_leave};
}

void row::read_value(size_t position, std::string& value) const {
    detail::read(stmt.get(), position, value);
}

void row::read_value(size_t position, long long& value) const {
    detail::read(stmt.get(), position, value);
}

void row::read_value(size_t position, double& value) const {
    detail::read(stmt.get(), position, value);
}

} // namespace sqlite
