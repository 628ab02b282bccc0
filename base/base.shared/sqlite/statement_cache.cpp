#include "base/base.shared/sqlite/statement_cache.h"

#include "base/base.shared/sqlite/detail.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sqlite3.h>

namespace sqlite::detail {

void statement_cache::set_capacity(size_t statements) noexcept {
    m_capacity = statements;
    const size_t surplus = m_kept.size() - std::min(m_kept.size(), m_capacity);
    const auto end = m_kept.begin() + static_cast<std::ptrdiff_t>(surplus);
    std::for_each(m_kept.begin(), end, sqlite3_finalize);
    m_kept.erase(m_kept.begin(), end);
}

sqlite3_stmt* statement_cache::take(const std::string& sql) noexcept {
    // A text used again and again stands near the end.
    const auto found = std::find_if(m_kept.rbegin(), m_kept.rend(), [&sql](sqlite3_stmt* kept) {
        return std::strcmp(sql.c_str(), sqlite3_sql(kept)) == 0;
    });
    if (found == m_kept.rend()) {
        return nullptr;
    }
    sqlite3_stmt* stmt = *found;
    m_kept.erase(std::next(found).base());
    return stmt;
}

bool statement_cache::keep(sqlite3_stmt* stmt) noexcept {
    if (m_capacity == 0) {
        return false;
    }
    try {
        m_kept.push_back(stmt);
    } catch (const std::bad_alloc&) {
        return false;
    }
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
    set_capacity(m_capacity);
    return true;
}

std::shared_ptr<sqlite3_stmt> shared_statement(sqlite3_stmt* stmt,
                                               const std::shared_ptr<statement_cache>& cache) {
    const auto hand_back = [weak = std::weak_ptr(cache)](sqlite3_stmt* handed) {
        const std::shared_ptr<statement_cache> cache = weak.lock();
        if (cache != nullptr && handed != nullptr) { // null for a text that did not compile
            const connection_hold hold(sqlite3_db_handle(handed));
            if (cache->keep(handed)) {
                return;
            }
        }
        // Not under the mutex, which the last statement of a closed connection takes with it.
        sqlite3_finalize(handed);
    };
    return {stmt, hand_back};
}

} // namespace sqlite::detail
