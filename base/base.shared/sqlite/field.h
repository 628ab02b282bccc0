#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct sqlite3_stmt;

namespace sqlite {

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

    /// The value converted as SQLite converts it; any other type than these does not compile.
    /// `std::string`: the text by its length, NUL bytes included; numbers in decimal, blobs as
    /// they are (converted like texts in a database that is not UTF-8). `long long`: a text's
    /// leading number, a real's whole part. `unsigned int`: the low 32 bits of that. SQL NULL gives
    /// an empty text and 0.
    template <typename T>
    [[nodiscard]] T as() const = delete;

private:
    std::shared_ptr<sqlite3_stmt> stmt;
    const size_t index;
};

template <>
std::string field::as<std::string>() const;
template <>
unsigned int field::as<unsigned int>() const;
template <>
long long field::as<long long>() const;

} // namespace sqlite
