#include "apps/userdb/commands.h"

#include "apps/userdb/database_file.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/line_reader.h"
#include "apps/userdb/patient_output.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"
#include "apps/userdb/terminal.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sqlite3.h>
#include <unistd.h>

namespace userdb {

namespace {

/// The store for reading. It needs no current account for what is done here.
db::DBUser open_store(const arguments& given) {
    return {{}, open_database(given.database, sqlite::read_only)};
}

/// Prints records, one after the other, as the arguments say.
class record_output {
public:
    /// The arguments must outlive this.
    explicit record_output(const arguments& given)
        : m_given(given), m_table(m_out, {terminal_columns(), given.wide, has_colors()}) {}

    /// Returns false if this is the last record to print.
    bool print(const db::UserRow& user_row) {
        if (m_given.json) {
            print_json(user_row);
        } else {
            m_table.add(user_row);
        }
        return ++m_count < m_given.limit && m_out;
    }
    /// Prints what is held back, which may take long, so no statement may be running. Returns false
    /// if it cannot be printed.
    bool print_rest() {
        if (!m_given.json && m_count > 0) {
            m_table.finish();
        }
        return m_out.finish();
    }
    /// Prints what is held back, and returns whether there was any record.
    bool finish() {
        if (!print_rest()) {
            throw output_failed("done");
        }
        return m_count > 0;
    }

private:
    static bool has_colors() {
        const char* no_color = std::getenv("NO_COLOR");
        return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
    }
    void print_json(const db::UserRow& user_row) {
        bool is_utf8 = true;
        m_out << to_json(user_row, is_utf8) << '\n';
        if (!is_utf8) {
            report("has bytes that are no UTF-8, written as U+FFFD: " +
                   user_key{user_row.user_id, user_row.user_source}.text());
        }
    }

    const arguments& m_given;
    size_t m_count = 0;
    patient_output m_out;
    table_writer m_table;
};

status report_nothing_found() {
    report("nothing found");
    return status::nothing_found;
}

/// Is called with one user after the other until it returns false.
using visitor = std::function<bool(db::UserRow&)>;

void visit_contacts(const arguments& given, const visitor& visit) {
    db::DBUser users = open_store(given);
    users.SetSearchIgnoresDiacritics(given.ignores_diacritics);
    users.WalkUserRowsWithKeyWord(given.key_word, visit);
}

void visit_users(const arguments& given, const visitor& visit) {
    db::DBUser users = open_store(given);
    const auto kinds = static_cast<db::UserDataType>(given.kinds);
    if (given.kinds != 0 && given.source) {
        users.WalkUsersByDataTypeAndSource(kinds, *given.source, visit);
    } else if (given.kinds != 0) {
        users.WalkUsersByDataType(kinds, visit);
    } else {
        users.WalkAll([&](db::UserRow& user_row) {
            const bool is_wanted = !given.source || user_row.user_source == *given.source;
            return !is_wanted || visit(user_row);
        });
    }
}

/// Prints the users that one of these functions visits. Returns whether there was any.
bool print_visited(const arguments& given, void (*visit_each)(const arguments&, const visitor&)) {
    record_output out(given);
    try {
        visit_each(given, [&out](const db::UserRow& user_row) { return out.print(user_row); });
    } catch (const sqlite::error&) {
        out.print_rest(); // what can be read of a damaged file
        throw;
    }
    return out.finish();
}

/// Calls `work` with each record of the lines, and returns their number. If it throws `bad_input`,
/// the failure names the line.
size_t for_each_record(line_reader& lines, const char* doing,
                       const std::function<void(db::UserRow&)>& work) {
    progress reported(doing);
    size_t count = 0;
    for (std::string line; lines.next(line);) {
        try {
            db::UserRow user_row = from_json(line);
            work(user_row);
        } catch (const bad_input& failure) {
            throw bad_input(lines.place() + ": " + failure.what());
        } catch (const sqlite::error& failure) {
            throw sqlite::error(failure.code(), lines.place() + ": " + message_of(failure));
        }
        reported.update(++count, lines.share_read());
    }
    return count;
}

/// Does `work` with the store in a file, all in one transaction. A signal ends the statement that
/// is running, and rolls back. A new file is empty if that happens.
void change_store(const arguments& given, sqlite::access_mode mode,
                  const std::function<void(db::DBUser&)>& work) {
    const auto connection = open_database(given.database, mode);
    const interruption while_open(connection->native_handle());
    try {
        connection->as_transaction([&](sqlite::database&) {
            db::DBUser users({}, connection); // creates the table if it is missing
            work(users);
        });
    } catch (const sqlite::error&) {
        interruption::check();
        throw;
    }
}

/// Checks all records of a file before the first is written. So a bad one needs no rollback, and
/// other programs can write while we wait for a pipe.
void check_records(line_reader& lines) {
    const interruption until_checked;
    for_each_record(lines, "checking", [](db::UserRow&) {});
    lines.rewind();
}

/// Prints what was done to the database.
status print_done(const std::string& what) {
    if (!(std::cout << what << std::endl)) {
        throw output_failed(what);
    }
    return status::done;
}

/// Does `update` with the store. Prints the number of rows that it returns, or reports that there
/// are none.
status change_user(const arguments& given, const std::string& done,
                   const std::function<uint32_t(db::DBUser&)>& update) {
    uint32_t rows = 0;
    change_store(given, sqlite::read_write, [&](db::DBUser& users) { rows = update(users); });
    return rows > 0 ? print_done(done + ' ' + std::to_string(rows)) : report_nothing_found();
}

/// Checks the value for a field, and returns the function that gives it to a user. That one returns
/// the number of rows changed.
std::function<uint32_t(db::DBUser&)> update_of(const arguments& given) {
    const user_key& key = given.users.front();
    if (given.field == "remark") {
        return [&key, remark = remark_of(given.value)](db::DBUser& users) {
            return db::DBUser::UpdateRemarkByIdAndSource(remark, key.user_id, key.source, users);
        };
    }
    if (given.field == "data-type") {
        return [&key, kinds = kinds_from(given.value)](db::DBUser& users) {
            return db::DBUser::UpdateDataTypeByIdAndSource(kinds, key.user_id, key.source, users);
        };
    }
    if (given.value != "0" && given.value != "1") {
        throw bad_input("the value of " + given.field + " must be 0 or 1");
    }
    const auto update = given.field == "star" ? db::DBUser::UpdateIsStartByIdAndSource
                                              : db::DBUser::UpdateIsAttentionByIdAndSource;
    return [&key, update, is_set = given.value == "1"](db::DBUser& users) {
        return update(is_set, key.user_id, key.source, users);
    };
}

/// Stores a record. Returns the number of rows stored, 0 or 1.
uint32_t insert(db::DBUser& users, db::UserRow& user_row, const std::string& policy) {
    if (policy == "replace") {
        return users.InsertOrReplace(user_row);
    }
    if (policy == "ignore") {
        return users.InsertOrIgnore(user_row);
    }
    try {
        return users.Insert(user_row);
    } catch (const sqlite::error& failure) {
        if (failure.code() == SQLITE_CONSTRAINT_PRIMARYKEY) {
            throw bad_input("key 'user_id': this user is stored already");
        }
        throw;
    }
}

} // namespace

status import_contacts(const arguments& given) {
    line_reader lines(given.contacts);
    check_records(lines);
    size_t stored = 0;
    size_t read = 0;
    change_store(given, sqlite::read_write_create, [&](db::DBUser& users) {
        read = for_each_record(lines, "writing", [&](db::UserRow& row) {
            stored += insert(users, row, given.policy);
        });
    });
    return print_done("stored " + std::to_string(stored) + ", ignored " +
                      std::to_string(read - stored) + ", read " + std::to_string(read));
}

status export_users(const arguments& given) {
    arguments as_json = given;
    as_json.json = true;
    print_visited(as_json, visit_users);
    return status::done;
}

status search_contacts(const arguments& given) {
    if (!db::is_searchable(given.key_word)) {
        throw bad_input("the keyword '" + given.key_word +
                        "' is no valid regular expression, or its cost has no bound");
    }
    return print_visited(given, visit_contacts) ? status::done : report_nothing_found();
}

status list_users(const arguments& given) {
    return print_visited(given, visit_users) ? status::done : report_nothing_found();
}

status count_users(const arguments& given) {
    size_t count = 0;
    visit_users(given, [&count](db::UserRow&) { return ++count > 0; });
    std::cout << count << '\n';
    return status::done;
}

status get_users(const arguments& given) {
    constexpr std::ptrdiff_t at_once = 500; // the cost of a batch grows faster than its size
    db::DBUser users = open_store(given);
    record_output out(given);
    for (auto begin = given.users.begin(); begin != given.users.end();) {
        const auto end = begin + std::min(given.users.end() - begin, at_once);
        std::set<std::pair<std::string, int>> asked;
        std::map<std::string, user_key> missing;
        for (; begin != end; ++begin) {
            const auto source = static_cast<int>(begin->source);
            asked.emplace(begin->user_id, source);
            missing.emplace(users.make_local_user_id(begin->user_id, source), *begin);
        }
        for (const db::UserRow& user_row : users.GetUserRowsByUserIds(asked)) {
            if (is_of_kind(user_row, given.kinds)) {
                missing.erase(user_row.local_user_id);
                out.print(user_row);
            }
        }
        for (const auto& [local_user_id, key] : missing) {
            report("not found: " + key.text());
        }
    }
    return out.finish() ? status::done : report_nothing_found();
}

status update_users(const arguments& given) {
    line_reader lines(given.contacts);
    check_records(lines);
    std::vector<std::string> missing;
    size_t read = 0;
    change_store(given, sqlite::read_write, [&](db::DBUser& users) {
        read = for_each_record(lines, "writing", [&](db::UserRow& row) {
            if (users.Update(row) == 0) {
                missing.push_back(lines.place() +
                                  ": not found: " + user_key{row.user_id, row.user_source}.text());
            }
        });
    });
    std::for_each(missing.begin(), missing.end(), report);
    const size_t updated = read - missing.size();
    print_done("updated " + std::to_string(updated) + ", not found " +
               std::to_string(missing.size()) + ", read " + std::to_string(read));
    return updated > 0 ? status::done : status::nothing_found;
}

status create_index(const arguments& given) {
    change_store(given, sqlite::read_write, [](db::DBUser& users) { users.CreateUserIdIndex(); });
    return print_done("indexed");
}

status set_field(const arguments& given) {
    return change_user(given, "changed", update_of(given));
}

status delete_user(const arguments& given) {
    return change_user(given, "deleted", [&key = given.users.front()](db::DBUser& users) {
        return users.DelUserByUserIdAndSource(key.user_id, key.source);
    });
}

} // namespace userdb
