#include "base/base.shared/sqlite/connection.h"

#include "base/base.shared/sqlite/detail.h"

#include <sqlite3.h>

#ifndef __cpp_rtti
#error "the library needs run-time type information, to find a statement's connection"
#endif

namespace sqlite::detail {

namespace {

/// What the last holder of a compiled statement does with it, null for a text that did not compile.
struct hand_back {
    std::shared_ptr<connection> owner;
    bool keep;

    void operator()(sqlite3_stmt* stmt) const {
        const auto held = detail::hold(owner->db);
        sqlite3_reset(stmt);
        if (!keep || !owner->statements.keep(stmt)) {
            sqlite3_finalize(stmt);
        }
        owner->pay_rollback(); // an interrupt lasts as long as a statement runs
    }
};

} // namespace

connection::~connection() {
    sqlite3_close_v2(db); // takes effect once the kept statements are finalised
}

std::shared_ptr<sqlite3_stmt>
shared_statement(sqlite3_stmt* stmt, const std::shared_ptr<connection>& owner, bool keep) {
    return {stmt, hand_back{owner, keep}};
}

bool step(const std::shared_ptr<sqlite3_stmt>& stmt) {
    sqlite3* db = sqlite3_db_handle(stmt.get());
    const auto held = detail::hold(db);
    const bool was_open = sqlite3_get_autocommit(db) == 0;
    const int code = sqlite3_step(stmt.get());
    if (code == SQLITE_ROW) {
        return true;
    }
    sqlite3_reset(stmt.get());
    if (code == SQLITE_DONE) {
        return false;
    }
    // An interrupted COMMIT can have taken effect: no interrupt of a statement that writes nothing
    // by itself makes SQLite roll back.
    const bool may_roll_back = code != SQLITE_INTERRUPT || sqlite3_stmt_readonly(stmt.get()) == 0;
    const auto* shared = std::get_deleter<hand_back>(stmt); // null if compiled past this layer
    if (shared != nullptr && was_open && may_roll_back && sqlite3_get_autocommit(db) != 0) {
        shared->owner->is_rolled_back = true;
    }
    fail(db, code, "execute", shown(stmt.get()));
}

} // namespace sqlite::detail
