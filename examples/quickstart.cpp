#include "bll/bll.shared/db2/db_handler_user.h"

#include <iostream>

int main() {
    // The account is user "me" of source 1. Its handlers share a connection; a path opens a file.
    auto connection = std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
    db::DBUser users({"me", 1}, connection);

    db::UserRow alice;
    alice.user_id = "u1001";
    alice.user_source = 1;
    alice.user_name = "Alice Winterbourne";
    alice.remark = R"({"remark_name":"Lighthouse keeper"})";
    alice.data_type = static_cast<uint32_t>(db::UserDataType::USERDATA_CONTACT);
    users.InsertOrReplace(alice);
    for (const db::UserRow& user : users.SearchUserRowsWithKeyWord("light")) {
        std::cout << user.user_name << " is stored as " << user.local_user_id << '\n';
    }

    db::DBUser::UpdateIsStartByIdAndSource(true, "u1001", 1, users);
    if (users.GetUserByUserIdAndSource("u1001", 1, alice) == 1) {
        std::cout << "star " << alice.is_star << ", version " << alice.user_version << '\n';
    }
}
