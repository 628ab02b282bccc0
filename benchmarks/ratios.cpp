// The store beside hand-written C code that runs the same SQL texts: a table of ratios, each the
// median of many repetitions. Standard input gives real users, as `table` reads them.
#include "benchmarks/collector.h"
#include "benchmarks/works.h"

#include <iomanip>
#include <iostream>

int main(int argc, char** argv) {
    constexpr int users = 20000;
    table both(users);
    table packages(std::cin);
    std::vector<pair_of_works> all = pairs(both, users);
    for (pair_of_works& search : searches(packages, "packages", "sqlite", "e", "sql(ite|server)")) {
        all.push_back(std::move(search));
    }
    for (const pair_of_works& pair : all) {
        add_ratio(pair.name, pair.store, pair.c);
    }
    collector ratios = run_benchmarks(argc, argv);

    std::cout << "| work | store / C code |\n|---|---|\n" << std::fixed << std::setprecision(2);
    for (const pair_of_works& pair : all) {
        if (const double ratio = ratios.median_of(pair.name); ratio > 0) {
            std::cout << "| " << pair.name << " | " << ratio << " |\n";
        }
    }
}
