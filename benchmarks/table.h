#pragma once

#include "benchmarks/c_users.h"

#include <memory>
#include <string>

/// A made-up contact: real-looking names, a remark and a group, all different by number.
db::UserRow made_up_user(int number);

/// The same users in two databases in memory, one behind the store, one behind the C code.
struct tables {
    explicit tables(int users);

    std::shared_ptr<sqlite::database> connection;
    db::DBUser store;
    c_users c;
};
