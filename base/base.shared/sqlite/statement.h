#pragma once

#include "base/base.shared/sqlite/field.h"

#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace sqlite {

/// What can be bound: texts, blobs, numbers, and SQL NULL as nullptr or an empty `std::optional`.
template <typename T>
concept bindable = readable<T> || one_of<T, std::span<const std::byte>, std::nullptr_t>;

/// A compiled SQL statement, made by `database::prepare_statement`.
///
/// Copies share the compiled statement and its bindings. It is finalised with the last statement,
/// result, iterator, row or field that holds it; these may outlive the `database`. It can be bound
/// and executed again after a run, whether that ended, failed or was abandoned half way. Binding
/// ends a run that is under way, and its results are at their end then. One statement serves one
/// thread at a time.
class statement {
public:
    explicit statement(const std::shared_ptr<sqlite3_stmt>& stmt);

    /// The largest position of a parameter: a name that is used twice counts once, and `?3` alone
    /// gives 3.
    [[nodiscard]] size_t parameter_count() const;
    /// The names of the columns that the statement delivers, which may be none. Also before it
    /// runs.
    [[nodiscard]] std::vector<std::string> column_names() const;

    /// Binds a copy of `value` to the parameter with this name, which includes the prefix
    /// (":user_id"). A value stays bound after the statement has run. A parameter that was never
    /// bound is SQL NULL. A text is bound by its length, NUL bytes included; only a `const char*`
    /// ends at its first NUL, and a null pointer binds SQL NULL. A type that is not `bindable` does
    /// not compile. Throws `error` if there is no such parameter, if a text is longer than
    /// SQLite's limit (a billion bytes), and with SQLITE_RANGE if a number does not fit into 64
    /// bits with sign; what SQLite has refused is SQL NULL then. The cost of finding a name is
    /// linear in the number of parameters.
    void bind(const std::string& name, const char* value);
    template <bindable T>
    void bind(const std::string& name, const T& value) {
        bind(position_of(name), value);
    }

    /// The position of a parameter, for `bind` by position. Positions count from 1, in the order in
    /// which the parameters first appear. Throws `error` if there is no such parameter.
    [[nodiscard]] size_t position_of(const std::string& name) const;
    /// Binds to the parameter at a position, which may have no name (`?`). Otherwise it does
    /// what `bind` by name does, for the same types. Throws `error` if there is no such position.
    void bind(size_t position, const char* value);
    template <bindable T>
    void bind(size_t position, const T& value) {
        if constexpr (one_of<T, unsigned long, unsigned long long>) {
            bind_unsigned(position, value);
        } else if constexpr (std::integral<T>) {
            bind_value(position, static_cast<long long>(value));
        } else if constexpr (std::is_constructible_v<T, std::nullopt_t>) {
            if (value.has_value()) {
                bind(position, *value);
            } else {
                bind_value(position, nullptr);
            }
        } else {
            bind_value(position, value);
        }
    }
    /// Binds all parameters, in the order of their positions. Throws `error` if there are more or
    /// fewer; then nothing is bound.
    template <typename... T>
    void bind_all(const T&... values) {
        require_parameters(sizeof...(values));
        size_t position = 0;
        (bind(++position, values), ...);
    }
    /// Binds a text without a copy. The text must stay as it is until the statement has run for the
    /// last time, the parameter is bound anew, or the statement is gone.
    void bind_no_copy(size_t position, const std::string& value);
    void bind_no_copy(size_t position, const std::string&& value) = delete;

    /// Makes every parameter SQL NULL.
    void clear_bindings();
    /// Ends a run that is under way, and its read lock. What is bound stays. A kept statement that
    /// only asks whether there is a row keeps other connections from writing until it is reset:
    ///
    ///     exists.bind(":id", id);
    ///     const sqlite::result found = connection.execute(exists);
    ///     const bool is_there = found.begin() != found.end();
    ///     exists.reset();
    void reset();

    void swap(statement& other) noexcept;

    /// The text that was prepared, up to its semicolon. Valid as long as this object.
    [[nodiscard]] std::string_view sql() const;

private:
    friend class database;

    void throw_on_bind_error(const int code, const std::string& name) const;
    void bind_value(size_t position, long long value);
    void bind_value(size_t position, double value);
    void bind_value(size_t position, std::span<const std::byte> value);
    void bind_unsigned(size_t position, unsigned long long value);
    void require_parameters(size_t count) const;
    void bind_value(size_t position, std::string_view value);
    void bind_value(size_t position, std::nullptr_t value);
    [[nodiscard]] int parameter_at(size_t position);
    void require_bound(int code, size_t position) const;

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
