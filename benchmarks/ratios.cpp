// Prints a table of ratios: the time of the store over that of hand-written C code that runs the
// same SQL texts. Standard input gives real users, as `table` reads them.
#include "benchmarks/measure.h"
#include "benchmarks/works.h"

#include <iomanip>
#include <iostream>

int main() {
    constexpr int users = 20000;
    table made_up(users);
    table packages(std::cin);
    std::vector<pair_of_works> all = pairs(made_up, users);
    add_searches(all, packages, "packages", "sqlite", "e", "sql(ite|server)");
    table kept(users, true);
    for (pair_of_works& pair : calls(kept, users)) {
        pair.name += ", statements kept by both";
        all.push_back(std::move(pair));
    }

    std::cout << "| work | store / C code |\n|---|---|\n" << std::fixed << std::setprecision(2);
    for (const pair_of_works& pair : all) {
        std::cout << "| " << pair.name << " | " << ratio(pair.store, pair.c) << " |" << std::endl;
    }
}
