#include "base/base.shared/sqlite/transaction.h"

#include "base/base.shared/sqlite/connection.h"
#include "base/base.shared/sqlite/detail.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sqlite3.h>

namespace sqlite {

namespace {

using row_callback = int (*)(void* context, int columns, char** values, char** names);

/// Runs a statement until it is known whether it took effect. One that reports an interrupt may
/// have, so it is run again: if it then finds nothing to end, it had. An interrupt by a progress
/// handler passes; one of a walk around the transaction lasts, so that this gives up in the end.
int run(sqlite3* db, const char* sql, row_callback on_row = nullptr,
        void* context = nullptr) noexcept {
    constexpr int most = 100;
    int code = sqlite3_exec(db, sql, on_row, context, nullptr);
    for (int tried = 1; code == SQLITE_INTERRUPT && tried < most; ++tried) {
        code = sqlite3_exec(db, sql, on_row, context, nullptr);
        code = code == SQLITE_ERROR ? SQLITE_OK : code;
    }
    return code;
}

/// A statement about the savepoint of a level. Its name carries the level, so that it names no
/// other one. Built where no exception may leave.
std::array<char, 64> savepoint_sql(const char* verb, uint32_t level) noexcept {
    std::array<char, 64> sql{};
    std::snprintf(sql.data(), sql.size(), "%s transaction_at_level_%u", verb, level);
    return sql;
}

/// In ms; 0 for a busy handler of the application, and if SQLite does not tell.
int busy_timeout(sqlite3* db) noexcept {
    int timeout = 0;
    const auto note = [](void* noted, int /*columns*/, char** values, char** /*names*/) {
        *static_cast<int*>(noted) = values[0] != nullptr ? std::atoi(values[0]) : 0; // no memory
        return 0;
    };
    run(db, "PRAGMA busy_timeout", note, &timeout);
    return timeout;
}

error ended_inside() {
    return {SQLITE_MISUSE, "the transaction was ended inside of it"};
}

} // namespace

namespace detail {

bool connection::has_transaction() const noexcept {
    return sqlite3_get_autocommit(db) == 0;
}

void connection::require_intact() {
    if (const int code = pay_rollback(); code != SQLITE_OK) {
        fail(db, code, "execute", "ROLLBACK");
    }
    if (innermost != nullptr && !has_transaction()) {
        throw is_rolled_back
            ? error(SQLITE_ABORT_ROLLBACK, "the open transaction has been rolled back already")
            : ended_inside();
    }
}

void connection::roll_back() noexcept {
    owes_rollback = true;
    is_rolled_back = true;
    pay_rollback();
}

int connection::pay_rollback() noexcept {
    const int code = owes_rollback && has_transaction() ? run(db, "ROLLBACK") : SQLITE_OK;
    owes_rollback = code != SQLITE_OK && has_transaction();
    return owes_rollback ? code : SQLITE_OK;
}

} // namespace detail

transaction::transaction(database& db, begin_mode mode)
    : m_lock(db), m_db(db), m_connection(*db.m_connection), m_outer(m_connection.innermost) {
    m_connection.require_intact();
    const bool is_nested = m_connection.has_transaction();
    if (is_nested) {
        m_level = m_outer != nullptr ? m_outer->m_level + 1 : 1;
    }
    // Older versions of SQLite refuse an immediate one for a read-only database.
    const bool is_immediate =
        mode == begin_mode::immediate && sqlite3_db_readonly(db.db, "main") == 0;
    m_busy_timeout = !is_nested && is_immediate ? busy_timeout(db.db) : 0;
    const auto savepoint = savepoint_sql("SAVEPOINT", m_level);
    const char* begin = is_nested ? savepoint.data() : is_immediate ? "BEGIN IMMEDIATE" : "BEGIN";
    const int code = sqlite3_exec(db.db, begin, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        // It can have taken effect nevertheless. A savepoint without contents does no harm.
        if (!is_nested && m_connection.has_transaction()) {
            m_connection.roll_back();
        }
        detail::fail(db.db, code, "execute", begin);
    }
    if (m_busy_timeout > 0) {
        sqlite3_busy_timeout(db.db, 0);
    }
    m_changes_before = static_cast<uint32_t>(sqlite3_total_changes(db.db));
    m_connection.innermost = this;
    m_connection.is_rolled_back = false;
    db.m_in_trans = true;
}

transaction::~transaction() {
    rollback();
}

void transaction::commit() {
    if (!is_innermost()) {
        throw error(SQLITE_MISUSE, is_over() ? "cannot commit: the transaction is over"
                                             : "cannot commit while an inner transaction is open");
    }
    m_connection.require_intact();
    set_busy_timeout_back();
    const int code =
        run(m_db.db, m_level > 0 ? savepoint_sql("RELEASE", m_level).data() : "COMMIT");
    if (m_level > 0 && code == SQLITE_ERROR) { // there is no such savepoint
        throw ended_inside();
    }
    if (code != SQLITE_OK) {
        m_connection.is_rolled_back = !m_connection.has_transaction();
        detail::fail(m_db.db, code, "execute", m_level > 0 ? "RELEASE" : "COMMIT");
    }
    end();
}

void transaction::rollback() noexcept {
    if (is_over()) {
        return;
    }
    set_busy_timeout_back();
    const uint32_t undone = changes();
    for (transaction* outer = m_outer; outer != nullptr; outer = outer->m_outer) {
        outer->m_changes_before += undone;
    }
    const bool is_undone =
        !m_connection.has_transaction() ||
        (m_level > 0 && run(m_db.db, savepoint_sql("ROLLBACK TO", m_level).data()) == SQLITE_OK &&
         run(m_db.db, savepoint_sql("RELEASE", m_level).data()) == SQLITE_OK);
    if (!is_undone) {
        m_connection.roll_back(); // notes it too if SQLite has, for a failure of the above
    }
    end();
}

bool transaction::is_open() const {
    return !is_over() && m_connection.has_transaction() && !m_connection.owes_rollback;
}

bool transaction::is_innermost() const {
    return !is_over() && m_connection.innermost == this;
}

uint32_t transaction::changes() const {
    return is_over() ? m_changes
                     : static_cast<uint32_t>(sqlite3_total_changes(m_db.db)) - m_changes_before;
}

/// Leaves a time-out alone that was set inside.
void transaction::set_busy_timeout_back() noexcept {
    if (m_busy_timeout > 0 && busy_timeout(m_db.db) == 0) {
        sqlite3_busy_timeout(m_db.db, m_busy_timeout);
    }
    m_busy_timeout = 0;
}

/// Takes the objects inside with it.
void transaction::end() noexcept {
    bool is_last = false;
    while (!is_last) {
        transaction* ended = m_connection.innermost;
        is_last = ended == this;
        ended->m_changes = ended->changes();
        m_connection.innermost = ended->m_outer;
        m_db.m_in_trans = ended->m_outer != nullptr;
        ended->m_lock.unlock();
    }
}

} // namespace sqlite
