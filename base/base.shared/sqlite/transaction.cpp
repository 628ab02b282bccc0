#include "base/base.shared/sqlite/transaction.h"

#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/error.h"

#include <sqlite3.h>

namespace sqlite {

namespace {

bool run(sqlite3_stmt* stmt) noexcept {
    sqlite3_step(stmt);
    return sqlite3_reset(stmt) == SQLITE_OK;
}

} // namespace

bool transaction::begins_nested(database& db) {
    db.require_intact_transaction(); // an owed rollback ends the transaction that would be seen
    return sqlite3_get_autocommit(db.db) == 0;
}

transaction::transaction(database& db)
    : m_lock(db), m_db(db), m_nested(begins_nested(db)),
      m_commit(db.create_statement(m_nested ? "RELEASE nested_transaction" : "COMMIT")),
      m_rollback(db.create_statement("ROLLBACK")),
      m_rollback_to_savepoint(m_nested ? db.create_statement("ROLLBACK TO nested_transaction")
                                       : nullptr) {
    const bool may_write = sqlite3_db_readonly(db.db, "main") == 0;
    db.execute(m_nested    ? "SAVEPOINT nested_transaction"
               : may_write ? "BEGIN IMMEDIATE"
                           : "BEGIN"); // older versions of SQLite refuse the other one
    m_level = ++db.m_depth;
    db.m_in_trans = true;
    m_changes_before = changes();
}

transaction::~transaction() {
    rollback();
}

void transaction::commit() {
    if (!m_open || m_level != m_db.m_depth) {
        throw error(SQLITE_MISUSE, m_open ? "cannot commit while an inner transaction is open"
                                          : "cannot commit: the transaction is over");
    }
    m_db.require_intact_transaction();
    detail::step(m_commit.get());
    end();
}

void transaction::rollback() noexcept {
    if (!m_open) {
        return;
    }
    end();
    m_db.m_undone += changes();
    if (sqlite3_get_autocommit(m_db.db) != 0) {
        return;
    }
    if (!m_nested || !run(m_rollback_to_savepoint.get()) || !run(m_commit.get())) {
        m_db.m_rollback_owed = !run(m_rollback.get());
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
