#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

struct sqlite3_stmt;

namespace sqlite {

template <typename T, typename... Types>
concept one_of = (std::is_same_v<T, Types> || ...);

/// What a value can be read as. A `std::optional` is empty if the value is SQL NULL.
template <typename T>
concept readable = one_of<T, std::string, int, unsigned int, long, long long, double, bool,
                          std::optional<std::string>, std::optional<int>,
                          std::optional<unsigned int>, std::optional<long>,
                          std::optional<long long>, std::optional<double>, std::optional<bool>>;

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
    /// The column's name in the result, which is its alias if the statement gives one.
    [[nodiscard]] std::string column_name() const;

    /// The value, converted as SQLite converts it. A type that is not `readable` does not compile.
    /// - `std::string` is the text by its length, NUL bytes included. Numbers are written in
    ///   decimal. Blobs are taken as they are; in a database that is not UTF-8 they are converted
    ///   as texts are.
    /// - `long long` is the leading number of a text and the whole part of a real. Other integers
    ///   are the low bits of that, and `bool` is whether it is not 0.
    /// - SQL NULL gives an empty text, and 0.
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
        } else if constexpr (std::is_same_v<T, std::string>) {
            read_text(stmt, index, target);
        } else if constexpr (std::is_same_v<T, double>) {
            target = real_at(stmt, index);
        } else {
            target = static_cast<T>(integer_at(stmt, index));
        }
    }
    [[nodiscard]] static bool is_null_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static long long integer_at(sqlite3_stmt* stmt, size_t index);
    [[nodiscard]] static double real_at(sqlite3_stmt* stmt, size_t index);
    static void read_text(sqlite3_stmt* stmt, size_t index, std::string& value);
    void read(reader read_value, void* value) const;

    std::shared_ptr<sqlite3_stmt> stmt;
    const size_t index;
};

} // namespace sqlite
