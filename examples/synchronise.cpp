// A thread that synchronises: it stores what a server sends, while another one reads.
#include "bll/bll.shared/db2/db_handler_user.h"

#include <filesystem>
#include <iostream>
#include <thread>
#include <unistd.h>

namespace {

/// Each thread opens a connection of its own: on a shared one, a transaction would keep the other
/// thread waiting until it is committed.
std::shared_ptr<sqlite::database> open(const std::string& file) {
    auto connection = std::make_shared<sqlite::database>(file);
    // With a write-ahead log readers and the one writer do not wait for each other: a reader sees
    // the last commit before it began. Without it, a commit waits until nobody reads. The file
    // remembers the mode.
    connection->execute("PRAGMA journal_mode = WAL");
    connection->execute("PRAGMA synchronous = NORMAL"); // safe with the log: see SQLite's manual
    connection->set_statement_cache_capacity(16);
    return connection;
}

/// Stores a batch: all of it or, if it throws, nothing.
void store_batch(db::DBUser& users, int first, int count) {
    users.as_transaction([&] {
        for (int i = first; i < first + count; ++i) {
            db::UserRow user{.user_id = std::to_string(i), .user_name = "User"};
            users.InsertOrReplace(user);
        }
    });
}

size_t stored_in(db::DBUser& users) {
    size_t count = 0;
    users.WalkAll([&count](db::UserRow& /*user*/) {
        ++count;
        return true;
    });
    return count;
}

} // namespace

int main() {
    std::string folder = std::filesystem::temp_directory_path() / "synchroniseXXXXXX";
    const std::filesystem::path made = mkdtemp(folder.data());
    const std::string file = made / "users.db";
    {
        db::DBUser users({"me", 1}, open(file));
        std::thread synchronisation([&file] {
            db::DBUser own({"me", 1}, open(file));
            for (int batch = 0; batch < 10; ++batch) {
                store_batch(own, batch * 100, 100);
            }
        });
        bool is_whole = true;
        size_t count = 0;
        while (count < 1000) {
            count = stored_in(users);
            is_whole = is_whole && count % 100 == 0;
        }
        synchronisation.join();
        std::cout << count << " users, " << (is_whole ? "always" : "not always")
                  << " in whole batches\n";
    }
    std::filesystem::remove_all(made);
}
