#include "benchmarks/c_users.h"

#include <array>
#include <concepts>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <regex.h>

namespace {

using statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

void require(bool works, sqlite3* db) {
    if (!works) {
        std::cerr << sqlite3_errmsg(db) << '\n';
        std::abort();
    }
}

void put(sqlite3_stmt* stmt, int index, const std::string& text) {
    sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void put(sqlite3_stmt* stmt, int index, int64_t number) {
    sqlite3_bind_int64(stmt, index, number);
}

/// Binds the values by position. The texts among them must outlive the statement.
template <typename... Values>
statement prepare(sqlite3* db, const std::string& sql, const Values&... values) {
    sqlite3_stmt* stmt = nullptr;
    const int size = static_cast<int>(sql.size()) + 1;
    require(sqlite3_prepare_v2(db, sql.c_str(), size, &stmt, nullptr) == SQLITE_OK, db);
    int index = 0;
    (put(stmt, ++index, values), ...);
    return {stmt, sqlite3_finalize};
}

uint32_t change(sqlite3* db, const statement& stmt) {
    require(sqlite3_step(stmt.get()) == SQLITE_DONE, db);
    return static_cast<uint32_t>(sqlite3_changes(db));
}

const char* chars(const unsigned char* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

void read(sqlite3_stmt* stmt, int column, std::string& text) {
    const char* bytes = chars(sqlite3_column_text(stmt, column));
    text.assign(bytes, static_cast<size_t>(sqlite3_column_bytes(stmt, column)));
}

template <std::integral Number>
void read(sqlite3_stmt* stmt, int column, Number& number) {
    number = static_cast<Number>(sqlite3_column_int64(stmt, column));
}

template <typename... Fields>
void read_columns(sqlite3_stmt* stmt, int first, Fields&... fields) {
    int column = first;
    (read(stmt, column++, fields), ...);
}

/// The columns in the order of the table; number 8 is `custom`.
void read_row(sqlite3_stmt* stmt, db::UserRow& row) {
    read_columns(stmt, 0, row.local_user_id, row.user_id, row.device_id, row.avatar, row.user_name,
                 row.name_spell, row.remark, row.extra);
    read_columns(stmt, 9, row.user_extension, row.contact_extension, row.is_anonymous, row.is_star,
                 row.is_attention, row.user_type, row.user_version, row.user_source, row.gender,
                 row.data_type, row.group_info, row.msg_set, row.in_black_list, row.is_blacked);
}

std::vector<db::UserRow> read_rows(sqlite3* db, const statement& stmt) {
    std::vector<db::UserRow> rows;
    int code = sqlite3_step(stmt.get());
    for (; code == SQLITE_ROW; code = sqlite3_step(stmt.get())) {
        read_row(stmt.get(), rows.emplace_back());
    }
    require(code == SQLITE_DONE, db);
    return rows;
}

using regex = std::unique_ptr<regex_t, void (*)(regex_t*)>;

regex compiled(const std::string& pattern) {
    regex fresh(new regex_t, [](regex_t* old) {
        regfree(old);
        delete old;
    });
    if (regcomp(fresh.get(), pattern.c_str(), REG_EXTENDED | REG_ICASE) != 0) {
        std::abort();
    }
    return fresh;
}

bool matches(const regex& expression, const char* text) {
    std::array<regmatch_t, 10> found;
    return regexec(expression.get(), text, found.size(), found.data(), 0) == 0;
}

/// What a search looks for, compiled once.
struct expressions {
    std::string key_word;
    regex name = compiled(".*" + key_word + ".*");
    regex remark = compiled(R"(("remark_name":"([^"]*)" + key_word + R"([^"]*)))");
    regex any_nick_name = compiled(R"re(("nick_name":"([^"]+)"))re");
    regex nick_name = compiled(R"(("nick_name":"([^"]*)" + key_word + R"([^"]*)))");
};

void c_user_regex(sqlite3_context* context, int /*argc*/, sqlite3_value** value) {
    auto* use = static_cast<expressions*>(sqlite3_get_auxdata(context, 3));
    if (use == nullptr) {
        use = new expressions{chars(sqlite3_value_text(value[3]))};
        sqlite3_set_auxdata(context, 3, use,
                            [](void* old) { delete static_cast<expressions*>(old); });
    }
    const char* name = chars(sqlite3_value_text(value[0]));
    const char* remark = chars(sqlite3_value_text(value[1]));
    const char* group = chars(sqlite3_value_text(value[2]));
    const bool in_name = name[0] != '\0' && matches(use->name, name);
    const bool in_remark = sqlite3_value_bytes(value[1]) > 2 && matches(use->remark, remark);
    const bool in_group = sqlite3_value_bytes(value[2]) > 2 && matches(use->any_nick_name, group) &&
                          matches(use->nick_name, group);
    sqlite3_result_int(context, in_name || in_remark || in_group ? 1 : 0);
}

} // namespace

c_users::c_users(sqlite3* db, bool keeps_statements)
    : m_db(db), m_keeps_statements(keeps_statements) {
    sqlite3_create_function(m_db, "C_USER_REGEX", 4, SQLITE_UTF8, nullptr, c_user_regex, nullptr,
                            nullptr);
}

c_users::~c_users() {
    for (sqlite3_stmt* kept : {m_insert, m_get, m_set_star}) {
        sqlite3_finalize(kept);
    }
}

template <typename... Values>
c_users::statement c_users::ready(sqlite3_stmt*& kept, const char* sql, const Values&... values) {
    if (!m_keeps_statements) {
        return prepare(m_db, sql, values...);
    }
    if (kept == nullptr) {
        kept = prepare(m_db, sql).release();
    }
    int index = 0;
    (put(kept, ++index, values), ...);
    return {kept, [](sqlite3_stmt* used) {
                sqlite3_reset(used);
                return sqlite3_clear_bindings(used);
            }};
}

uint32_t c_users::insert_or_replace(db::UserRow& row) {
    row.local_user_id = row.user_id + ":" + std::to_string(static_cast<int32_t>(row.user_source));
    const statement stmt = ready(
        m_insert,
        "REPLACE INTO users  ( local_user_id, user_id, device_id, avatar,  user_name,  name_spell, "
        " remark, is_anonymous, is_star,  is_attention,  user_type, user_version,  user_source, "
        " gender,  extra,  data_type, group_info, msg_set, in_black_list, is_blacked,"
        " user_extension, contact_extension) VALUES  (:local_user_id, :user_id, :device_id,"
        " :avatar, :user_name, :name_spell, :remark, :is_anonymous, :is_star, :is_attention,"
        " :user_type, :user_version, :user_source, :gender, :extra, :data_type, :group_info,"
        " :msg_set, :in_black_list, :is_blacked, :user_extension, :contact_extension);",
        row.local_user_id, row.user_id, row.device_id, row.avatar, row.user_name, row.name_spell,
        row.remark, row.is_anonymous, row.is_star, row.is_attention, row.user_type,
        row.user_version, row.user_source, row.gender, row.extra, row.data_type, row.group_info,
        row.msg_set, row.in_black_list, row.is_blacked, row.user_extension, row.contact_extension);
    return change(m_db, stmt);
}

uint32_t c_users::get(const std::string& user_id, uint32_t source, db::UserRow& row) {
    const std::string key = user_id + ":" + std::to_string(static_cast<int32_t>(source));
    const statement stmt =
        ready(m_get, "SELECT * from users WHERE local_user_id = :local_user_id ;", key);
    const int code = sqlite3_step(stmt.get());
    if (code == SQLITE_ROW) {
        read_row(stmt.get(), row);
        return 1;
    }
    require(code == SQLITE_DONE, m_db);
    return 0;
}

std::vector<db::UserRow> c_users::get_all() {
    return read_rows(m_db, prepare(m_db, "SELECT * from users;"));
}

std::vector<db::UserRow> c_users::get_many(const std::vector<std::string>& local_user_ids) {
    std::string sql = "SELECT * FROM users WHERE local_user_id in ( ";
    for (size_t i = 0; i < local_user_ids.size(); ++i) {
        sql += (i == 0 ? ":param" : ", :param") + std::to_string(i);
    }
    const statement stmt = prepare(m_db, sql + "  ) ");
    int index = 0;
    for (const std::string& key : local_user_ids) {
        put(stmt.get(), ++index, key);
    }
    return read_rows(m_db, stmt);
}

uint32_t c_users::set_star(uint32_t is_star, const std::string& user_id, uint32_t source) {
    return change(m_db,
                  ready(m_set_star,
                        "UPDATE users SET is_star\t= :is_star,user_version = (user_version+1) "
                        "WHERE user_id\t\t= :user_id  AND user_source\t= :user_source;",
                        is_star, user_id, source));
}

std::vector<db::UserRow> c_users::search_like(const std::string& key_word) {
    const std::string pattern = "%" + key_word + "%";
    return read_rows(m_db,
                     prepare(m_db,
                             "SELECT * from users where data_type & :data_type and (user_name LIKE "
                             ":like OR remark LIKE :like OR group_info LIKE :like);",
                             2, pattern));
}

std::vector<db::UserRow> c_users::search_regexec(const std::string& key_word) {
    return read_rows(m_db, prepare(m_db,
                                   "SELECT * from users where data_type & :data_type and  "
                                   "C_USER_REGEX(user_name,remark,group_info,'" +
                                       key_word + "');",
                                   2));
}

void c_users::run(const std::string& sql) {
    require(sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, m_db);
}
