#include "base/base.shared/sqlite/statement_cache.h"

#include <algorithm>
#include <new>
#include <sqlite3.h>

namespace sqlite::detail {

void statement_cache::set_capacity(size_t statements) noexcept {
    m_capacity = statements;
    while (m_kept.size() > m_capacity) {
        sqlite3_stmt* oldest = m_kept.front();
        m_kept.erase(m_kept.begin());
        sqlite3_finalize(oldest);
    }
}

sqlite3_stmt* statement_cache::take(std::string_view sql) noexcept {
    // A text used again and again stands near the end.
    const auto found = std::find_if(m_kept.rbegin(), m_kept.rend(), [sql](sqlite3_stmt* kept) {
        const std::string_view text = sqlite3_sql(kept); // up to its semicolon
        return sql.starts_with(text) &&
               (sql.size() == text.size() ||
                (text.ends_with(';') &&
                 // Or a comment could go on.
                 text.find("--", text.rfind('\n') + 1) == std::string_view::npos &&
                 without_blanks(sql.substr(text.size())).empty()));
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
    sqlite3_clear_bindings(stmt);
    try {
        m_kept.push_back(stmt);
    } catch (const std::bad_alloc&) {
        return false;
    }
    set_capacity(m_capacity);
    return true;
}

std::string_view without_blanks(std::string_view sql) {
    while (!sql.empty()) {
        size_t size = 1;
        if (sql.starts_with("--")) {
            size = sql.find('\n');
        } else if (sql.starts_with("/*")) {
            size = std::min(sql.find("*/", 2), sql.size() - 2) + 2;
        } else if (std::string_view("; \t\n\f\r").find(sql.front()) == std::string_view::npos) {
            break;
        }
        sql.remove_prefix(std::min(size, sql.size()));
    }
    return sql;
}

} // namespace sqlite::detail
