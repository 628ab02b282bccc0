#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <sqlite3.h>
#include <string>
#include <vector>

/// What a client team would write by hand: the same SQL texts on SQLite's C interface, a statement
/// prepared for each call, parameters bound and columns read by position.
class c_users {
public:
    explicit c_users(sqlite3* db);

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
    sqlite3* m_db; // not owned
};
