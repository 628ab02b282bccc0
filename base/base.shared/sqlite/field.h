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

/// What a value can be read as. `std::optional` of each is empty for SQL NULL.
template <typename T>
concept readable = one_of<T, std::string, int, unsigned int, long, long long, double, bool,
                          std::optional<std::string>, std::optional<int>,
                          std::optional<unsigned int>, std::optional<long>,
                          std::optional<long long>, std::optional<double>, std::optional<bool>>;

/// One column of a result's current row.
///
/// A field holds no value: it reads the row that is current at the moment of the read, and shows
/// the next row's value once an iterator of the result has advanced. Reading it while there is no
/// current row throws `error`. Serves the thread that its result serves.
class field {
public:
    /// `index` counts columns from 0.
    field(const std::shared_ptr<sqlite3_stmt>& stmt, const size_t& index);

    [[nodiscard]] bool is_null() const;
    /// True if the value is not SQL NULL, an empty text or 0 included.
    explicit operator bool() const;
    /// The column's name in the result: the alias if the statement gives one.
    [[nodiscard]] std::string column_name() const;

    /// The value converted as SQLite converts it; a type that is not `readable` does not compile.
    /// `std::string`: the text by its length, NUL bytes included; numbers in decimal, blobs as
    /// they are (converted like texts in a database that is not UTF-8). `long long`: a text's
    /// leading number, a real's whole part; other integers: the low bits of that; `bool`: whether
    /// that is not 0. SQL NULL gives an empty text and 0.
    template <readable T>
    [[nodiscard]] T as() const;

private:
    friend class row;

    template <readable T>
    static void read_into(sqlite3_stmt* stmt, size_t index, void* value);

    std::shared_ptr<sqlite3_stmt> stmt;
    const size_t index;
};

} // namespace sqlite
