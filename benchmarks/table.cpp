#include "benchmarks/table.h"

#include <array>

db::UserRow made_up_user(int number) {
    static const std::array<std::string, 16> first{
        "Alice", "Bruno", "Chen",  "Dmitri", "Elena", "Fatima", "George", "Hana",
        "Ivan",  "Jun",   "Katya", "Liu",    "Maria", "Nadia",  "Omar",   "Piotr"};
    static const std::array<std::string, 12> last{"Winterbourne", "Castagna", "Xiaoyu", "Petrov",
                                                  "Rossi",        "Haddad",   "Miller", "Sato",
                                                  "Novak",        "Kowalski", "Garcia", "Okafor"};
    const auto n = static_cast<size_t>(number);
    const std::string digits = std::to_string(number);
    db::UserRow row;
    row.user_id = "user" + digits;
    row.user_source = 1;
    row.user_name =
        first[n % first.size()] + " " + last[n / first.size() % last.size()] + " " + digits;
    row.name_spell = "spell " + digits;
    row.avatar = "https://avatars.example/" + digits + ".png";
    row.data_type = 2;
    row.user_version = number;
    row.remark = R"({"remark_name":"remark of )" + digits + R"(","phone":"555-)" + digits + R"("})";
    row.group_info =
        R"([{"group_id":"g)" + digits + R"(","nick_name":"nick of )" + digits + R"("}])";
    return row;
}

std::set<std::pair<std::string, int>> made_up_batch(int users) {
    std::set<std::pair<std::string, int>> batch;
    for (int i = 0; i < users; ++i) {
        batch.emplace(made_up_user(i).user_id, 1);
    }
    return batch;
}

table::table(int users, bool keeps_statements)
    : connection(std::make_shared<sqlite::database>(sqlite::special_t::in_memory)),
      store({"me", 1}, connection), c(connection->native_handle(), keeps_statements) {
    connection->set_statement_cache_capacity(keeps_statements ? 16 : 0);
    store.as_transaction([&] {
        for (int i = 0; i < users; ++i) {
            db::UserRow row = made_up_user(i);
            store.Insert(row);
        }
    });
}

void table::leave_few_contacts() const {
    connection->execute("UPDATE users SET data_type = 2 * (rowid % 100 = 0)");
}

table::table(std::istream& lines) : table(0) {
    store.as_transaction([&] {
        db::UserRow row;
        row.user_source = 1;
        row.data_type = 2;
        std::string remark_name;
        std::string nick_name;
        for (int i = 0; std::getline(lines, row.user_name, '\t') &&
                        std::getline(lines, remark_name, '\t') && std::getline(lines, nick_name);
             ++i) {
            row.user_id = "user" + std::to_string(i);
            row.remark = R"({"remark_name":")" + remark_name + R"("})";
            row.group_info = R"([{"group_id":"g1","nick_name":")" + nick_name + R"("}])";
            store.Insert(row);
        }
    });
}
