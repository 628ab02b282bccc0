#pragma once

#include "base/base.shared/sqlite/field.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

    /// Sets `positions` to where the columns with these names are, counted from 0. Throws `error`
    /// naming a column that there is not. They hold for all rows of the result, but not for another
    /// one: a change of the schema may move columns. What `positions` holds before, from an earlier
    /// result, is tried first: then each name is compared but once.
    void find_columns(const std::vector<const char*>& names, std::vector<size_t>& positions) const;

    /// Reads the columns at these positions into the values, one each, as `field::as` converts
    /// them, into the memory that a text has already: the fast way to read many rows. Throws
    /// `error` for positions that are not as many as the values, or outside of the row; the values
    /// before that one have been read then.
    template <readable... T>
    void read(const std::vector<size_t>& positions, T&... values) const {
        const slot slots[] = {{&values, &field::read_into<T>}...};
        read_slots(positions, slots, sizeof...(values));
    }

private:
    /// A value, and what reads a column into it.
    struct slot {
        void* value;
        void (*read)(sqlite3_stmt* stmt, size_t index, void* value);
    };

    [[nodiscard]] bool is_valid_index(const size_t& index) const;
    [[nodiscard]] size_t position_of(std::string_view column_name) const;
    void read_slots(const std::vector<size_t>& positions, const slot* slots, size_t count) const;

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
