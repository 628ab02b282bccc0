#pragma once

#include "benchmarks/c_users.h"

#include <istream>
#include <memory>
#include <string>

/// A made-up contact: real-looking names, a remark and a group, all different by number.
db::UserRow made_up_user(int number);

/// A table in memory, reached by the store and by C code on the same connection.
struct table {
    explicit table(int users);
    /// Of users read from lines of a name, a remark name and a nick name with tabs between.
    explicit table(std::istream& lines);

    std::shared_ptr<sqlite::database> connection;
    db::DBUser store;
    c_users c;
};
