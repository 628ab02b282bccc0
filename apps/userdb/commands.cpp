#include "apps/userdb/commands.h"

#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/line_reader.h"
#include "apps/userdb/patient_output.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"
#include "apps/userdb/terminal.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <set>
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

/// The store in a file. Only an import makes the table: any other command would put it into a
/// database of somebody else's. No operation used here asks for the current account.
db::DBUser open_store(const options& common, sqlite::access_mode mode) {
    if (common.database == ":memory:") {
        throw bad_input("--db must name a file");
    }
    // SQLite may read a name that begins like this as a URI.
    const bool looks_like_uri = common.database.starts_with("file:");
    const auto connection =
        std::make_shared<sqlite::database>((looks_like_uri ? "./" : "") + common.database, mode);
    if (mode != sqlite::read_write_create && !has_users(*connection)) {
        throw sqlite::error(SQLITE_ERROR, "it has no table users");
    }
    connection->set_statement_cache_capacity(16); // one for each kind of statement
    return {{}, connection};
}

/// Prints records one after the other as the options say.
class printer {
public:
    explicit printer(const options& common)
        : m_json(common.json), m_limit(common.limit),
          m_table(m_out, {terminal_columns(), common.wide, has_colors()}) {}

    /// Whether more are to be printed.
    bool print(const db::UserRow& user_row) {
        if (m_json) {
            print_json(user_row);
        } else {
            m_table.add(user_row);
        }
        return ++m_count < m_limit && m_out;
    }
    /// Prints what is held back. To be called when no statement is running any more. False if it
    /// cannot be printed.
    bool print_rest() {
        if (!m_json && m_count > 0) {
            m_table.finish();
        }
        return m_out.finish();
    }
    status finish() {
        if (!print_rest()) {
            throw untold("done");
        }
        return m_count > 0 ? status::done : status::nothing_found;
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
            const user_key key{user_row.user_id, user_row.user_source};
            std::cerr << "userdb: has bytes that are no UTF-8, written as U+FFFD: "
                      << printable_text(key.text()) << '\n';
        }
    }

    bool m_json;
    size_t m_limit;
    size_t m_count = 0;
    patient_output m_out;
    table_writer m_table;
};

/// Says so if nothing was found.
status say_if_nothing(status outcome) {
    if (outcome == status::nothing_found) {
        std::cerr << "userdb: nothing found\n";
    }
    return outcome;
}

/// Prints the records that `walk` hands to a visitor.
template <typename Walk>
status print_all(const options& common, const Walk& walk) {
    printer out(common);
    try {
        walk([&out](const db::UserRow& user_row) { return out.print(user_row); });
    } catch (const sqlite::error&) {
        out.print_rest(); // what can be read of a damaged file
        throw;
    }
    return out.finish();
}

using visitor = std::function<bool(db::UserRow&)>;

void walk(const options& common, const filter& wanted, const visitor& visit) {
    db::DBUser users = open_store(common, sqlite::read_only);
    const auto kinds = static_cast<db::UserDataType>(wanted.data_type);
    if (wanted.data_type != 0 && wanted.source) {
        users.WalkUsersByDataTypeAndSource(kinds, *wanted.source, visit);
    } else if (wanted.data_type != 0) {
        users.WalkUsersByDataType(kinds, visit);
    } else {
        users.WalkAll([&](db::UserRow& user_row) {
            const bool is_wanted = !wanted.source || user_row.user_source == *wanted.source;
            return !is_wanted || visit(user_row);
        });
    }
}

/// Calls `work` with each record of the lines. What it does not take names its line.
size_t for_each_record(line_reader& lines, const char* doing,
                       const std::function<void(db::UserRow&)>& work) {
    progress shown(doing);
    size_t count = 0;
    for (std::string line; lines.next(line);) {
        try {
            db::UserRow user_row = from_json(line);
            work(user_row);
        } catch (const bad_input& failure) {
            throw bad_input(lines.place() + ": " + failure.what());
        }
        shown.show(++count, lines.share_read());
    }
    return count;
}

/// A file under another name until it is complete; gone if it never is.
class unfinished_file {
public:
    explicit unfinished_file(const std::string& path)
        : m_path(path), m_name(path + ".new-" + std::to_string(getpid())) {}
    ~unfinished_file() { unlink(m_name.c_str()); }
    unfinished_file(const unfinished_file&) = delete;
    unfinished_file& operator=(const unfinished_file&) = delete;

    [[nodiscard]] const std::string& name() const { return m_name; }
    /// Throws if there is a file at the path by now.
    void finish() const {
        const char* from = m_name.c_str();
        const char* to = m_path.c_str();
        // Some file systems know no links.
        if (link(from, to) != 0 && (errno != EPERM || std::rename(from, to) != 0)) {
            throw sqlite::error(SQLITE_ERROR, std::strerror(errno));
        }
    }

private:
    std::string m_path;
    std::string m_name;
};

/// Does `work` with the store in a file. A signal ends the statement that is running, and with it a
/// transaction.
void change(const options& common, sqlite::access_mode mode,
            const std::function<void(db::DBUser&)>& work) {
    db::DBUser users = open_store(common, mode);
    const interruption until_rolled_back(users.GetDB()->native_handle());
    try {
        work(users);
    } catch (const sqlite::error&) {
        interruption::check();
        throw;
    }
}

/// The same with a file that is made if there is none. If that fails, there is none either.
void change_or_make(const options& common, const std::function<void(db::DBUser&)>& work) {
    struct stat about {};
    if (lstat(common.database.c_str(), &about) == 0) {
        change(common, sqlite::read_write_create, work);
        return;
    }
    const unfinished_file file(common.database);
    options unfinished = common;
    unfinished.database = file.name();
    change(unfinished, sqlite::read_write_create, work);
    file.finish();
}

/// Checks all records of a file, so that nothing need be rolled back for a bad one, and so that a
/// pipe keeps nobody else from writing while we wait for it.
void check_records(line_reader& lines) {
    const interruption until_checked;
    for_each_record(lines, "checking", [](db::UserRow&) {});
    lines.rewind();
}

/// Does `work` with each record inside one transaction. Returns their number.
size_t change_by_records(db::DBUser& users, line_reader& lines,
                         const std::function<void(db::UserRow&)>& work) {
    size_t count = 0;
    users.as_transaction([&] { count = for_each_record(lines, "writing", work); });
    return count;
}

/// Prints what was done to the database.
status say_done(const std::string& what, bool found_any) {
    if (!(std::cout << what << std::endl)) {
        throw untold(what);
    }
    return found_any ? status::done : status::nothing_found;
}

status say_changed(const char* what, uint32_t count) {
    if (count == 0) {
        return say_if_nothing(status::nothing_found);
    }
    return say_done(std::string(what) + ' ' + std::to_string(count), true);
}

/// The update that sets a field of a user, the value checked. Returns the number of rows changed.
std::function<uint32_t(db::DBUser&)> update_of(const std::string& field, const user_key& key,
                                               const std::string& value) {
    if (field == "remark") {
        return [key, remark = remark_of(value)](db::DBUser& users) {
            return db::DBUser::UpdateRemarkByIdAndSource(remark, key.user_id, key.source, users);
        };
    }
    if (field == "data-type") {
        return [key, data_type = data_type_of(value)](db::DBUser& users) {
            return db::DBUser::UpdateDataTypeByIdAndSource(data_type, key.user_id, key.source,
                                                           users);
        };
    }
    if (value != "0" && value != "1") {
        throw bad_input("the value of " + field + " must be 0 or 1");
    }
    const auto update = field == "star" ? db::DBUser::UpdateIsStartByIdAndSource
                                        : db::DBUser::UpdateIsAttentionByIdAndSource;
    return [key, update, is_set = value == "1"](db::DBUser& users) {
        return update(is_set, key.user_id, key.source, users);
    };
}

/// The number of rows stored, 0 or 1.
uint32_t store(db::DBUser& users, db::UserRow& user_row, on_conflict policy) {
    switch (policy) {
    case on_conflict::replace:
        return users.InsertOrReplace(user_row);
    case on_conflict::ignore:
        return users.InsertOrIgnore(user_row);
    case on_conflict::fail:
        break;
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

std::string explained(const sqlite::error& failure) {
    switch (failure.code()) {
    case SQLITE_CANTOPEN:
        return "there is no such file, or it cannot be opened";
    case SQLITE_NOTADB:
        return "it is no SQLite database, or an encrypted one";
    case SQLITE_BUSY:
        return "another program has locked it";
    case SQLITE_READONLY:
        return "it may not be written";
    case SQLITE_READONLY_DIRECTORY:
        return "its folder may not be written; copy it elsewhere with the files beside it";
    case SQLITE_READONLY_ROLLBACK:
    case SQLITE_READONLY_RECOVERY:
        return "a program that wrote to it was interrupted; undo that by userdb delete or set, if "
               "its folder may not be written on a copy of it and of the files beside it";
    default:
        return failure.what();
    }
}

status import_contacts(const options& common, const std::string& file, on_conflict policy) {
    line_reader lines(file);
    check_records(lines);
    size_t stored = 0;
    size_t read = 0;
    change_or_make(common, [&](db::DBUser& users) {
        read = change_by_records(users, lines,
                                 [&](db::UserRow& row) { stored += store(users, row, policy); });
    });
    return say_done("stored " + std::to_string(stored) + ", ignored " +
                        std::to_string(read - stored) + ", read " + std::to_string(read),
                    true);
}

status search(const options& common, const std::string& key_word) {
    if (!db::is_searchable(key_word)) {
        throw bad_input("the keyword '" + key_word +
                        "' is no valid regular expression, or its cost has no bound");
    }
    db::DBUser users = open_store(common, sqlite::read_only);
    return say_if_nothing(print_all(
        common, [&](const visitor& visit) { users.WalkUserRowsWithKeyWord(key_word, visit); }));
}

status list(const options& common, const filter& wanted) {
    return say_if_nothing(
        print_all(common, [&](const visitor& visit) { walk(common, wanted, visit); }));
}

status count(const options& common, const filter& wanted) {
    size_t users = 0;
    walk(common, wanted, [&users](db::UserRow&) { return ++users > 0; });
    std::cout << users << '\n';
    return status::done;
}

status get(const options& common, const std::vector<user_key>& keys, uint32_t data_type) {
    constexpr std::ptrdiff_t at_once = 500; // the cost of a batch grows faster than its size
    db::DBUser users = open_store(common, sqlite::read_only);
    printer out(common);
    for (auto begin = keys.begin(); begin != keys.end();) {
        const auto end = begin + std::min(keys.end() - begin, at_once);
        std::set<std::pair<std::string, int>> asked;
        std::map<std::string, user_key> missing;
        for (; begin != end; ++begin) {
            const auto source = static_cast<int>(begin->source);
            asked.emplace(begin->user_id, source);
            missing.emplace(users.make_local_user_id(begin->user_id, source), *begin);
        }
        for (const db::UserRow& user_row : users.GetUserRowsByUserIds(asked)) {
            if (data_type == 0 || (user_row.data_type & data_type) != 0) {
                missing.erase(user_row.local_user_id);
                out.print(user_row);
            }
        }
        for (const auto& [local_user_id, key] : missing) {
            std::cerr << "userdb: not found: " << printable_text(key.text()) << '\n';
        }
    }
    return say_if_nothing(out.finish());
}

status remove(const options& common, const user_key& key) {
    uint32_t deleted = 0;
    change(common, sqlite::read_write, [&](db::DBUser& users) {
        deleted = users.DelUserByUserIdAndSource(key.user_id, key.source);
    });
    return say_changed("deleted", deleted);
}

status export_users(options common) {
    common.json = true;
    print_all(common, [&](const visitor& visit) { walk(common, {}, visit); });
    return status::done;
}

status update(const options& common, const std::string& file) {
    line_reader lines(file);
    check_records(lines);
    std::vector<std::string> missing;
    size_t read = 0;
    change(common, sqlite::read_write, [&](db::DBUser& users) {
        read = change_by_records(users, lines, [&](db::UserRow& row) {
            if (users.Update(row) == 0) {
                const user_key key{row.user_id, row.user_source};
                missing.push_back(lines.place() + ": not found: " + key.text());
            }
        });
    });
    for (const std::string& line : missing) {
        std::cerr << "userdb: " << printable_text(line) << '\n';
    }
    const size_t updated = read - missing.size();
    return say_done("updated " + std::to_string(updated) + ", not found " +
                        std::to_string(missing.size()) + ", read " + std::to_string(read),
                    updated > 0);
}

status create_index(const options& common) {
    change(common, sqlite::read_write, [](db::DBUser& users) { users.CreateUserIdIndex(); });
    return say_done("indexed", true);
}

status set(const options& common, const std::string& field, const user_key& key,
           const std::string& value) {
    const auto update = update_of(field, key, value);
    uint32_t changed = 0;
    change(common, sqlite::read_write, [&](db::DBUser& users) { changed = update(users); });
    return say_changed("changed", changed);
}

} // namespace userdb
