#include "apps/userdb/database_file.h"

#include "apps/userdb/failures.h"

#include <filesystem>
#include <map>
#include <sqlite3.h>
#include <system_error>

namespace userdb {

namespace {

constexpr const char* half_written =
    "a program that wrote to it was interrupted; to undo that, userdb must be allowed to write to "
    "it and to its folder, or to a copy of it and of the files beside it";

/// What codes of SQLite mean. An extended code goes before its primary one.
const std::map<int, const char*> meanings{
    {SQLITE_READONLY_ROLLBACK, half_written},
    {SQLITE_READONLY_RECOVERY, half_written},
    {SQLITE_READONLY_DIRECTORY,
     "its folder may not be written; copy it elsewhere with the files beside it"},
    {SQLITE_READONLY, "it may not be written"},
    {SQLITE_NOTADB, "it is no SQLite database, or an encrypted one"},
    {SQLITE_CORRUPT, "it is damaged; .recover of the sqlite3 shell may read more of it"},
    {SQLITE_BUSY, "another program has locked it"},
    {SQLITE_FULL, "the disk is full"},
};

} // namespace

std::shared_ptr<sqlite::database> open_database(const std::string& file, const std::string& key,
                                                sqlite::access_mode mode) {
    // SQLite would not take ":memory:" and "file:..." for names of files.
    const std::string path = std::filesystem::absolute(file);
    auto connection = std::make_shared<sqlite::database>(path, mode);
    try {
#ifdef SQLITE_HAS_CODEC
        if (!key.empty()) {
            connection->execute("PRAGMA cipher_log_level = NONE"); // or it writes to standard error
            const auto bytes = static_cast<int>(key.size());
            if (sqlite3_key(connection->native_handle(), key.data(), bytes) != SQLITE_OK) {
                throw sqlite::error(SQLITE_NOMEM, "the key cannot be set");
            }
        }
#endif
        const std::string table = mode == sqlite::read_write_create ? "sqlite_master" : "users";
        connection->execute("SELECT 1 FROM " + table + " LIMIT 0");
    } catch (const sqlite::error& failure) {
        const bool is_half_written = failure.code() == SQLITE_READONLY_ROLLBACK ||
                                     failure.code() == SQLITE_READONLY_RECOVERY;
        if (mode == sqlite::read_only && is_half_written) {
            return open_database(file, key, sqlite::read_write);
        }
        if (failure.code() == SQLITE_NOTADB && !key.empty()) {
            throw userdb::failure(status::database_failed,
                                  file + ": the key is wrong, or it is no SQLite database");
        }
        throw;
    }
    connection->set_statement_cache_capacity(16); // more statements than any command has
    return connection;
}

std::string message_of(const sqlite::error& failure) {
    const std::string text = failure.what();
    const size_t begin = text.starts_with("cannot ") ? text.find(": ") + 2 : 0;
    const std::string message = text.substr(begin, text.find(", in: ") - begin);
    const std::string_view lacks = "no such column: ";
    return message.starts_with(lacks) ? "an older table: it has no " + message.substr(lacks.size())
                                      : message;
}

std::string explained(const sqlite::error& failure, const std::string& file) {
    for (const int code : {failure.code(), failure.code() & 0xff}) {
        if (const auto meaning = meanings.find(code); meaning != meanings.end()) {
            return meaning->second;
        }
    }
    std::error_code unknown;
    const auto type = std::filesystem::status(file, unknown).type();
    if (type == std::filesystem::file_type::directory) {
        return "it is a directory";
    }
    if ((failure.code() & 0xff) != SQLITE_CANTOPEN) {
        return message_of(failure);
    }
    if (type != std::filesystem::file_type::not_found) {
        return "it may not be opened";
    }
    const auto folder = std::filesystem::absolute(file, unknown).parent_path();
    return exists(folder, unknown) ? "there is no such file" : "its folder is missing";
}

} // namespace userdb
