#pragma once

#include "base/base.shared/sqlite/field.h"

#include <cstddef>
#include <memory>
#include <string>

struct sqlite3_stmt;

namespace sqlite::detail {
struct access;
}

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
    /// naming the column if there is none. The cost is linear in the number of columns.
    field operator[](const std::string& column_name) const;
    /// The field at a position, counted from 0. Throws `error` for one outside of the row.
    field operator[](const size_t& index) const;

    void swap(row& other) noexcept;

private:
    friend struct detail::access;

    [[nodiscard]] bool is_valid_index(const size_t& index) const;

    std::shared_ptr<sqlite3_stmt> stmt;
};

} // namespace sqlite
