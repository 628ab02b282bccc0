// What SQLite offers beside this library, by the connection's native handle: to hear of changes,
// and to copy a database while it is in use.
#include "bll/bll.shared/db2/db_handler_user.h"

#include <iostream>
#include <sqlite3.h>

namespace {

/// Adds the rows of `users` that change through this connection to a list. SQLite calls the
/// function in the midst of a statement: it must not use the connection, nor throw.
void watch_users(sqlite::database& connection, std::vector<sqlite3_int64>& changed) {
    const auto note = [](void* list, int /*operation*/, const char* /*schema*/, const char* table,
                         sqlite3_int64 row) {
        if (table == std::string_view("users")) {
            static_cast<std::vector<sqlite3_int64>*>(list)->push_back(row);
        }
    };
    sqlite3_update_hook(connection.native_handle(), note, &changed);
}

/// Copies a database, 100 pages at a time, so that others can write in between.
void back_up(const sqlite::database& from, const sqlite::database& to) {
    sqlite3* target = to.native_handle();
    sqlite3_backup* backup = sqlite3_backup_init(target, "main", from.native_handle(), "main");
    while (backup != nullptr && sqlite3_backup_step(backup, 100) == SQLITE_OK) {
    }
    sqlite3_backup_finish(backup);
    if (sqlite3_errcode(target) != SQLITE_OK) {
        throw sqlite::error(sqlite3_extended_errcode(target), sqlite3_errmsg(target));
    }
}

} // namespace

int main() try {
    auto connection = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    db::DBUser users({"me", 1}, connection);
    std::vector<sqlite3_int64> changed;
    changed.reserve(100); // so that noting a row does not throw
    watch_users(*connection, changed);
    db::UserRow alice{.user_id = "u1001", .user_name = "Alice"};
    users.Insert(alice);
    db::DBUser::UpdateIsStartByIdAndSource(true, "u1001", 0, users);
    std::cout << changed.size() << " changes\n";

    auto copy = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    back_up(*connection, *copy);
    std::cout << db::DBUser({"me", 1}, copy).GetAll().size() << " user in the copy\n";
} catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
