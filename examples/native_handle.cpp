// What SQLite offers beside this library, by the connection's native handle: to hear of changes,
// and to copy a database while it is in use. It prints
//     2 changes
//     1 user in the copy
#include "bll/bll.shared/db2/db_handler_user.h"

#include <iostream>
#include <sqlite3.h>

namespace {

struct user_changes {
    std::vector<sqlite3_int64> rows;
    bool is_whole = true; ///< false once there was no memory to note a row
};

/// Notes each row of `users` that changes through this connection, which `changes` must outlive;
/// the row may still be rolled back. SQLite calls the function in the midst of a statement: it must
/// not use the connection, nor throw.
void watch_users(sqlite::database& connection, user_changes& changes) {
    const auto note = [](void* list, int /*operation*/, const char* /*schema*/, const char* table,
                         sqlite3_int64 row) {
        auto& noted = *static_cast<user_changes*>(list);
        try {
            if (table == std::string_view("users")) {
                noted.rows.push_back(row);
            }
        } catch (const std::bad_alloc&) {
            noted.is_whole = false;
        }
    };
    sqlite3_update_hook(connection.native_handle(), note, &changes);
}

/// Copies a database, 100 pages at a time, so that others can write in between.
void back_up(const sqlite::database& from, const sqlite::database& to) {
    sqlite3* target = to.native_handle();
    sqlite3_backup* backup = sqlite3_backup_init(target, "main", from.native_handle(), "main");
    while (backup != nullptr && sqlite3_backup_step(backup, 100) == SQLITE_OK) {
    }
    sqlite3_backup_finish(backup); // leaves its code, or that of the beginning, with the target
    if (sqlite3_errcode(target) != SQLITE_OK) {
        throw sqlite::error(sqlite3_extended_errcode(target), sqlite3_errmsg(target));
    }
}

} // namespace

int main() try {
    user_changes changes;
    auto connection = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    db::DBUser users({"me", 1}, connection);
    watch_users(*connection, changes);
    db::UserRow alice{.user_id = "u1001", .user_name = "Alice"};
    users.Insert(alice);
    db::DBUser::UpdateIsStartByIdAndSource(true, "u1001", 0, users);
    std::cout << changes.rows.size() << " changes\n";

    auto copy = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    back_up(*connection, *copy);
    std::cout << db::DBUser({"me", 1}, copy).GetAll().size() << " user in the copy\n";
} catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
