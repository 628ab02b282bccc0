#pragma once

#include "benchmarks/table.h"

#include <functional>
#include <vector>

/// A piece of work as the store does it and as C code does.
struct pair_of_works {
    const char* name;
    std::function<void()> store;
    std::function<void()> c;
};

/// All that is compared, on a table of so many users (at least 1000), which must outlive them.
std::vector<pair_of_works> pairs(table& both, int users);
