#include "apps/userdb/commands.h"
#include "apps/userdb/database_file.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/temporary_file.h"
#include "apps/userdb/terminal.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <limits>
#include <memory>
#include <sqlite3.h>
#include <unistd.h>

namespace userdb {

namespace {

/// Copies all pages, some at a time, so that others can write in between. Returns their number.
int copy_pages(const sqlite::database& from, const sqlite::database& to) {
    const std::unique_ptr<sqlite3_backup, int (*)(sqlite3_backup*)> backup(
        sqlite3_backup_init(to.native_handle(), "main", from.native_handle(), "main"),
        sqlite3_backup_finish);
    if (backup == nullptr) {
        throw sqlite::error(sqlite3_extended_errcode(to.native_handle()), "the copy cannot begin");
    }
    const bool is_watched = obeys_escapes(STDERR_FILENO);
    int left = std::numeric_limits<int>::max();
    int pages = 0;
    for (int code = SQLITE_OK, at_once = 1000; code == SQLITE_OK;) {
        check_signals();
        if (is_watched && pages > 0) {
            std::cerr << "copied " << pages - left << " of " << pages << " pages";
        }
        code = sqlite3_backup_step(backup.get(), at_once);
        std::cerr << (is_watched ? "\r\033[K" : ""); // so that nothing stands before what is said
        if (code != SQLITE_OK && code != SQLITE_DONE) {
            throw sqlite::error(code, sqlite3_errstr(code));
        }
        if (sqlite3_backup_remaining(backup.get()) > left) {
            at_once = -1; // somebody wrote, and SQLite began anew: now nobody may until the end
        }
        left = sqlite3_backup_remaining(backup.get());
        pages = sqlite3_backup_pagecount(backup.get());
    }
    return pages;
}

} // namespace

status back_up(const arguments& given) {
    const auto from = open_database(given.database, sqlite::read_only);
    if (file_pointer(std::fopen(given.file.c_str(), "wxe")) == nullptr) {
        throw bad_input("cannot create " + given.file + ": " + std::strerror(errno));
    }
    note_signals();
    try {
        const auto to = open_database(given.file, sqlite::read_write_create);
        return print_done("copied " + std::to_string(copy_pages(*from, *to)) + " pages");
    } catch (const sqlite::error& failure) {
        unlink(given.file.c_str());
        throw userdb::failure(status::database_failed, "cannot copy to " + given.file + ": " +
                                                           explained(failure, given.file));
    } catch (const interrupted&) {
        unlink(given.file.c_str());
        throw;
    }
}

} // namespace userdb
