#include "base/base.shared/sqlite/transaction.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite {

namespace {

bool run(sqlite3_stmt* stmt) noexcept {
    sqlite3_step(stmt);
    return sqlite3_reset(stmt) == SQLITE_OK;
}

} // namespace

transaction::transaction(database& db)
    : m_lock(db), m_db(db), m_nested(sqlite3_get_autocommit(db.db) == 0),
      m_commit(db.create_statement(m_nested ? "RELEASE nested_transaction" : "COMMIT")),
      m_rollback(db.create_statement("ROLLBACK")),
      m_rollback_to_savepoint(m_nested ? db.create_statement("ROLLBACK TO nested_transaction")
                                       : nullptr) {
    const bool read_only = sqlite3_db_readonly(db.db, "main") == 1;
    db.execute(m_nested ? "SAVEPOINT nested_transaction" : read_only ? "BEGIN" : "BEGIN IMMEDIATE");
    m_changes_before = changes();
}

transaction::~transaction() {
    rollback();
}

void transaction::commit() {
    detail::step(m_commit.get());
    m_open = false;
}

void transaction::rollback() noexcept {
    if (!m_open) {
        return;
    }
    m_open = false;
    m_db.m_undone += changes();
    if (sqlite3_get_autocommit(m_db.db) != 0) {
        return;
    }
    if (!m_nested || !run(m_rollback_to_savepoint.get()) || !run(m_commit.get())) {
        run(m_rollback.get());
    }
}

uint32_t transaction::changes() const {
    return static_cast<uint32_t>(sqlite3_total_changes(m_db.db)) - m_db.m_undone - m_changes_before;
}

} // namespace sqlite
