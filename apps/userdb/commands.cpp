#include "apps/userdb/commands.h"

#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"
#include "base/base.shared/sqlite/error.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sqlite3.h>
#include <unistd.h>

namespace userdb {

namespace {

bool has_users(sqlite::database& connection) {
    const sqlite::result found =
        connection.execute("SELECT 1 FROM sqlite_master WHERE name = 'users'");
    return found.begin() != found.end();
}

/// The store in a file. Only an import makes the table: any other command would put it into a
/// database of somebody else's. No operation used here asks for the current account.
db::DBUser open_store(const options& common, sqlite::access_mode mode) {
    if (common.database.empty() || common.database == ":memory:") {
        throw bad_input("--db must name a file");
    }
    try {
        // SQLite may read a name that begins like this as a URI.
        const bool looks_like_uri = common.database.starts_with("file:");
        const auto connection = std::make_shared<sqlite::database>(
            (looks_like_uri ? "./" : "") + common.database, mode);
        if (mode != sqlite::read_write_create && !has_users(*connection)) {
            throw sqlite::error(SQLITE_ERROR, "it has no table users");
        }
        connection->set_statement_cache_capacity(16); // one for each kind of statement
        return {{}, connection};
    } catch (const sqlite::error& failure) {
        switch (failure.code()) {
        case SQLITE_READONLY_ROLLBACK:
        case SQLITE_READONLY_RECOVERY:
            throw sqlite::error(failure.code(),
                                "a program that wrote to it was interrupted; open it "
                                "for writing once, by delete or set of a user");
        default:
            throw;
        }
    }
}

void print_json(const db::UserRow& user_row) {
    bool is_utf8 = true;
    std::cout << to_json(user_row, is_utf8) << '\n';
    if (!is_utf8) {
        const user_key key{user_row.user_id, user_row.user_source};
        std::cerr << "userdb: has bytes that are no UTF-8, written as U+FFFD: "
                  << printable_text(key.text()) << '\n';
    }
}

status show(const options& common, const std::vector<db::UserRow>& user_rows) {
    if (user_rows.empty()) {
        std::cerr << "userdb: nothing found\n";
        return status::nothing_found;
    }
    if (common.json) {
        for (const db::UserRow& user_row : user_rows) {
            print_json(user_row);
        }
    } else {
        const char* no_color = std::getenv("NO_COLOR");
        const bool is_plain = no_color != nullptr && *no_color != '\0';
        print_table(std::cout, user_rows, isatty(STDOUT_FILENO) != 0 && !is_plain);
    }
    return status::done;
}

/// A count on standard error while work goes on, if that is a terminal; wiped out at the end.
class progress {
public:
    explicit progress(std::string what) : m_what(std::move(what)) {}
    ~progress() {
        if (m_shown) {
            std::cerr << "\r\033[K" << std::flush;
        }
    }
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    void show(size_t count) {
        const auto now = std::chrono::steady_clock::now();
        if (m_is_terminal && now - m_last >= std::chrono::milliseconds(100)) {
            std::cerr << '\r' << m_what << ' ' << count << std::flush;
            m_last = now;
            m_shown = true;
        }
    }

private:
    std::string m_what;
    bool m_is_terminal = isatty(STDERR_FILENO) != 0;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

/// The lines of a file, "-" for standard input.
class line_reader {
public:
    explicit line_reader(const std::string& file)
        : m_name(file == "-" ? "standard input" : file),
          m_file(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        require(m_file >= 0);
    }
    ~line_reader() {
        if (m_file > STDIN_FILENO) {
            close(m_file);
        }
    }
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    /// False at the end. Throws `interrupted` if a signal came before or while waiting.
    bool next(std::string& line) {
        ++m_number;
        line.clear();
        do {
            const size_t end = m_read.find('\n', m_begin);
            line.append(m_read, m_begin, end - m_begin);
            if (end != std::string::npos) {
                m_begin = end + 1;
                interruption::check();
                return true;
            }
        } while (read_more());
        return !line.empty();
    }

    /// Where the line read last stands.
    [[nodiscard]] std::string place() const { return m_name + ":" + std::to_string(m_number); }

private:
    bool read_more() {
        constexpr size_t at_once = 65536;
        m_begin = 0;
        m_read.resize(m_ended ? 0 : at_once);
        if (!m_ended) {
            interruption::wait_for_input(m_file);
            const ssize_t size = read(m_file, m_read.data(), m_read.size());
            interruption::check();
            require(size >= 0);
            m_read.resize(static_cast<size_t>(size));
            m_ended = size == 0; // a terminal would be asked again
        }
        return !m_ended;
    }
    void require(bool works) const {
        if (!works) {
            throw bad_input("cannot read " + m_name + ": " + std::strerror(errno));
        }
    }

    std::string m_name;
    int m_file;
    std::string m_read;
    size_t m_begin = 0; // of what next() has yet to give
    bool m_ended = false;
    size_t m_number = 0;
};

/// Calls `work` with each record of a file of JSON lines inside one transaction, which a signal
/// rolls back. Returns the number of lines; what `work` does not take names its line.
size_t for_each_record(db::DBUser& users, line_reader& lines,
                       const std::function<void(db::UserRow&)>& work) {
    const interruption until_rolled_back;
    size_t read = 0;
    users.as_transaction([&] {
        progress counter("lines read:");
        for (std::string line; lines.next(line);) {
            try {
                db::UserRow user_row = from_json(line);
                work(user_row);
            } catch (const bad_input& failure) {
                throw bad_input(lines.place() + ": " + failure.what());
            }
            counter.show(++read);
        }
    });
    return read;
}

status say_changed(const char* what, uint32_t count) {
    if (count == 0) {
        std::cerr << "userdb: nothing found\n";
        return status::nothing_found;
    }
    std::cout << what << ' ' << count << '\n';
    return status::done;
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

status import_contacts(const options& common, const std::string& file, on_conflict policy) {
    line_reader lines(file);
    db::DBUser users = open_store(common, sqlite::read_write_create);
    size_t stored = 0;
    const size_t read = for_each_record(
        users, lines, [&](db::UserRow& row) { stored += store(users, row, policy); });
    std::cout << "stored " << stored << ", ignored " << read - stored << ", read " << read << '\n';
    return status::done;
}

status search(const options& common, const std::string& key_word) {
    return show(common, open_store(common, sqlite::read_only).SearchUserRowsWithKeyWord(key_word));
}

status list(const options& common, uint32_t data_type, std::optional<uint32_t> source) {
    db::DBUser users = open_store(common, sqlite::read_only);
    const auto mask = static_cast<db::UserDataType>(data_type);
    if (data_type != 0) {
        return show(common, source ? users.GetUsersByDataTypeAndSource(mask, *source)
                                   : users.GetUsersByDataType(mask));
    }
    std::vector<db::UserRow> user_rows = users.GetAll();
    if (source) {
        std::erase_if(user_rows, [&](const auto& user) { return user.user_source != *source; });
    }
    return show(common, user_rows);
}

status get(const options& common, const user_key& key, uint32_t data_type) {
    db::DBUser users = open_store(common, sqlite::read_only);
    std::vector<db::UserRow> found(1);
    const uint32_t count =
        data_type == 0
            ? users.GetUserByUserIdAndSource(key.user_id, key.source, found[0])
            : users.GetUserByIdSourceAndDataType(
                  key.user_id, key.source, static_cast<db::UserDataType>(data_type), found[0]);
    found.resize(count);
    return show(common, found);
}

status remove(const options& common, const user_key& key) {
    db::DBUser users = open_store(common, sqlite::read_write);
    return say_changed("deleted", users.DelUserByUserIdAndSource(key.user_id, key.source));
}

status get_all_of(const options& common, const std::vector<user_key>& keys) {
    db::DBUser users = open_store(common, sqlite::read_only);
    std::set<std::pair<std::string, int>> asked;
    std::map<std::string, const user_key*> missing;
    for (const user_key& key : keys) {
        const auto source = static_cast<int>(key.source);
        asked.emplace(key.user_id, source);
        missing.emplace(users.make_local_user_id(key.user_id, source), &key);
    }
    const std::vector<db::UserRow> found = users.GetUserRowsByUserIds(asked);
    for (const db::UserRow& user : found) {
        missing.erase(user.local_user_id);
    }
    for (const auto& [local_user_id, key] : missing) {
        std::cerr << "userdb: not found: " << printable_text(key->text()) << '\n';
    }
    return found.empty() ? status::nothing_found : show(common, found);
}

status export_users(const options& common) {
    for (const db::UserRow& user_row : open_store(common, sqlite::read_only).GetAll()) {
        print_json(user_row);
    }
    return status::done;
}

status update(const options& common, const std::string& file) {
    line_reader lines(file);
    db::DBUser users = open_store(common, sqlite::read_write);
    std::vector<std::string> missing;
    const size_t read = for_each_record(users, lines, [&](db::UserRow& row) {
        if (users.Update(row) == 0) {
            missing.push_back(lines.place() +
                              ": not found: " + user_key{row.user_id, row.user_source}.text());
        }
    });
    for (const std::string& line : missing) {
        std::cerr << "userdb: " << printable_text(line) << '\n';
    }
    const size_t updated = read - missing.size();
    std::cout << "updated " << updated << ", not found " << missing.size() << ", read " << read
              << '\n';
    return updated == 0 ? status::nothing_found : status::done;
}

status create_index(const options& common) {
    open_store(common, sqlite::read_write).CreateUserIdIndex();
    std::cout << "indexed\n";
    return status::done;
}

status set(const options& common, const std::string& field, const user_key& key,
           const std::string& value) {
    const bool is_flag = field == "star" || field == "attention";
    if (is_flag && value != "0" && value != "1") {
        throw bad_input("the value of " + field + " must be 0 or 1");
    }
    const uint32_t data_type = field == "data-type" ? data_type_of(value) : 0;
    db::DBUser users = open_store(common, sqlite::read_write);
    const std::map<std::string, std::function<uint32_t()>> updates{
        {"star",
         [&] {
             return db::DBUser::UpdateIsStartByIdAndSource(value == "1", key.user_id, key.source,
                                                           users);
         }},
        {"attention",
         [&] {
             return db::DBUser::UpdateIsAttentionByIdAndSource(value == "1", key.user_id,
                                                               key.source, users);
         }},
        {"remark",
         [&] {
             return db::DBUser::UpdateRemarkByIdAndSource(value, key.user_id, key.source, users);
         }},
        {"data-type",
         [&] {
             return db::DBUser::UpdateDataTypeByIdAndSource(data_type, key.user_id, key.source,
                                                            users);
         }},
    };
    return say_changed("changed", updates.at(field)());
}

} // namespace userdb
