#pragma once

#include "base/base.shared/sqlite/field.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

namespace sqlite {

/// The current row of a result.
///
/// A row holds no values. It shows the row that is current, so read all that you need before an
/// iterator of the result advances. Copies show the same row. It serves the same thread as its
/// result.
class row {
public:
    explicit row(const std::shared_ptr<sqlite3_stmt>& stmt);

    [[nodiscard]] size_t column_count() const;

    /// The field of the first column with exactly this name, or else of the first that differs
    /// from it in the case of ASCII letters only, as SQLite compares names. Throws `error`, which
    /// names the column, if there is none. The cost is linear in the number of columns: where many
    /// rows are read, look up the positions once.
    field operator[](const std::string& column_name) const;
    /// The field at a position, counted from 0. Throws `error` if there is no such column.
    field operator[](const size_t& index) const;

    void swap(row& other) noexcept;

    /// Sets `positions` to where the columns with these names are, counted from 0. They hold for
    /// all rows of the result, but not for another result, since a change of the schema may move
    /// columns. What `positions` holds before the call is tried first; where that guess is right, a
    /// name is compared only once. Throws `error`, which names the column, if one is missing.
    void find_columns(const std::vector<const char*>& names, std::vector<size_t>& positions) const;

    /// Reads the columns at these positions, each into one of the values, and converts them as
    /// `field::as` does. A text is read into the memory that the value has already, so this is the
    /// fast way to read many rows. Throws `error` if there are not as many positions as values, and
    /// if there is no column at a position; the values before that one have been read then.
    template <readable... T>
    void read(const std::vector<size_t>& positions, T&... values) const {
        const std::array<slot, sizeof...(T)> slots{slot{&values, &field::read_into<T>}...};
        read_slots(positions, slots.data(), slots.size());
    }

private:
    /// A value, and the function that reads a column into it.
    struct slot {
        void* value;
        field::reader read;
    };

    [[nodiscard]] bool is_valid_index(const size_t& index) const;
    [[nodiscard]] size_t position_of(std::string_view column_name) const;
    void read_slots(const std::vector<size_t>& positions, const slot* slots, size_t count) const;

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
