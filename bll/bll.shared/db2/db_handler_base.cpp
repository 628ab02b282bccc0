#include "bll/bll.shared/db2/db_handler_base.h"

#include "base/base.shared/sqlite/transaction.h"

#include <algorithm>
#include <charconv>
#include <sqlite3.h>
#include <string_view>

namespace db {

DBBase::DBBase(std::pair<std::string, int> current_user_info, std::shared_ptr<sqlite::database> db)
    : m_current_user_info(std::move(current_user_info)), m_db(std::move(db)) {}

DBBase::~DBBase() = default;

std::pair<std::string, int> DBBase::get_other(std::pair<std::string, int> first,
                                              std::pair<std::string, int> second) {
    return check_current_user(second) ? first : second;
}

std::pair<std::string, int> DBBase::get_current_user() {
    return m_current_user_info;
}

bool DBBase::check_same_user(std::pair<std::string, int> first,
                             std::pair<std::string, int> second) {
    return first == second;
}

bool DBBase::check_current_user(std::pair<std::string, int> user) {
    return user == m_current_user_info;
}

std::pair<std::string, int> DBBase::get_other(std::string first_id, int32_t first_source,
                                              std::string second_id, int32_t second_source) {
    return get_other({std::move(first_id), first_source}, {std::move(second_id), second_source});
}

bool DBBase::is_group(std::string user_id, int32_t /*source*/) {
    return user_id.starts_with("group_");
}

bool DBBase::is_group(std::pair<std::string, int> user) {
    return is_group(std::move(user.first), user.second);
}

std::string DBBase::make_local_user_id(std::string user_id, int32_t source) {
    return std::move(user_id) + ":" + std::to_string(source);
}

std::string DBBase::convert_sql_keyword(std::string text) {
    return convert_string(std::move(text), {"\\", "%", "_", "'"}, {"\\\\", "\\%", "\\_", "''"});
}

std::string DBBase::convert_quotation_mark(std::string text) {
    return convert_string(std::move(text), {"'"}, {"''"});
}

void DBBase::replace_all_in_string(std::string& text, const std::string& from,
                                   const std::string& to) {
    std::string replaced;
    size_t begin = 0;
    for (size_t at = 0; !from.empty() && (at = text.find(from, begin)) != std::string::npos;) {
        replaced.append(text, begin, at - begin).append(to);
        begin = at + from.size();
    }
    text = replaced.append(text, begin);
}

std::string DBBase::convert_string(std::string text, const std::vector<std::string>& from,
                                   const std::vector<std::string>& to) {
    for (size_t i = 0; i < from.size(); ++i) {
        replace_all_in_string(text, from[i], to.at(i));
    }
    return text;
}

void DBBase::db_set_user_data_version(std::string version) {
    int32_t number = 0;
    const char* end = version.data() + version.size();
    const auto [stop, failure] = std::from_chars(version.data(), end, number);
    if (failure != std::errc() || stop != end) {
        throw sqlite::error(SQLITE_MISMATCH, "the user data version is no 32-bit number");
    }
    require_connection(m_db).execute("PRAGMA user_version = " + std::to_string(number));
}

void DBBase::begin_transaction() {
    // Those that nobody has ended since they were over would gather.
    if (m_transactions.size() > m_kept_open && m_transactions[m_kept_open]->is_over()) {
        m_transactions.resize(m_kept_open);
    }
    m_transactions.push_back(std::make_unique<sqlite::transaction>(require_connection(m_db)));
    m_is_in_transaction = true;
}

void DBBase::rollback_transaction() {
    if (!m_transactions.empty()) {
        take_innermost().reset();
        is_in_transaction(); // those around may have gone with it
    }
}

void DBBase::commit_transaction() {
    if (m_transactions.empty()) {
        throw sqlite::error(SQLITE_MISUSE, "cannot commit: this handler has no open transaction");
    }
    try {
        take_innermost()->commit();
    } catch (...) {
        is_in_transaction(); // those around may have gone with it
        throw;
    }
}

bool DBBase::is_in_transaction() {
    m_is_in_transaction = std::any_of(m_transactions.begin(), m_transactions.end(),
                                      [](const auto& one) { return one->is_open(); });
    return m_is_in_transaction;
}

void DBBase::as_transaction(std::function<void()> body) {
    begin_transaction();
    const size_t kept_open_before = std::exchange(m_kept_open, m_transactions.size());
    const auto end = [kept_open_before](DBBase* self) {
        self->m_transactions.resize(self->m_kept_open - 1); // rolls back what is not committed
        self->m_kept_open = kept_open_before;
        self->is_in_transaction();
    };
    const std::unique_ptr<DBBase, decltype(end)> always(this, end);
    body();
    if (m_transactions.size() != m_kept_open) {
        throw sqlite::error(SQLITE_MISUSE, "the body left a transaction of its own open");
    }
    m_transactions.back()->commit();
}

/// Takes it from the stack. The caller commits it, or it rolls back when it goes.
std::unique_ptr<sqlite::transaction> DBBase::take_innermost() {
    if (m_transactions.size() == m_kept_open) {
        throw sqlite::error(SQLITE_MISUSE, "as_transaction ends its transaction itself");
    }
    if (!m_transactions.back()->is_over() && !m_transactions.back()->is_innermost()) {
        throw sqlite::error(SQLITE_MISUSE, "the transaction has an open one inside");
    }
    std::unique_ptr<sqlite::transaction> innermost = std::move(m_transactions.back());
    m_transactions.pop_back();
    is_in_transaction();
    return innermost;
}

std::shared_ptr<sqlite::database> DBBase::GetDB() {
    return m_db;
}

void DBBase::CreateTable() {}

std::string numbered_parameters(size_t count) {
    std::string list = "( ";
    for (size_t i = 0; i < count; ++i) {
        list.append(":param").append(std::to_string(i));
        list += i + 1 != count ? ", " : " ";
    }
    return list + " ) ";
}

size_t position_of_list(const sqlite::statement& stmt, size_t count) {
    if (count == 0) {
        return 0;
    }
    try {
        const size_t first = stmt.position_of(":param0");
        const size_t last =
            stmt.position_of(std::string(":param").append(std::to_string(count - 1)));
        return last - first == count - 1 ? first : 0;
    } catch (const sqlite::error&) { // binding by name tells which one is missing
        return 0;
    }
}

sqlite::database& require_connection(const std::shared_ptr<sqlite::database>& db) {
    if (db == nullptr) {
        throw sqlite::error(SQLITE_MISUSE, "this table handler has no database connection");
    }
    return *db;
}

} // namespace db
