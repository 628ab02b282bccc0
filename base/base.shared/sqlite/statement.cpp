#include "base/base.shared/sqlite/statement.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <sqlite3.h>

namespace sqlite {

namespace {

int bind_value(sqlite3_stmt* stmt, int position, const char* value) {
    return sqlite3_bind_text(stmt, position, value, -1, SQLITE_TRANSIENT);
}

int bind_value(sqlite3_stmt* stmt, int position, std::string_view value) {
    return sqlite3_bind_text64(stmt, position, value.data() != nullptr ? value.data() : "",
                               value.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

template <std::integral T>
int bind_value(sqlite3_stmt* stmt, int position, T value) {
    return sqlite3_bind_int64(stmt, position, value);
}

int bind_value(sqlite3_stmt* stmt, int position, double value) {
    return sqlite3_bind_double(stmt, position, value);
}

int bind_value(sqlite3_stmt* stmt, int position, std::nullptr_t /*value*/) {
    return sqlite3_bind_null(stmt, position);
}

/// A text that SQLite does not copy.
struct uncopied {
    const std::string& text;
};

int bind_value(sqlite3_stmt* stmt, int position, uncopied value) {
    return sqlite3_bind_text64(stmt, position, value.text.data(), value.text.size(), SQLITE_STATIC,
                               SQLITE_UTF8);
}

} // namespace

statement::statement(const std::shared_ptr<sqlite3_stmt>& stmt) : stmt(stmt) {}

size_t statement::parameter_count() const {
    return static_cast<size_t>(sqlite3_bind_parameter_count(stmt.get()));
}

void statement::bind(const std::string& name, const char* value) {
    bind(position_of(name), value);
}

template <bindable T>
void statement::bind(const std::string& name, const T& value) {
    bind_at(position_of(name), value);
}

void statement::clear_bindings() {
    if (stmt != nullptr) {
        detail::abandon_run(stmt.get());
        sqlite3_clear_bindings(stmt.get());
    }
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
    bind_at(position, value);
}

template <bindable T>
void statement::bind(size_t position, const T& value) {
    bind_at(position, value);
}

void statement::bind_no_copy(size_t position, const std::string& value) {
    bind_at(position, uncopied{value});
}

void statement::throw_on_bind_error(const int code, const std::string& name) const {
    if (code != SQLITE_OK) {
        detail::fail(nullptr, code, "bind '" + name + "'", detail::shown(stmt.get()));
    }
}

template <typename T>
void statement::bind_at(size_t position, const T& value) {
    if (position == 0 || position > parameter_count()) {
        throw error(SQLITE_RANGE, "no parameter at position " + std::to_string(position) + " of " +
                                      std::to_string(parameter_count()) +
                                      " in: " + detail::shown(stmt.get()));
    }
    detail::abandon_run(stmt.get());
    const int code = bind_value(stmt.get(), static_cast<int>(position), value);
    if (code != SQLITE_OK) {
        const char* name = sqlite3_bind_parameter_name(stmt.get(), static_cast<int>(position));
        throw_on_bind_error(
            code, name != nullptr ? name : std::string("?").append(std::to_string(position)));
    }
}

template void statement::bind(const std::string&, const std::string&);
template void statement::bind(const std::string&, const std::string_view&);
template void statement::bind(const std::string&, const int&);
template void statement::bind(const std::string&, const unsigned int&);
template void statement::bind(const std::string&, const long&);
template void statement::bind(const std::string&, const long long&);
template void statement::bind(const std::string&, const double&);
template void statement::bind(const std::string&, const bool&);
template void statement::bind(const std::string&, const std::nullptr_t&);
template void statement::bind(size_t, const std::string&);
template void statement::bind(size_t, const std::string_view&);
template void statement::bind(size_t, const int&);
template void statement::bind(size_t, const unsigned int&);
template void statement::bind(size_t, const long&);
template void statement::bind(size_t, const long long&);
template void statement::bind(size_t, const double&);
template void statement::bind(size_t, const bool&);
template void statement::bind(size_t, const std::nullptr_t&);

} // namespace sqlite
