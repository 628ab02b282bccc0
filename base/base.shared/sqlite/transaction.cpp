#include "base/base.shared/sqlite/transaction.h"

#include "base/base.shared/sqlite/connection.h"
#include "base/base.shared/sqlite/detail.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sqlite3.h>

namespace sqlite {

namespace {

int run(sqlite3* db, const char* sql) noexcept {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

/// Calls `attempt` again while it says that it was interrupted, since such a statement may have
/// taken effect or not. An interrupt by a progress handler passes; one of a walk around the
/// transaction lasts, so that this gives up in the end.
template <typename Attempt>
int uninterrupted(Attempt attempt) noexcept {
    constexpr int most = 100;
    int code = attempt();
    for (int tried = 1; code == SQLITE_INTERRUPT && tried < most; ++tried) {
        code = attempt();
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

/// In ms, 0 for a busy handler of the application.
int busy_timeout(sqlite3* db, int& code) noexcept {
    int timeout = 0;
    const auto note = [](void* noted, int /*columns*/, char** values, char** /*names*/) {
        *static_cast<int*>(noted) = values[0] != nullptr ? std::atoi(values[0]) : 0; // no memory
        return 0;
    };
    code = uninterrupted(
        [&] { return sqlite3_exec(db, "PRAGMA busy_timeout", note, &timeout, nullptr); });
    return timeout;
}

error ended_inside() {
    return {SQLITE_MISUSE, "the transaction was ended inside of it"};
}

[[noreturn]] void fail(sqlite3* db, int code, const char* sql) {
    detail::fail(db, code, "execute", sql);
}

} // namespace

namespace detail {

bool transaction_state::is_open() const noexcept {
    return sqlite3_get_autocommit(m_db) == 0;
}

void transaction_state::require_intact() {
    if (const int code = pay_rollback(); code != SQLITE_OK) {
        sqlite::fail(m_db, code, "ROLLBACK");
    }
    if (m_innermost == nullptr || is_open()) {
        return;
    }
    if (m_is_rolled_back) {
        throw error(SQLITE_ABORT_ROLLBACK, "the open transaction has been rolled back already");
    }
    throw ended_inside();
}

int transaction_state::pay_rollback() noexcept {
    const int code = m_owes_rollback && is_open() ? finish("ROLLBACK") : SQLITE_OK;
    m_owes_rollback = code != SQLITE_OK && is_open();
    return m_owes_rollback ? code : SQLITE_OK;
}

void transaction_state::roll_back() noexcept {
    m_owes_rollback = true;
    m_is_rolled_back = true;
    pay_rollback();
}

/// Runs a COMMIT or ROLLBACK. Goes by what took effect, whatever was reported of an interrupt.
int transaction_state::finish(const char* sql) noexcept {
    return uninterrupted([&] {
        const int code = run(m_db, sql);
        return code == SQLITE_INTERRUPT && !is_open() ? SQLITE_OK : code;
    });
}

} // namespace detail

transaction::transaction(database& db)
    : m_lock(db), m_db(db), m_state(db.m_connection->transactions) {
    m_state.require_intact();
    m_outer = m_state.m_innermost;
    m_level = m_outer != nullptr ? m_outer->m_level + 1 : 1;
    m_is_nested = m_state.is_open();
    const bool may_write = sqlite3_db_readonly(db.db, "main") == 0;
    if (!m_is_nested && may_write) {
        int code = SQLITE_OK;
        m_busy_timeout = busy_timeout(db.db, code);
        if (code != SQLITE_OK) {
            fail(db.db, code, "PRAGMA busy_timeout");
        }
    }
    const auto savepoint = savepoint_sql("SAVEPOINT", m_level);
    const char* begin = m_is_nested ? savepoint.data()
                        : may_write ? "BEGIN IMMEDIATE"
                                    : "BEGIN"; // older versions of SQLite refuse the other one
    if (const int code = run(db.db, begin); code != SQLITE_OK) {
        // It can have taken effect nevertheless. A savepoint without contents does no harm.
        if (!m_is_nested && m_state.is_open()) {
            m_state.roll_back();
        }
        fail(db.db, code, begin);
    }
    if (m_busy_timeout > 0) {
        sqlite3_busy_timeout(db.db, 0);
    }
    m_changes_before = static_cast<uint32_t>(sqlite3_total_changes(db.db));
    m_state.m_innermost = this;
    m_state.m_is_rolled_back = false;
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
    m_state.require_intact();
    set_busy_timeout_back();
    const int code = m_is_nested ? release() : m_state.finish("COMMIT");
    if (m_is_nested && code == SQLITE_ERROR) { // there is no such savepoint
        throw ended_inside();
    }
    if (code != SQLITE_OK) {
        m_state.m_is_rolled_back = !m_state.is_open();
        fail(m_db.db, code, m_is_nested ? "RELEASE" : "COMMIT");
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
    if (m_state.is_open() && !undo_savepoint()) {
        m_state.roll_back(); // notes it too if SQLite has, for a failure of the above
    }
    end();
}

bool transaction::is_open() const {
    return !is_over() && m_state.is_open() && !m_state.m_owes_rollback;
}

bool transaction::is_innermost() const {
    return !is_over() && m_state.m_innermost == this;
}

uint32_t transaction::changes() const {
    return is_over() ? m_changes
                     : static_cast<uint32_t>(sqlite3_total_changes(m_db.db)) - m_changes_before;
}

/// Leaves a time-out alone that was set inside.
void transaction::set_busy_timeout_back() noexcept {
    int code = SQLITE_OK;
    if (m_busy_timeout > 0 && busy_timeout(m_db.db, code) == 0) {
        sqlite3_busy_timeout(m_db.db, m_busy_timeout);
    }
    m_busy_timeout = 0;
}

/// False if it is none, or if SQLite cannot undo it.
bool transaction::undo_savepoint() noexcept {
    const auto undo = savepoint_sql("ROLLBACK TO", m_level);
    return m_is_nested && uninterrupted([&] { return run(m_db.db, undo.data()); }) == SQLITE_OK &&
           release() == SQLITE_OK;
}

/// Ends the savepoint and keeps what is in it. Returns SQLite's code, SQLITE_OK if it is gone.
int transaction::release() noexcept {
    const auto sql = savepoint_sql("RELEASE", m_level);
    bool is_repeated = false;
    return uninterrupted([&] {
        const int code = run(m_db.db, sql.data());
        const bool is_gone = code == SQLITE_ERROR && is_repeated;
        is_repeated = true;
        return is_gone ? SQLITE_OK : code;
    });
}

/// Takes the objects inside with it.
void transaction::end() noexcept {
    bool is_last = false;
    while (!is_last) {
        transaction* ended = m_state.m_innermost;
        is_last = ended == this;
        ended->m_changes = ended->changes();
        m_state.m_innermost = ended->m_outer;
        m_db.m_in_trans = ended->m_outer != nullptr;
        ended->m_lock.unlock();
    }
}

} // namespace sqlite
