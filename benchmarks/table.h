#pragma once

#include "benchmarks/c_users.h"

#include <istream>
#include <memory>
#include <set>
#include <string>
#include <utility>

/// A made-up contact: real-looking names, a remark and a group, all different by number.
db::UserRow made_up_user(int number);

/// The first of them, as a batch lookup asks for them.
std::set<std::pair<std::string, int>> made_up_batch(int users);

/// A table in memory, reached by the store and by C code on the same connection.
struct table {
    explicit table(int users, bool keeps_statements = false);
    /// Of users read from lines of a name, a remark name and a nick name with tabs between.
    explicit table(std::istream& lines);

    /// Makes every hundredth user a contact, and all others none.
    void leave_few_contacts() const;

    std::shared_ptr<sqlite::database> connection;
    db::DBUser store;
    c_users c;
};
