#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

struct sqlite3_stmt;

namespace sqlite {

template <typename T, typename... Types>
concept one_of = (std::is_same_v<T, Types> || ...);

/// Bytes that may be any.
using blob = std::vector<std::byte>;

/// What a value can be read as. A `std::optional` is empty if the value is SQL NULL.
template <typename T>
concept readable_value =
    one_of<T, std::string, std::string_view, blob, bool, short, int, unsigned int, long,
           unsigned long, long long, unsigned long long, float, double>;
template <typename T>
concept readable = readable_value<T> || requires {
    requires std::same_as<T, std::optional<typename T::value_type>>;
    requires readable_value<typename T::value_type>;
};

/// How SQLite stores a value. The values are SQLite's own.
enum class value_type { integer = 1, real = 2, text = 3, blob = 4, null = 5 };

/// One column of a result's current row.
///
/// A field holds no value. It reads the row that is current at that moment, so it shows the next
/// row's value once an iterator of the result has advanced. Reading throws `error` if there is no
/// current row. It serves the same thread as its result.
class field {
public:
    /// `index` counts columns from 0.
    field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index);

    [[nodiscard]] bool is_null() const;
    /// True unless the value is SQL NULL: also for an empty text and for 0.
    explicit operator bool() const;
    /// How the value is stored, before any conversion by `as`.
    [[nodiscard]] value_type type() const;
    /// The column's name in the result, which is its alias if the statement gives one.
    [[nodiscard]] std::string column_name() const;

    /// The value, converted as SQLite converts it. A type that is not `readable` does not compile.
    /// - `std::string` is the text by its length, NUL bytes included. Numbers are written in
    ///   decimal. Blobs are taken as they are; in a database that is not UTF-8 they are converted
    ///   as texts are.
    /// - `std::string_view` is the same without a copy. It is valid until the iterator advances,
    /// the
    ///   statement is bound, reset or executed again, the same column is read as something else
    ///   than a text, or the last holder of the statement is gone; the field itself may go before.
    /// - `blob` is the bytes of a blob or text. An empty one differs from SQL NULL by `is_null`,
    /// and
    ///   as a `std::optional`.
    /// - `long long` is the leading number of a text and the whole part of a real. Other integers
    ///   are the low bits of that, and `bool` is whether it is not 0.
    /// - SQL NULL gives an empty text, an empty blob, and 0.
    /// Throws `error` with SQLITE_NOMEM if SQLite has no memory to convert the value.
    template <readable T>
    [[nodiscard]] T as() const {
        T value{};
        read(&read_into<T>, &value);
        return value;
    }

private:
    friend class row;

    /// Reads a column that the current row has. The connection is held.
    using reader = void (*)(sqlite3_stmt* stmt, size_t index, void* value);

    template <readable T>
    static void read_into(sqlite3_stmt* stmt, size_t index, void* value) {
        T& target = *static_cast<T*>(value);
        if constexpr (std::is_constructible_v<T, std::nullopt_t>) {
            target.reset();
            if (!is_null_at(stmt, index)) {
                read_into<typename T::value_type>(stmt, index, &target.emplace());
            }
        } else if constexpr (one_of<T, std::string, std::string_view>) {
            target = text_at(stmt, index);
        } else if constexpr (std::is_same_v<T, blob>) {
            const std::span<const std::byte> bytes = bytes_at(stmt, index);
            target.assign(bytes.begin(), bytes.end());
        } else if constexpr (std::floating_point<T>) {
            target = static_cast<T>(real_at(stmt, index));
        } else {
            target = static_cast<T>(integer_at(stmt, index));
        }
    }
    [[nodiscard]] static bool is_null_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static long long integer_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static double real_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static std::string_view text_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static std::span<const std::byte> bytes_at(sqlite3_stmt* stmt, size_t index);
    void read(reader read_value, void* value) const;

    std::shared_ptr<sqlite3_stmt> stmt;
    const size_t index;
};

} // namespace sqlite
