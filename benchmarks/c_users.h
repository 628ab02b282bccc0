#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

/// What a client team would write by hand: the same SQL texts on SQLite's C interface, parameters
/// bound and columns read by position, and a statement prepared for each call or, for what is
/// called often, kept.
class c_users {
public:
    c_users(sqlite3* db, bool keeps_statements);
    ~c_users();
    c_users(const c_users&) = delete;
    c_users& operator=(const c_users&) = delete;

    void run(const std::string& sql);
    uint32_t insert_or_replace(db::UserRow& row);
    uint32_t get(const std::string& user_id, uint32_t source, db::UserRow& row);
    std::vector<db::UserRow> get_all();
    std::vector<db::UserRow> get_many(const std::vector<std::string>& local_user_ids);
    uint32_t set_star(uint32_t is_star, const std::string& user_id, uint32_t source);
    /// The keyword anywhere in one of the three columns, by LIKE.
    std::vector<db::UserRow> search_like(const std::string& key_word);
    /// The store's own query, its function hand-written with regexec.
    std::vector<db::UserRow> search_regexec(const std::string& key_word);

private:
    using statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    /// Takes the statement kept, if this keeps statements, and binds the values by position. The
    /// texts among them must outlive what is returned.
    template <typename... Values>
    statement ready(sqlite3_stmt*& kept, const char* sql, const Values&... values);

    sqlite3* m_db; // not owned
    bool m_keeps_statements;
    sqlite3_stmt* m_insert = nullptr;
    sqlite3_stmt* m_get = nullptr;
    sqlite3_stmt* m_set_star = nullptr;
};
