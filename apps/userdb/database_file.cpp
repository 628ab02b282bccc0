#include "apps/userdb/database_file.h"

#include "apps/userdb/failures.h"

#include <cerrno>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace userdb {

namespace {

bool has_users(sqlite::database& connection) {
    const sqlite::result found =
        connection.execute("SELECT 1 FROM sqlite_master WHERE type IN ('table', 'view')"
                           " AND name = 'users' COLLATE NOCASE");
    return found.begin() != found.end();
}

/// Whether a program was interrupted while it wrote, and a reader may not undo that.
bool is_half_written(int code) {
    return code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY;
}

bool is_there(const std::string& path, struct stat& about) {
    return stat(path.c_str(), &about) == 0;
}

/// Why a file cannot be opened, or not be read as one.
std::string why_not_opened(const std::string& file) {
    struct stat about {};
    if (is_there(file, about)) {
        return S_ISDIR(about.st_mode) ? "it is a directory" : "it may not be opened";
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        return "it may not be opened";
    }
    const size_t name = file.rfind('/') + 1; // 0 without a slash
    return name > 0 && !is_there(file.substr(0, name), about) ? "its folder is missing"
                                                              : "there is no such file";
}

} // namespace

std::shared_ptr<sqlite::database> open_database(const std::string& file, sqlite::access_mode mode) {
    if (file == ":memory:") {
        throw bad_input("--db must name a file");
    }
    // SQLite may read a name that begins like this as a URI.
    const bool looks_like_uri = file.starts_with("file:");
    auto connection = std::make_shared<sqlite::database>((looks_like_uri ? "./" : "") + file, mode);
    try {
        if (mode != sqlite::read_write_create && !has_users(*connection)) {
            throw sqlite::error(SQLITE_ERROR, "it has no table users");
        }
    } catch (const sqlite::error& failure) {
        if (mode == sqlite::read_only && is_half_written(failure.code())) {
            return open_database(file, sqlite::read_write);
        }
        throw;
    }
    connection->set_statement_cache_capacity(16); // more statements than any command has
    return connection;
}

std::string message_of(const sqlite::error& failure) {
    const std::string text = failure.what();
    const size_t begin = text.starts_with("cannot ") ? text.find(": ") + 2 : 0;
    return text.substr(begin, text.find(", in: ") - begin);
}

std::string explained(const sqlite::error& failure, const std::string& file) {
    if (is_half_written(failure.code())) {
        return "a program that wrote to it was interrupted; to undo that, userdb must be allowed "
               "to "
               "write to it and to its folder, or to a copy of it and of the files beside it";
    }
    if (failure.code() == SQLITE_READONLY_DIRECTORY) {
        return "its folder may not be written; copy it elsewhere with the files beside it";
    }
    struct stat about {};
    switch (failure.code() & 0xff) { // the primary code
    case SQLITE_CANTOPEN:
        return why_not_opened(file);
    case SQLITE_IOERR:
        return is_there(file, about) && S_ISDIR(about.st_mode) ? "it is a directory"
                                                               : message_of(failure);
    case SQLITE_NOTADB:
        return "it is no SQLite database, or an encrypted one";
    case SQLITE_CORRUPT:
        return "it is damaged; .recover of the sqlite3 shell may read more of it";
    case SQLITE_BUSY:
        return "another program has locked it";
    case SQLITE_READONLY:
        return "it may not be written";
    case SQLITE_FULL:
        return "the disk is full";
    default:
        return message_of(failure);
    }
}

} // namespace userdb
