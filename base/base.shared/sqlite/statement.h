#pragma once

#include "base/base.shared/sqlite/field.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace sqlite {

/// What can be bound: texts, numbers, and SQL NULL as nullptr. `long` and `long long` are listed so
/// that `int64_t` is there, whichever of the two it is.
template <typename T>
concept bindable = one_of<T, std::string, std::string_view, int, unsigned int, long, long long,
                          double, bool, std::nullptr_t>;

/// A compiled SQL statement, made by `database::prepare_statement`.
///
/// Copies share the compiled statement and its bindings; it is finalised with the last statement,
/// result, iterator, row or field that holds it, which may outlive the `database`. It can be bound
/// and executed again after it ran, whether the run ended, failed or was abandoned half way.
/// Binding ends a run that is under way: results of that run are at their end from then on.
/// One statement serves one thread at a time.
class statement {
public:
    explicit statement(const std::shared_ptr<sqlite3_stmt>& stmt);
    statement(const statement&) = default;
    statement(statement&&) = default;
    statement& operator=(const statement&) = default;
    statement& operator=(statement&&) = default;
    ~statement() = default;

    /// The number of parameters; a name that is used twice counts once.
    [[nodiscard]] size_t parameter_count() const;

    /// Binds a copy of `value` to the parameter with the whole name `name`, prefix included
    /// (":user_id"). Values stay bound over executions; a parameter never bound is SQL NULL.
    /// Texts are bound by their length, NUL bytes included; the `const char*` form ends at the
    /// first NUL and binds SQL NULL for a null pointer. Types that are not `bindable` do not
    /// compile. Throws `error` for a name that the statement does not have and for a text over
    /// SQLite's length limit (a billion bytes). Finding a name is linear in the number of
    /// parameters.
    void bind(const std::string& name, const char* value);
    template <bindable T>
    void bind(const std::string& name, const T& value);

    /// The position of a parameter, counted from 1, for `bind` by position: parameters are numbered
    /// in the order in which they first appear. Throws `error` if there is no such parameter.
    [[nodiscard]] size_t position_of(const std::string& name) const;
    /// Binds to the parameter at a position, which also reaches a nameless one (`?`); otherwise
    /// like `bind` by name, for the same types. Throws `error` if there is no such position.
    void bind(size_t position, const char* value);
    template <bindable T>
    void bind(size_t position, const T& value);
    /// Binds a text in place: it must stay as it is until the statement has run for the last time,
    /// is bound anew or is gone.
    void bind_no_copy(size_t position, const std::string& value);
    void bind_no_copy(size_t position, const std::string&& value) = delete;

    /// Makes every parameter SQL NULL.
    void clear_bindings();

    void swap(statement& other) noexcept;

    /// The text that was prepared, up to its semicolon. Valid as long as this object.
    [[nodiscard]] std::string_view sql() const;

private:
    friend class database;

    void throw_on_bind_error(const int code, const std::string& name) const;
    template <typename T>
    void bind_at(size_t position, const T& value);

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
