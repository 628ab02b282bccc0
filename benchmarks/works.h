#pragma once

#include "benchmarks/table.h"

#include <functional>
#include <string>
#include <vector>

/// A piece of work as the store does it and as C code does.
struct pair_of_works {
    std::string name;
    std::function<void()> store;
    std::function<void()> c;
};

/// The calls for one user, each with a statement of its own.
std::vector<pair_of_works> calls(table& both, int users);

/// All that is compared, on a table of so many made-up users (at least 1000). The table must
/// outlive the works, here and below.
std::vector<pair_of_works> pairs(table& both, int users);

/// Adds searches of a table whose users `whose` names: for a keyword that few of them have, for one
/// that most have, and for one with an operator.
void add_searches(std::vector<pair_of_works>& all, table& both, const std::string& whose,
                  const std::string& rare, const std::string& common,
                  const std::string& with_operator);
