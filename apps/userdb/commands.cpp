#include "apps/userdb/commands.h"

#include "apps/userdb/database_file.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/line_reader.h"
#include "apps/userdb/patient_output.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"
#include "apps/userdb/table_reader.h"
#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <sqlite3.h>
#include <unistd.h>
#include <utility>

namespace userdb {

namespace {

/// Prints a record as JSON, and reports what an import of that would not bring back. Returns
/// whether there is no such thing. `unfit` is as for a `visitor`.
bool print_json(const db::UserRow& user_row, const std::string& unfit, patient_output& out) {
    bool is_utf8 = true;
    out.write(to_json(user_row, is_utf8) + '\n');
    const user_key key{user_row.user_id, user_row.user_source};
    bool is_whole = true;
    const auto complain = [&](bool holds, const char* what, const std::string& more = "") {
        if (holds) {
            report(what + more + ": " + key.text());
        }
        is_whole = is_whole && !holds;
    };
    complain(!is_utf8, "has bytes that are no UTF-8, written as U+FFFD");
    complain(!unfit.empty(), "has other values, which do not fit, in", unfit);
    complain(key.user_id.empty(), "has no user_id, so that no import takes it");
    complain(user_row.local_user_id != key.stored_key(), "has a key that no import gives it, ",
             user_row.local_user_id);
    return is_whole;
}

/// A text as a literal of SQL.
std::string quoted(const std::string& text) {
    return '\'' + db::DBBase({}, nullptr).convert_quotation_mark(text) + '\'';
}

/// The condition of SQL for the users that are asked for. Empty for all.
std::string condition(const arguments& given) {
    std::vector<std::string> conditions;
    if (given.kinds != 0) {
        conditions.push_back("data_type & " + std::to_string(given.kinds));
    }
    if (given.source) {
        conditions.push_back("user_source = " + std::to_string(*given.source));
    }
    if (!given.users.empty()) {
        std::vector<std::string> keys;
        for (const user_key& key : given.users) {
            keys.push_back(quoted(key.stored_key()));
        }
        conditions.push_back("local_user_id IN (" + joined(keys, ", ") + ")");
    }
    return joined(conditions, " AND ");
}

/// The number of users that are asked for.
int64_t count(sqlite::database& connection, const arguments& given) {
    const std::string where = condition(given);
    return number(connection,
                  "SELECT count(*) FROM users" + (where.empty() ? "" : " WHERE " + where));
}

constexpr const char* is_contact = "data_type & 2"; // as the index of contacts has it

/// The same condition, in a form that finds contacts by their index where there is one, and in the
/// order of the table all the same.
std::string by_index(sqlite::database& connection, const std::string& condition) {
    const char* indexes = "SELECT count(*) FROM sqlite_master WHERE name = 'users_contacts' AND "
                          "type = 'index' AND tbl_name = 'users'";
    return condition.starts_with(is_contact) && number(connection, indexes) > 0
               ? "_rowid_ IN (SELECT _rowid_ FROM users WHERE " + condition + ")"
               : condition;
}

/// Prints the users for whom a condition of SQL holds.
status print_users(const arguments& given, sqlite::database& connection,
                   const std::string& wanted) {
    patient_output out;
    table_writer table(out, given.wide);
    size_t count = 0;
    bool is_whole = true;
    const auto print = [&](const db::UserRow& user_row, const std::string& unfit) {
        if (given.json) {
            is_whole = print_json(user_row, unfit, out) && is_whole;
        } else {
            table.add(user_row);
        }
        return ++count < given.limit;
    };
    const auto damage = visit_users(connection, by_index(connection, wanted), given.json, print);
    table.finish();
    out.finish(); // may wait for the reader, and no statement is running now
    if (damage) {
        throw sqlite::error(*damage);
    }
    return !is_whole ? status::not_all_told : count > 0 ? status::done : status::nothing_found;
}

/// Calls `work` with each record of the lines, and returns their number. Those without a kind get
/// these. A failure names the line. All records are checked so before the first is written: then a
/// bad one needs no rollback, and other programs can write while we wait for a pipe.
size_t for_each_record(line_reader& lines, uint32_t kinds,
                       const std::function<void(db::UserRow&)>& work) {
    size_t count = 0;
    for (std::string line; lines.next(line);) {
        try {
            db::UserRow user_row = from_json(line, kinds);
            work(user_row);
        } catch (const bad_input& failure) {
            throw bad_input(lines.place() + ": " + failure.what());
        } catch (const sqlite::error& failure) {
            if (failure.code() == SQLITE_CONSTRAINT_PRIMARYKEY) {
                throw bad_input(lines.place() + ": key 'user_id': this user is stored already");
            }
            throw sqlite::error(failure.code(), lines.place() + ": " + message_of(failure));
        }
        if (++count % 1000 == 0) {
            show_progress(lines.place() + ", " + std::to_string(lines.percent()) + " %");
        }
    }
    return count;
}

/// Does `work` with the store in a file, all in one transaction. A signal ends the statement that
/// is running, and rolls back. A new file is empty if that happens.
void change_store(const arguments& given, sqlite::access_mode mode,
                  const std::function<void(db::DBUser&)>& work) {
    const auto connection = open_database(given.database, given.key, mode);
    note_signals(connection->native_handle());
    connection->as_transaction([&](sqlite::database&) {
        db::DBUser users({}, connection); // creates the table if it is missing
        work(users);
    });
}

/// Prints what was done to the database.
status print_done(const std::string& what) {
    show_progress("");
    if (!(std::cout << what << std::endl)) {
        throw output_failed(what);
    }
    return status::done;
}

/// Prints how many rows were changed, if any.
status told_change(const std::string& done, uint32_t rows) {
    return rows > 0 ? print_done(done + ' ' + std::to_string(rows)) : status::nothing_found;
}

void report_if(int64_t count, const std::string& what) {
    if (count > 0) {
        report(std::to_string(count) + (count == 1 ? " user is " : " users are ") + what);
    }
}

/// Changes a field. Returns the number of rows changed.
uint32_t update(const arguments& given, db::DBUser& users) {
    using db::DBUser;
    const auto& [user_id, source] = given.users.front();
    if (given.field == "remark") {
        return DBUser::UpdateRemarkByIdAndSource(remark_of(given.value), user_id, source, users);
    }
    if (given.field == "data-type") {
        return DBUser::UpdateDataTypeByIdAndSource(kinds_from(given.value), user_id, source, users);
    }
    if (given.value != "0" && given.value != "1") {
        throw bad_input("the value of " + given.field + " must be 0 or 1");
    }
    const auto update_flag = given.field == "star" ? DBUser::UpdateIsStartByIdAndSource
                                                   : DBUser::UpdateIsAttentionByIdAndSource;
    return update_flag(given.value == "1", user_id, source, users);
}

/// Copies all pages, some at a time, so that others can write in between. Returns their number.
int copy_pages(const sqlite::database& from, const sqlite::database& to) {
    const std::unique_ptr<sqlite3_backup, int (*)(sqlite3_backup*)> backup(
        sqlite3_backup_init(to.native_handle(), "main", from.native_handle(), "main"),
        sqlite3_backup_finish);
    if (backup == nullptr) {
        throw sqlite::error(sqlite3_extended_errcode(to.native_handle()), "the copy cannot begin");
    }
    int left = 0;
    int at_once = 1000;
    int code = SQLITE_OK;
    while ((code = sqlite3_backup_step(backup.get(), at_once)) == SQLITE_OK) {
        check_signals();
        const int before = std::exchange(left, sqlite3_backup_remaining(backup.get()));
        // If somebody wrote, SQLite began anew: now nobody may until the end.
        at_once = before > 0 && left > before ? -1 : at_once;
        show_progress(std::to_string(left) + " pages to copy");
    }
    if (code != SQLITE_DONE) {
        throw sqlite::error(code, sqlite3_errstr(code));
    }
    return sqlite3_backup_pagecount(backup.get());
}

} // namespace

status import_contacts(const arguments& given) {
    const auto insert = given.policy == "replace"  ? &db::DBUser::InsertOrReplace
                        : given.policy == "ignore" ? &db::DBUser::InsertOrIgnore
                                                   : &db::DBUser::Insert;
    line_reader lines(given.file);
    for_each_record(lines, given.kinds, [](db::UserRow&) {});
    lines.rewind();
    int64_t stored = 0;
    int64_t replaced = 0;
    int64_t without_kind = 0;
    int64_t unreadable = 0;
    size_t read = 0;
    change_store(given, sqlite::read_write_create, [&](db::DBUser& users) {
        sqlite::database& connection = *users.GetDB();
        const std::string row = row_number(connection);
        const int64_t before = number(connection, "SELECT max(" + row + ") FROM users");
        read = for_each_record(lines, given.kinds, [&](db::UserRow& user_row) {
            const uint32_t rows = (users.*insert)(user_row);
            stored += rows;
            without_kind += kind_names(user_row.data_type).empty() ? rows : 0;
            unreadable += is_readable(user_row.remark) ? 0 : rows;
        });
        if (row != "0") { // a row that is replaced gets a new number
            replaced = stored - number(connection, "SELECT count(*) FROM users WHERE " + row +
                                                       " > " + std::to_string(before));
        }
    });
    const status outcome = print_done("stored " + std::to_string(stored - replaced) + ", ignored " +
                                      std::to_string(static_cast<int64_t>(read) - stored) +
                                      ", read " + std::to_string(read));
    report_if(replaced, "replaced by a later line of the file for the same user");
    report_if(without_kind, "of no kind: search does not look at them");
    report_if(unreadable, R"(not found by a remark that is no JSON such as {"remark_name":"..."})");
    return outcome;
}

status export_users(const arguments& given) {
    arguments as_json = given;
    as_json.json = true;
    const status outcome =
        print_users(as_json, *open_database(given.database, given.key), condition(given));
    return outcome == status::nothing_found ? status::done : outcome;
}

status search_contacts(const arguments& given) {
    const std::string key_word =
        given.is_literal ? db::escape_key_word(given.key_word) : given.key_word;
    if (!db::is_searchable(key_word)) {
        throw bad_input("the keyword '" + given.key_word +
                        "' is no valid regular expression, or its cost has no bound");
    }
    db::DBUser users({}, open_database(given.database, given.key)); // brings USER_REGEX
    users.SetSearchIgnoresDiacritics(given.ignores_diacritics);
    return print_users(
        given, *users.GetDB(),
        is_contact + (" AND USER_REGEX(user_name, remark, group_info, " + quoted(key_word) + ")"));
}

status list_users(const arguments& given) {
    return print_users(given, *open_database(given.database, given.key), condition(given));
}

status count_users(const arguments& given) {
    std::cout << count(*open_database(given.database, given.key), given) << '\n';
    return status::done;
}

status get_users(const arguments& given) {
    const auto connection = open_database(given.database, given.key);
    const status outcome = print_users(given, *connection, condition(given));
    for (const user_key& key : given.users) {
        arguments alone = given;
        alone.users = {key};
        if (count(*connection, alone) == 0) {
            report("not found: " + key.text());
        }
    }
    return outcome;
}

status update_users(const arguments& given) {
    constexpr size_t most_named = 100;
    line_reader lines(given.file);
    for_each_record(lines, given.kinds, [](db::UserRow&) {});
    lines.rewind();
    size_t missing = 0;
    size_t read = 0;
    change_store(given, sqlite::read_write, [&](db::DBUser& users) {
        read = for_each_record(lines, 0, [&](db::UserRow& row) {
            if (users.Update(row) == 0 && ++missing <= most_named) {
                report(lines.place() +
                       ": not found: " + user_key{row.user_id, row.user_source}.text());
            }
        });
    });
    print_done("updated " + std::to_string(read - missing) + ", not found " +
               std::to_string(missing) + ", read " + std::to_string(read));
    return missing < read ? status::done : status::nothing_found;
}

status create_index(const arguments& given) {
    change_store(given, sqlite::read_write, [](db::DBUser& users) {
        users.CreateUserIdIndex();
        users.CreateContactIndex();
    });
    return print_done("indexed");
}

status set_field(const arguments& given) {
    if (given.users.size() != 1) {
        throw bad_input("one user is needed, as USER_ID:SOURCE, and a value");
    }
    const user_key& key = given.users.front();
    uint32_t rows = 0;
    int64_t without_version = 0; // no update raises a version that is NULL
    change_store(given, sqlite::read_write, [&](db::DBUser& users) {
        rows = update(given, users);
        without_version = number(*users.GetDB(), "SELECT count(*) FROM users WHERE user_version "
                                                 "IS NULL AND user_id = " +
                                                     quoted(key.user_id) + " AND user_source = " +
                                                     std::to_string(key.source));
    });
    if (without_version > 0) {
        report("its user_version is NULL, and stays so");
    }
    return told_change("changed", rows);
}

status back_up(const arguments& given) {
    const auto from = open_database(given.database, given.key);
    if (file_pointer(std::fopen(given.file.c_str(), "wxe")) == nullptr) {
        throw bad_input("cannot create " + given.file + ": " + std::strerror(errno));
    }
    note_signals();
    try {
        const auto to = open_database(given.file, given.key, sqlite::read_write_create);
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

status delete_users(const arguments& given) {
    uint32_t rows = 0;
    change_store(given, sqlite::read_write, [&](db::DBUser& users) {
        for (const user_key& key : given.users) {
            const uint32_t deleted = users.DelUserByUserIdAndSource(key.user_id, key.source);
            rows += deleted;
            if (deleted == 0) {
                report("not found: " + key.text());
            }
        }
    });
    return told_change("deleted", rows);
}

} // namespace userdb
