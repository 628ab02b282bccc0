#include "base/base.shared/sqlite/connection.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

namespace sqlite::detail {

std::shared_ptr<sqlite3_stmt>
shared_statement(sqlite3_stmt* stmt, const std::shared_ptr<connection>& owner, bool keep) {
    const auto hand_back = [owner, keep](sqlite3_stmt* handed) {
        if (handed == nullptr) { // of a text that did not compile
            return;
        }
        bool is_kept = false;
        {
            const connection_hold hold(sqlite3_db_handle(handed));
            sqlite3_reset(handed);
            is_kept = keep && owner->statements.keep(handed);
            owner->transactions.pay_rollback(); // an interrupt lasts as long as a statement runs
        }
        // Not under the mutex, which the last statement of a closed connection takes with it.
        if (!is_kept) {
            sqlite3_finalize(handed);
        }
    };
    return {stmt, hand_back};
}

bool step(sqlite3_stmt* stmt, connection* owner) {
    sqlite3* db = sqlite3_db_handle(stmt);
    const connection_hold hold(db);
    const bool was_open = sqlite3_get_autocommit(db) == 0;
    const int code = sqlite3_step(stmt);
    if (code == SQLITE_ROW) {
        return true;
    }
    sqlite3_reset(stmt);
    if (code == SQLITE_DONE) {
        return false;
    }
    // An interrupted COMMIT can have taken effect: no interrupt of a statement that writes nothing
    // by itself makes SQLite roll back.
    const bool may_roll_back = code != SQLITE_INTERRUPT || sqlite3_stmt_readonly(stmt) == 0;
    if (owner != nullptr && was_open && may_roll_back && sqlite3_get_autocommit(db) != 0) {
        owner->transactions.note_rollback();
    }
    fail(db, code, "execute", shown(stmt));
}

} // namespace sqlite::detail
