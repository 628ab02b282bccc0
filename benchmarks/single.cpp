// Does one work a number of times, for tools that count instructions: bench_single WORK store|c
// TIMES
#include "benchmarks/works.h"

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    constexpr int users = 1000; // counting is slow
    table both(users);
    const std::vector<pair_of_works> all = pairs(both, users);
    if (argc != 4) {
        for (const pair_of_works& pair : all) {
            std::cout << pair.name << '\n';
        }
        return 2;
    }
    for (const pair_of_works& pair : all) {
        if (pair.name == argv[1]) {
            for (int left = std::atoi(argv[3]); left > 0; --left) {
                (argv[2] == std::string("c") ? pair.c : pair.store)();
            }
        }
    }
}
