#include "base/base.shared/sqlite/statement.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <limits>
#include <sqlite3.h>

namespace sqlite {

statement::statement(const std::shared_ptr<sqlite3_stmt>& stmt) : stmt(stmt) {}

size_t statement::parameter_count() const {
    return static_cast<size_t>(sqlite3_bind_parameter_count(stmt.get()));
}

void statement::bind(const std::string& name, const char* value) {
    bind(position_of(name), value);
}

std::vector<std::string> statement::column_names() const {
    std::vector<std::string> names(static_cast<size_t>(sqlite3_column_count(stmt.get())));
    for (size_t index = 0; index < names.size(); ++index) {
        names[index] = detail::column_name(stmt.get(), index);
    }
    return names;
}

void statement::clear_bindings() {
    if (stmt != nullptr) {
        detail::abandon_run(stmt.get());
        sqlite3_clear_bindings(stmt.get());
    }
}

void statement::reset() {
    detail::abandon_run(stmt.get());
}

void statement::swap(statement& other) noexcept {
    stmt.swap(other.stmt);
}

std::string_view statement::sql() const {
    const char* text = sqlite3_sql(stmt.get());
    return text != nullptr ? text : "";
}

size_t statement::position_of(const std::string& name) const {
    // SQLite reads the name up to its first NUL, which must not find ":a" for ":a\0b".
    const bool is_whole = name.find('\0') == std::string::npos;
    const int position = is_whole ? sqlite3_bind_parameter_index(stmt.get(), name.c_str()) : 0;
    if (position == 0) {
        throw error(SQLITE_RANGE, "no parameter '" + name + "' in: " + detail::shown(stmt.get()));
    }
    return static_cast<size_t>(position);
}

void statement::bind(size_t position, const char* value) {
    if (value != nullptr) {
        bind_value(position, std::string_view(value));
    } else {
        bind_value(position, nullptr);
    }
}

void statement::bind_no_copy(size_t position, const std::string& value) {
    require_bound(sqlite3_bind_text64(stmt.get(), parameter_at(position), value.data(),
                                      value.size(), SQLITE_STATIC, SQLITE_UTF8),
                  position);
}

void statement::throw_on_bind_error(const int code, const std::string& name) const {
    if (code != SQLITE_OK) {
        detail::fail(nullptr, code, "bind '" + name + "'", detail::shown(stmt.get()));
    }
}

void statement::bind_value(size_t position, long long value) {
    require_bound(sqlite3_bind_int64(stmt.get(), parameter_at(position), value), position);
}

void statement::bind_value(size_t position, double value) {
    require_bound(sqlite3_bind_double(stmt.get(), parameter_at(position), value), position);
}

void statement::bind_value(size_t position, std::string_view value) {
    const char* text = value.data() != nullptr ? value.data() : ""; // or it would be SQL NULL
    require_bound(sqlite3_bind_text64(stmt.get(), parameter_at(position), text, value.size(),
                                      SQLITE_TRANSIENT, SQLITE_UTF8),
                  position);
}

void statement::bind_value(size_t position, std::span<const std::byte> value) {
    const void* bytes = value.empty() ? "" : static_cast<const void*>(value.data());
    require_bound(sqlite3_bind_blob64(stmt.get(), parameter_at(position), bytes, value.size(),
                                      SQLITE_TRANSIENT),
                  position);
}

void statement::bind_unsigned(size_t position, unsigned long long value) {
    bind_value(position, static_cast<long long>(value));
    if (value > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) {
        bind_value(position, nullptr);
        require_bound(SQLITE_RANGE, position);
    }
}

void statement::require_parameters(size_t count) const {
    if (count != parameter_count()) {
        throw error(SQLITE_RANGE, "cannot bind " + std::to_string(count) + " values to " +
                                      std::to_string(parameter_count()) +
                                      " parameters, in: " + detail::shown(stmt.get()));
    }
}

void statement::bind_value(size_t position, std::nullptr_t /*value*/) {
    require_bound(sqlite3_bind_null(stmt.get(), parameter_at(position)), position);
}

/// The position as SQLite takes it, of a statement that is not running any more.
int statement::parameter_at(size_t position) {
    if (position == 0 || position > parameter_count()) {
        throw error(SQLITE_RANGE, "no parameter at position " + std::to_string(position) + " of " +
                                      std::to_string(parameter_count()) +
                                      " in: " + detail::shown(stmt.get()));
    }
    detail::abandon_run(stmt.get());
    return static_cast<int>(position);
}

void statement::require_bound(int code, size_t position) const {
    if (code != SQLITE_OK) {
        const char* name = sqlite3_bind_parameter_name(stmt.get(), static_cast<int>(position));
        throw_on_bind_error(
            code, name != nullptr ? name : std::string("?").append(std::to_string(position)));
    }
}

} // namespace sqlite
