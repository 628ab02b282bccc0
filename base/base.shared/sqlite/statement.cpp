#include "base/base.shared/sqlite/statement.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <cstring>
#include <sqlite3.h>

namespace sqlite {

statement::statement(const std::shared_ptr<sqlite3_stmt>& stmt) : stmt(stmt) {}

size_t statement::parameter_count() const {
    return static_cast<size_t>(sqlite3_bind_parameter_count(stmt.get()));
}

void statement::bind(const std::string& name, const char* value) {
    throw_on_bind_error(detail::bind(stmt.get(), parameter_index(name), value), name);
}

template <>
void statement::bind(const std::string& name, const std::string& value) {
    throw_on_bind_error(detail::bind(stmt.get(), parameter_index(name), value), name);
}

template <>
void statement::bind(const std::string& name, const unsigned int& value) {
    throw_on_bind_error(detail::bind(stmt.get(), parameter_index(name), value), name);
}

template <>
void statement::bind(const std::string& name, const long long& value) {
    throw_on_bind_error(detail::bind(stmt.get(), parameter_index(name), value), name);
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

void statement::throw_on_bind_error(const int code, const std::string& name) const {
    if (code != SQLITE_OK) {
        detail::fail_bind(stmt.get(), code, name);
    }
}

int statement::parameter_index(const std::string& name) const {
    // SQLite reads the name up to its first NUL, which must not find ":a" for ":a\0b".
    const bool whole = std::strlen(name.c_str()) == name.size();
    const int index = whole ? sqlite3_bind_parameter_index(stmt.get(), name.c_str()) : 0;
    if (index == 0) {
        throw error(SQLITE_RANGE,
                    "no parameter '" + name + "' in: " + std::string(detail::sql_of(stmt.get())));
    }
    detail::abandon_run(stmt.get());
    return index;
}

} // namespace sqlite
