#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

namespace {

void read_text(sqlite3_stmt* stmt, size_t index, std::string& value) {
    // One call that takes SQLite's mutex instead of two.
    sqlite3_value* cell = sqlite3_column_value(stmt, static_cast<int>(index));
    const int type = sqlite3_value_type(cell); // asked before a failed conversion can leave NULL
    if (type == SQLITE_NULL) {
        value.clear();
        return;
    }
    const unsigned char* text = sqlite3_value_text(cell);
    if (text == nullptr) {
        // SQLite gives no name before a call on the statement has noted the failure.
        (void)sqlite3_column_type(stmt, static_cast<int>(index));
        detail::fail(nullptr, SQLITE_NOMEM,
                     "read column '" + std::string(detail::column_name(stmt, index)) + "'",
                     detail::shown(stmt));
    }
    value.assign(reinterpret_cast<const char*>(text),
                 static_cast<size_t>(sqlite3_value_bytes(cell)));
}

} // namespace

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
    return detail::column_name(stmt.get(), index);
}

template <readable T>
T field::as() const {
    const detail::connection_hold hold(sqlite3_db_handle(stmt.get()));
    detail::require_value(stmt.get(), index);
    T value{};
    read_into<T>(stmt.get(), index, &value);
    return value;
}

/// Reads a column that the current row has into a value of type T. Hold the connection.
template <readable T>
void field::read_into(sqlite3_stmt* stmt, size_t index, void* value) {
    T& target = *static_cast<T*>(value);
    const int column = static_cast<int>(index);
    if constexpr (std::is_constructible_v<T, std::nullopt_t>) {
        target.reset();
        if (sqlite3_column_type(stmt, column) != SQLITE_NULL) {
            read_into<typename T::value_type>(stmt, index, &target.emplace());
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        read_text(stmt, index, target);
    } else if constexpr (std::is_same_v<T, double>) {
        target = sqlite3_column_double(stmt, column);
    } else {
        target = static_cast<T>(sqlite3_column_int64(stmt, column));
    }
}

template std::string field::as() const;
template int field::as() const;
template unsigned int field::as() const;
template long field::as() const;
template long long field::as() const;
template double field::as() const;
template bool field::as() const;
template std::optional<std::string> field::as() const;
template std::optional<int> field::as() const;
template std::optional<unsigned int> field::as() const;
template std::optional<long> field::as() const;
template std::optional<long long> field::as() const;
template std::optional<double> field::as() const;
template std::optional<bool> field::as() const;
template void field::read_into<std::string>(sqlite3_stmt*, size_t, void*);
template void field::read_into<int>(sqlite3_stmt*, size_t, void*);
template void field::read_into<unsigned int>(sqlite3_stmt*, size_t, void*);
template void field::read_into<long>(sqlite3_stmt*, size_t, void*);
template void field::read_into<long long>(sqlite3_stmt*, size_t, void*);
template void field::read_into<double>(sqlite3_stmt*, size_t, void*);
template void field::read_into<bool>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<std::string>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<int>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<unsigned int>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<long>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<long long>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<double>>(sqlite3_stmt*, size_t, void*);
template void field::read_into<std::optional<bool>>(sqlite3_stmt*, size_t, void*);

} // namespace sqlite
