#pragma once

#include "base/base.shared/sqlite/field.h"

#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace sqlite {

/// The current row of a result.
///
/// A row holds no values: it shows whatever row is current, so read all that is needed of it before
/// an iterator of the result advances. Copies show the same row. Serves the thread that its result
/// serves.
class row {
public:
    explicit row(const std::shared_ptr<sqlite3_stmt>& stmt);
    row(const row&) = default;
    row(row&&) = default;
    row& operator=(const row&) = default;
    row& operator=(row&&) = default;
    ~row() = default;

    [[nodiscard]] size_t column_count() const;

    /// The field of the column with exactly this name, the first if several have it. Throws `error`
    /// naming the column if there is none. The cost is linear in the number of columns: where many
    /// rows are read, look up positions once.
    field operator[](const std::string& column_name) const;
    /// The field at a position, counted from 0. Throws `error` for one outside of the row.
    field operator[](const size_t& index) const;

    void swap(row& other) noexcept;

    /// The position of the column with exactly this name, counted from 0; the first at or behind
    /// `guess` if there is one, so that it costs least to ask for columns in their order. Throws
    /// `error` naming the column if there is none. Holds for all rows of the result, but not for
    /// another one: a change of the schema may move columns.
    [[nodiscard]] size_t position_of(std::string_view column_name, size_t guess = 0) const;

    /// Reads the column at a position into `value`, whose memory is used again: the same as
    /// `(*this)[position].as<T>()`, but three times as fast for a short text.
    void read(size_t position, std::string& value) const;
    void read(size_t position, long long& value) const;
    /// The low bits, where the type has fewer than 64.
    template <std::integral T>
    void read(size_t position, T& value) const {
        long long whole = 0;
        read(position, whole);
        value = static_cast<T>(whole);
    }

private:
    [[nodiscard]] bool is_valid_index(const size_t& index) const;

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
