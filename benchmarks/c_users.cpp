#include "benchmarks/c_users.h"

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <regex.h>

namespace {

using statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

void require(bool works, sqlite3* db) {
    if (!works) {
        std::cerr << sqlite3_errmsg(db) << '\n';
        std::abort();
    }
}

statement prepare(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* stmt = nullptr;
    const int size = static_cast<int>(sql.size()) + 1;
    require(sqlite3_prepare_v2(db, sql.c_str(), size, &stmt, nullptr) == SQLITE_OK, db);
    return {stmt, sqlite3_finalize};
}

void put(const statement& stmt, int index, const std::string& text) {
    sqlite3_bind_text(stmt.get(), index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void put(const statement& stmt, int index, int64_t number) {
    sqlite3_bind_int64(stmt.get(), index, number);
}

uint32_t change(sqlite3* db, const statement& stmt) {
    require(sqlite3_step(stmt.get()) == SQLITE_DONE, db);
    return static_cast<uint32_t>(sqlite3_changes(db));
}

void read(sqlite3_stmt* stmt, int column, std::string& text) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
    if (bytes != nullptr) {
        text.assign(bytes, static_cast<size_t>(sqlite3_column_bytes(stmt, column)));
    } else {
        text.clear();
    }
}

void read(sqlite3_stmt* stmt, int column, uint32_t& number) {
    number = static_cast<uint32_t>(sqlite3_column_int64(stmt, column));
}

/// The columns in the order of the table; number 8 is `custom`.
void read_row(sqlite3_stmt* stmt, db::UserRow& row) {
    read(stmt, 0, row.local_user_id);
    read(stmt, 1, row.user_id);
    read(stmt, 2, row.device_id);
    read(stmt, 3, row.avatar);
    read(stmt, 4, row.user_name);
    read(stmt, 5, row.name_spell);
    read(stmt, 6, row.remark);
    read(stmt, 7, row.extra);
    read(stmt, 9, row.user_extension);
    read(stmt, 10, row.contact_extension);
    read(stmt, 11, row.is_anonymous);
    read(stmt, 12, row.is_star);
    read(stmt, 13, row.is_attention);
    read(stmt, 14, row.user_type);
    row.user_version = sqlite3_column_int64(stmt, 15);
    read(stmt, 16, row.user_source);
    read(stmt, 17, row.gender);
    read(stmt, 18, row.data_type);
    read(stmt, 19, row.group_info);
    read(stmt, 20, row.msg_set);
    read(stmt, 21, row.in_black_list);
    read(stmt, 22, row.is_blacked);
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

/// An expression that is compiled anew when the keyword has changed.
class expression {
public:
    explicit expression(std::string head, std::string tail = {})
        : m_head(std::move(head)), m_tail(std::move(tail)) {}
    ~expression() { release(); }
    expression(const expression&) = delete;
    expression& operator=(const expression&) = delete;

    bool matches(const char* text, const char* key_word) {
        if (!m_ready || m_key_word != key_word) {
            release();
            m_key_word = key_word;
            m_ready = regcomp(&m_regex, (m_head + m_key_word + m_tail).c_str(),
                              REG_EXTENDED | REG_ICASE) == 0;
        }
        return m_ready && regexec(&m_regex, text, m_matched.size(), m_matched.data(), 0) == 0;
    }

private:
    void release() {
        if (m_ready) {
            regfree(&m_regex);
        }
        m_ready = false;
    }

    std::string m_head;
    std::string m_tail;
    std::string m_key_word;
    bool m_ready = false;
    regex_t m_regex{};
    std::array<regmatch_t, 10> m_matched{};
};

struct expressions {
    expression name{".*", ".*"};
    expression remark{R"(("remark_name":"([^"]*)", R"([^"]*)))"};
    expression any_nick_name{R"re(("nick_name":"([^"]+)"))re"};
    expression nick_name{R"(("nick_name":"([^"]*)", R"([^"]*)))"};
};

const char* text_of(sqlite3_value* value) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text != nullptr ? text : "";
}

void c_user_regex(sqlite3_context* context, int /*argc*/, sqlite3_value** value) {
    auto& use = *static_cast<expressions*>(sqlite3_user_data(context));
    const char* key_word = text_of(value[3]);
    const char* name = text_of(value[0]);
    const char* remark = text_of(value[1]);
    const char* group = text_of(value[2]);
    bool find = name[0] != '\0' && use.name.matches(name, key_word);
    if (sqlite3_value_bytes(value[1]) > 2 && use.remark.matches(remark, key_word)) {
        find = true;
    }
    if (sqlite3_value_bytes(value[2]) > 2 && use.any_nick_name.matches(group, "") &&
        use.nick_name.matches(group, key_word)) {
        find = true;
    }
    sqlite3_result_int(context, find ? 1 : 0);
}

void destroy_expressions(void* use) {
    delete static_cast<expressions*>(use);
}

} // namespace

c_users::c_users(sqlite3* db) : m_db(db) {
    sqlite3_create_function_v2(m_db, "C_USER_REGEX", 4, SQLITE_UTF8, new expressions, c_user_regex,
                               nullptr, nullptr, destroy_expressions);
}

uint32_t c_users::insert_or_replace(db::UserRow& user_row) {
    user_row.local_user_id =
        user_row.user_id + ":" + std::to_string(static_cast<int32_t>(user_row.user_source));
    const statement stmt = prepare(
        m_db,
        "REPLACE INTO users  ( local_user_id, user_id, device_id, avatar,  user_name,  name_spell, "
        " remark, is_anonymous, is_star,  is_attention,  user_type, user_version,  user_source, "
        " gender,  extra,  data_type, group_info, msg_set, in_black_list, is_blacked,"
        " user_extension, contact_extension) VALUES  (:local_user_id, :user_id, :device_id,"
        " :avatar, :user_name, :name_spell, :remark, :is_anonymous, :is_star, :is_attention,"
        " :user_type, :user_version, :user_source, :gender, :extra, :data_type, :group_info,"
        " :msg_set, :in_black_list, :is_blacked, :user_extension, :contact_extension);");
    put(stmt, 1, user_row.local_user_id);
    put(stmt, 2, user_row.user_id);
    put(stmt, 3, user_row.device_id);
    put(stmt, 4, user_row.avatar);
    put(stmt, 5, user_row.user_name);
    put(stmt, 6, user_row.name_spell);
    put(stmt, 7, user_row.remark);
    put(stmt, 8, user_row.is_anonymous);
    put(stmt, 9, user_row.is_star);
    put(stmt, 10, user_row.is_attention);
    put(stmt, 11, user_row.user_type);
    put(stmt, 12, user_row.user_version);
    put(stmt, 13, user_row.user_source);
    put(stmt, 14, user_row.gender);
    put(stmt, 15, user_row.extra);
    put(stmt, 16, user_row.data_type);
    put(stmt, 17, user_row.group_info);
    put(stmt, 18, user_row.msg_set);
    put(stmt, 19, user_row.in_black_list);
    put(stmt, 20, user_row.is_blacked);
    put(stmt, 21, user_row.user_extension);
    put(stmt, 22, user_row.contact_extension);
    return change(m_db, stmt);
}

uint32_t c_users::get(const std::string& user_id, uint32_t source, db::UserRow& user_row) {
    const std::string key = user_id + ":" + std::to_string(static_cast<int32_t>(source));
    const statement stmt =
        prepare(m_db, "SELECT * from users WHERE local_user_id = :local_user_id ;");
    put(stmt, 1, key);
    const int code = sqlite3_step(stmt.get());
    if (code == SQLITE_ROW) {
        read_row(stmt.get(), user_row);
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
    for (size_t i = 0; i < local_user_ids.size(); ++i) {
        put(stmt, static_cast<int>(i) + 1, local_user_ids[i]);
    }
    return read_rows(m_db, stmt);
}

uint32_t c_users::set_star(uint32_t is_star, const std::string& user_id, uint32_t source) {
    const statement stmt =
        prepare(m_db, "UPDATE users SET is_star\t= :is_star,user_version = (user_version+1) "
                      "WHERE user_id\t\t= :user_id  AND user_source\t= :user_source;");
    put(stmt, 1, is_star);
    put(stmt, 2, user_id);
    put(stmt, 3, source);
    return change(m_db, stmt);
}

std::vector<db::UserRow> c_users::search_like(const std::string& key_word) {
    const std::string pattern = "%" + key_word + "%";
    const statement stmt =
        prepare(m_db, "SELECT * from users where data_type & :data_type and (user_name LIKE "
                      ":like OR remark LIKE :like OR group_info LIKE :like);");
    put(stmt, 1, 2);
    put(stmt, 2, pattern);
    return read_rows(m_db, stmt);
}

std::vector<db::UserRow> c_users::search_regexec(const std::string& key_word) {
    const statement stmt = prepare(m_db, "SELECT * from users where data_type & :data_type and  "
                                         "C_USER_REGEX(user_name,remark,group_info,'" +
                                             key_word + "');");
    put(stmt, 1, 2);
    return read_rows(m_db, stmt);
}

void c_users::run(const std::string& sql) {
    require(sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, m_db);
}
