// Searches while somebody types: each letter cancels the search for the letters before it, and a
// search ends at its first 50 contacts. Small letters find capitals, in every script. It prints
//     50 found, the first is Анна 29900
#include "bll/bll.shared/db2/db_handler_user.h"

#include <chrono>
#include <future>
#include <iostream>
#include <sqlite3.h>

namespace {

/// A search field. Its connection serves nothing else: an interrupt ends all that runs on it.
class search_field {
public:
    explicit search_field(std::shared_ptr<sqlite::database> connection)
        : m_connection(std::move(connection)), m_users({"me", 1}, m_connection) {}
    ~search_field() { cancel(); }

    /// Begins to search for what was typed, in the background.
    void type(const std::string& text) {
        cancel();
        m_search = std::async(std::launch::async, [this, text] { return names_with(text); });
    }
    /// Waits for the search that was begun last. Throws what the search has thrown.
    std::vector<std::string> names() { return m_search.get(); }

private:
    void cancel() {
        // Again and again, since an interrupt that comes before the search has begun does nothing.
        while (m_search.valid() &&
               m_search.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            sqlite3_interrupt(m_connection->native_handle());
        }
    }
    std::vector<std::string> names_with(const std::string& text) {
        std::vector<std::string> names;
        try {
            m_users.WalkUserRowsWithKeyWord(db::escape_key_word(text), [&names](db::UserRow& user) {
                names.push_back(std::move(user.user_name));
                return names.size() < 50;
            });
        } catch (const sqlite::error& error) {
            if (error.code() != SQLITE_INTERRUPT) { // which means that the next letter was typed
                throw;
            }
        }
        return names;
    }

    std::shared_ptr<sqlite::database> m_connection;
    db::DBUser m_users;
    std::future<std::vector<std::string>> m_search;
};

/// A connection to 30,000 contacts. A client opens one more to the account's file instead.
std::shared_ptr<sqlite::database> open_contacts() {
    auto connection = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    db::DBUser users({"me", 1}, connection);
    users.as_transaction([&users] {
        for (int i = 0; i < 30000; ++i) {
            db::UserRow user{.user_id = std::to_string(i), .data_type = 2}; // a contact
            user.user_name = (i < 29900 ? "Борис " : "Анна ") + user.user_id;
            users.Insert(user);
        }
    });
    return connection;
}

} // namespace

int main() {
    search_field field(open_contacts());
    for (const char* typed : {"а", "ан", "анн", "анна"}) {
        field.type(typed);
    }
    const std::vector<std::string> names = field.names();
    std::cout << names.size() << " found, the first is " << names.front() << '\n';
}
