// A thread that synchronises: it stores what a server sends, while another one reads. It prints
//     1000 users, always in whole batches
#include "bll/bll.shared/db2/db_handler_user.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <iostream>
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
    // Commits no longer wait for the disk. A power cut can then cost the last of them, which the
    // server sends again, but never the file.
    connection->execute("PRAGMA synchronous = NORMAL");
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

/// Reads while the thread stores. Throws what the thread has thrown.
void synchronise(const std::string& file) {
    db::DBUser users({"me", 1}, open(file));
    std::future<void> synchronisation = std::async(std::launch::async, [&file] {
        db::DBUser own({"me", 1}, open(file));
        for (int batch = 0; batch < 10; ++batch) {
            store_batch(own, batch * 100, 100);
        }
    });
    bool is_whole = true;
    for (auto state = std::future_status::timeout; state != std::future_status::ready;) {
        state = synchronisation.wait_for(std::chrono::milliseconds(1));
        is_whole = is_whole && users.GetAll().size() % 100 == 0;
    }
    synchronisation.get();
    std::cout << users.GetAll().size() << " users, " << (is_whole ? "always" : "not always")
              << " in whole batches\n";
}

} // namespace

int main() {
    std::string folder = std::filesystem::temp_directory_path() / "synchroniseXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        return 1;
    }
    int status = 0;
    try {
        synchronise(folder + "/users.db");
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
