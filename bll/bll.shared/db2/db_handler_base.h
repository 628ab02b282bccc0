#pragma once

#include "base/base.shared/sqlite/database.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sqlite {
class transaction;
}

namespace db {

/// What every table handler has: the current account, the connection that it shares with the other
/// handlers, and the helpers around both.
///
/// A user is a pair of a user id and the numeric source of that id. Every operation lets through
/// what the connection throws, a `sqlite::error`. A handler serves one thread at a time. While it
/// has an open transaction, it serves only the thread that began it.
class DBBase : public std::enable_shared_from_this<DBBase> {
public:
    /// Both are kept unchanged for the handler's life. Without a connection the operations that
    /// need one throw `sqlite::error`.
    DBBase(std::pair<std::string, int> current_user_info, std::shared_ptr<sqlite::database> db);
    DBBase(const DBBase&) = delete;
    DBBase& operator=(const DBBase&) = delete;
    /// Rolls back the transactions that are still open.
    virtual ~DBBase();

    /// The one of two users who is not the current account. The second, if neither is.
    std::pair<std::string, int> get_other(std::pair<std::string, int> first,
                                          std::pair<std::string, int> second);

    std::pair<std::string, int> get_current_user();
    bool check_same_user(std::pair<std::string, int> first, std::pair<std::string, int> second);
    bool check_current_user(std::pair<std::string, int> user);
    /// The same as for pairs.
    std::pair<std::string, int> get_other(std::string first_id, int32_t first_source,
                                          std::string second_id, int32_t second_source);
    /// Whether the id is that of a group: it begins with "group_". The source does not matter.
    bool is_group(std::string user_id, int32_t source);
    bool is_group(std::pair<std::string, int> user);

    /// The key under which a user is stored: "USER_ID:SOURCE", with the source in decimal. Two
    /// users never share a key, because no source has a colon in it. Stored databases depend on
    /// this form.
    std::string make_local_user_id(std::string user_id, int32_t source);

    /// The text as it stands in a single-quoted pattern of LIKE, followed by ESCAPE '\', that is to
    /// match it literally.
    std::string convert_sql_keyword(std::string text);
    /// The text as it stands in a single-quoted SQL literal: every single quote is doubled.
    std::string convert_quotation_mark(std::string text);
    /// Replaces every `from` in `text` by `to`, from left to right. It does not look into what it
    /// has put there. An empty `from` replaces nothing.
    void replace_all_in_string(std::string& text, const std::string& from, const std::string& to);

private:
    /// Replaces every `from[i]` by `to[i]`, one pair after the other.
    std::string convert_string(std::string text, const std::vector<std::string>& from,
                               const std::vector<std::string>& to);

public:
    /// Stores a version in the database's `user_version`. It is a signed 32-bit number in decimal.
    void db_set_user_data_version(std::string version);

    /// Opens a transaction, or a savepoint inside an open one. It holds the connection for this
    /// thread until it is committed or rolled back; other threads wait. Handlers that share the
    /// connection end their transactions in the opposite order. If a transaction around it is
    /// rolled back, it is over, and can still be ended once. See `sqlite::transaction`.
    void begin_transaction();
    /// Undoes what the innermost transaction of this handler did. Does nothing if there is none, or
    /// if it is over. Throws SQLITE_MISUSE, and leaves it open, if another one was begun inside it
    /// through the connection, or if `as_transaction` began it.
    void rollback_transaction();
    /// Commits the innermost transaction of this handler. Throws where `rollback_transaction` does,
    /// and if there is none, or if it is over. Also throws if SQLite cannot commit. Then it is
    /// rolled back, but see `sqlite::database::as_transaction` for commits that have taken effect.
    void commit_transaction();
    /// Whether a transaction that this handler began is open, and SQLite has it open as well.
    bool is_in_transaction();
    /// Runs `body` inside a transaction, and commits. If `body` throws, rolls back and lets that
    /// exception through. If `body` leaves a transaction of its own open, rolls back everything and
    /// throws SQLITE_MISUSE. `body` must not destroy this handler.
    void as_transaction(std::function<void()> body);

    /// The connection that was given at construction.
    std::shared_ptr<sqlite::database> GetDB();

protected:
    /// A handler without a table of its own has none to create.
    void CreateTable();

    std::pair<std::string, int> m_current_user_info;
    std::shared_ptr<sqlite::database> m_db;
    bool m_is_in_transaction = false;

private:
    std::unique_ptr<sqlite::transaction> take_innermost();

    std::vector<std::unique_ptr<sqlite::transaction>> m_transactions; // the innermost last
    size_t m_kept_open = 0; // how many of them only `as_transaction` may end
};

/// A list of numbered parameters: "( :param0, :param1  ) " for 2.
[[nodiscard]] std::string numbered_parameters(size_t count);

/// The list of parameters for an SQL `in` test of these items. Only their number is read.
template <typename T>
std::string _prepare_bind(T& items) {
    return numbered_parameters(items.size());
}

/// The position of ":param0" in a statement if the parameters of a list of `count` items have
/// adjacent positions, else 0. They have, unless one of them stands in front of the list as well.
[[nodiscard]] size_t position_of_list(const sqlite::statement& stmt, size_t count);

/// Binds the items in their order to the parameters of a statement that was prepared with
/// `_prepare_bind` of the same, unchanged items. It binds by position if possible, because SQLite
/// looks through all names for each one.
template <typename T>
void _bind(sqlite::statement& stmt, T& items) {
    size_t count = 0;
    for (auto it = items.begin(); it != items.end(); ++it) {
        ++count;
    }
    const size_t first = position_of_list(stmt, count);
    size_t index = 0;
    for (auto it = items.begin(); it != items.end(); ++it, ++index) {
        if (first != 0) {
            stmt.bind(first + index, *it);
        } else {
            stmt.bind(std::string(":param").append(std::to_string(index)), *it);
        }
    }
}

/// The connection. Throws `sqlite::error` if there is none.
sqlite::database& require_connection(const std::shared_ptr<sqlite::database>& db);

} // namespace db
