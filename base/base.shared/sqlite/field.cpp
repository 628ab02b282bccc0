#include "base/base.shared/sqlite/field.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

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
    if constexpr (std::is_constructible_v<T, std::nullopt_t>) {
        return is_null() ? std::nullopt : std::optional(as<typename T::value_type>());
    } else {
        const detail::connection_hold hold(sqlite3_db_handle(stmt.get()));
        T value{};
        detail::read(stmt.get(), index, value);
        return value;
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

} // namespace sqlite
