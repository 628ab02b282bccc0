#include "base/base.shared/sqlite/result.h"

#include "base/base.shared/sqlite/connection.h"

#include <sqlite3.h>
#include <utility>

namespace sqlite {

static_assert(std::input_iterator<result::const_iterator>);
static_assert(std::sentinel_for<result::const_iterator, result::const_iterator>);

result::const_iterator::const_iterator() : end_reached(nullptr), current_row(nullptr) {}

result::const_iterator::const_iterator(const std::shared_ptr<sqlite3_stmt>& stmt, bool& end_reached)
    : stmt(stmt), end_reached(&end_reached), current_row(stmt) {}

bool result::const_iterator::operator==(const const_iterator& other) const {
    const bool ended = at_end();
    return ended == other.at_end() && (ended || stmt == other.stmt);
}

bool result::const_iterator::operator!=(const const_iterator& other) const {
    return !(*this == other);
}

result::const_iterator& result::const_iterator::operator++() {
    if (!at_end()) {
        *end_reached = true; // before the step, which may throw
        *end_reached = !detail::step(stmt);
    }
    return *this;
}

void result::const_iterator::operator++(int) {
    ++*this;
}

const row& result::const_iterator::operator*() const {
    return current_row;
}

const row* result::const_iterator::operator->() const {
    return &current_row;
}

void result::const_iterator::swap(const_iterator& other) noexcept {
    std::swap(*this, other);
}

bool result::const_iterator::at_end() const {
    // Without a current row the statement was reset or walked by another result: a step would run
    // it from the start once more.
    return end_reached == nullptr || *end_reached || sqlite3_data_count(stmt.get()) == 0;
}

result::result(const std::shared_ptr<sqlite3_stmt>& stmt)
    : stmt(stmt), end_reached(sqlite3_data_count(stmt.get()) == 0) {}

size_t result::row_modification_count() const {
    return m_modified;
}

result::const_iterator result::begin() const {
    return {stmt, end_reached};
}

result::const_iterator result::end() const {
    return {};
}

} // namespace sqlite
