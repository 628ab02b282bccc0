#include "base/base.shared/sqlite/transaction.h"

#include <sqlite3.h>

namespace sqlite {

namespace {

bool run(sqlite3* db, const char* sql) noexcept {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

} // namespace

transaction::transaction(database& db) : m_lock(db), m_db(db) {
    db.settle_transaction(); // an owed rollback ends the transaction that would be seen
    m_nested = sqlite3_get_autocommit(db.db) == 0;
    const bool may_write = sqlite3_db_readonly(db.db, "main") == 0;
    if (!m_nested && may_write) {
        const result timeout = db.execute("PRAGMA busy_timeout");
        m_busy_timeout = timeout.begin()->operator[](0).as<int>();
    }
    db.execute(m_nested    ? "SAVEPOINT nested_transaction"
               : may_write ? "BEGIN IMMEDIATE"
                           : "BEGIN"); // older versions of SQLite refuse the other one
    if (m_busy_timeout > 0) {
        sqlite3_busy_timeout(db.db, 0);
    }
    m_level = ++db.m_depth;
    db.m_in_trans = true;
    m_changes_before = changes();
}

transaction::~transaction() {
    rollback();
}

void transaction::commit() {
    if (!is_innermost()) {
        throw error(SQLITE_MISUSE, m_open ? "cannot commit while an inner transaction is open"
                                          : "cannot commit: the transaction is over");
    }
    wait_for_others_again();
    m_db.execute(m_nested ? "RELEASE nested_transaction" : "COMMIT");
    end();
}

void transaction::rollback() noexcept {
    if (!m_open) {
        return;
    }
    wait_for_others_again();
    end();
    m_db.m_undone += changes();
    const bool is_over = sqlite3_get_autocommit(m_db.db) != 0;
    const bool is_undone = is_over || (m_nested && !m_db.m_rollback_owed &&
                                       run(m_db.db, "ROLLBACK TO nested_transaction;"
                                                    "RELEASE nested_transaction"));
    m_db.m_rollback_owed = !is_undone && !run(m_db.db, "ROLLBACK");
}

bool transaction::is_innermost() const {
    return m_open && m_level == m_db.m_depth;
}

void transaction::wait_for_others_again() noexcept {
    if (m_busy_timeout > 0) {
        sqlite3_busy_timeout(m_db.db, m_busy_timeout);
    }
}

void transaction::end() noexcept {
    m_open = false;
    m_db.m_in_trans = --m_db.m_depth > 0;
}

uint32_t transaction::changes() const {
    return static_cast<uint32_t>(sqlite3_total_changes(m_db.db)) - m_db.m_undone - m_changes_before;
}

} // namespace sqlite
