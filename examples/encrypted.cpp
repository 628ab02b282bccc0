// An encrypted database, where SQLite is SQLCipher: the key goes in by the connection's native
// handle, before anything else. It prints
//     found Alice
//     a wrong key: file is not a database
//     found Alice with the new key
//     found Alice in the copy
#include "bll/bll.shared/db2/db_handler_user.h"

#include <filesystem>
#include <iostream>
#include <sqlite3.h>

namespace {

void check(const sqlite::database& connection, int code) {
    if (code != SQLITE_OK) {
        throw sqlite::error(code, sqlite3_errmsg(connection.native_handle()));
    }
}

/// Opens a database. The key is no part of a statement, as in PRAGMA key, since the text of an
/// error shows the beginning of its statement. SQLCipher says only once that a key is wrong, and
/// then that there is no memory: so a statement that reads follows at once.
std::shared_ptr<sqlite::database> open(const std::string& file, std::string_view key) {
    auto connection = std::make_shared<sqlite::database>(file);
    const auto bytes = static_cast<int>(key.size());
    check(*connection, sqlite3_key(connection->native_handle(), key.data(), bytes));
    connection->execute("SELECT count(*) FROM sqlite_master");
    return connection;
}

/// Encrypts the database anew.
void change_key(const sqlite::database& connection, std::string_view key) {
    const auto bytes = static_cast<int>(key.size());
    check(connection, sqlite3_rekey(connection.native_handle(), key.data(), bytes));
}

/// Copies a database into one that has been opened with the same key.
void back_up(const sqlite::database& from, const sqlite::database& to) {
    sqlite3_backup* backup =
        sqlite3_backup_init(to.native_handle(), "main", from.native_handle(), "main");
    sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup); // leaves its code with the target
    check(to, sqlite3_errcode(to.native_handle()));
}

std::string found(const std::shared_ptr<sqlite::database>& connection) {
    return "found " +
           db::DBUser({"me", 1}, connection).SearchUserRowsWithKeyWord("ali").at(0).user_name;
}

void encrypt(const std::string& folder) {
    const std::string file = folder + "/users.db";
    {
        db::DBUser users({"me", 1}, open(file, "a passphrase"));
        db::UserRow alice{.user_id = "u1001", .user_name = "Alice"};
        alice.data_type = static_cast<uint32_t>(db::UserDataType::USERDATA_CONTACT);
        users.Insert(alice);
    }
    std::cout << found(open(file, "a passphrase")) << '\n';
    try {
        open(file, "another");
    } catch (const sqlite::error& failure) {
        std::cout << "a wrong key: " << sqlite3_errstr(failure.code()) << '\n';
    }
    change_key(*open(file, "a passphrase"), "a new one");
    const auto connection = open(file, "a new one");
    std::cout << found(connection) << " with the new key\n";
    const auto copy = open(folder + "/copy.db", "a new one");
    back_up(*connection, *copy);
    std::cout << found(copy) << " in the copy\n";
}

} // namespace

int main() {
    std::string folder = std::filesystem::temp_directory_path() / "encryptedXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        return 1;
    }
    int status = 0;
    try {
        encrypt(folder);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
