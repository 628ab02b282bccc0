#pragma once

#include "base/base.shared/sqlite/row.h"

#include <cstddef>
#include <iterator>
#include <memory>

struct sqlite3_stmt;

namespace sqlite {

/// What an executed statement delivers: its rows, one after the other, once.
///
/// It has no size and no way back, because SQLite does not know them either. Binding the statement
/// again ends its results. Executing it again makes results that have not ended show the new run. A
/// result that is dropped half way keeps SQLite's read lock until its statement goes or runs again.
/// With its statement and iterators it serves one thread at a time; other threads may use the
/// connection meanwhile.
class result {
public:
    /// An input iterator. It must not outlive the result that made it. All iterators of a result
    /// move together, because there is one current row.
    class const_iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = row;
        using difference_type = std::ptrdiff_t;
        using pointer = const row*;
        using reference = const row&;

        const_iterator(const std::shared_ptr<sqlite3_stmt>& stmt, bool& end_reached);
        /// An end position, of any result.
        const_iterator();

        /// Two iterators are equal if both are at the end, or both are on the current row of the
        /// same statement.
        bool operator==(const const_iterator& other) const;
        bool operator!=(const const_iterator& other) const;

        /// Steps to the next row. At the end it does nothing. Throws `error` if SQLite fails, and
        /// is at the end then.
        const_iterator& operator++();
        void operator++(int);

        /// The current row. The reference is valid as long as this iterator, so copy the row to
        /// keep it for longer: `const row& first = *res.begin()` reads what is gone.
        const row& operator*() const;
        const row* operator->() const;

        void swap(const_iterator& other) noexcept;

    private:
        [[nodiscard]] bool at_end() const;

        std::shared_ptr<sqlite3_stmt> stmt;
        bool* end_reached; // the flag of the result, null for an end position
        row current_row;
    };

    /// The result of a statement that has been stepped once already.
    explicit result(const std::shared_ptr<sqlite3_stmt>& stmt);

    /// The number of rows that the statement inserted, updated or deleted. It is 0 if the statement
    /// delivers rows of what it changed (RETURNING), because SQLite counts those at the end of the
    /// walk, in `database::changes`.
    [[nodiscard]] size_t row_modification_count() const;

    /// `begin` is at the current row, which is the first one until an iterator has advanced. `end`
    /// is behind the last row. Neither call steps the statement.
    [[nodiscard]] const_iterator begin() const;
    [[nodiscard]] const_iterator end() const;

private:
    friend class database;

    std::shared_ptr<sqlite3_stmt> stmt;
    mutable bool end_reached; // set by the iterators that share it
    size_t m_modified = 0;
};

} // namespace sqlite
