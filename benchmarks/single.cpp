// Does one work a number of times, for tools that count instructions. Without arguments it prints
// the names of the works. Usage: bench_single WORK store|c TIMES
#include "benchmarks/works.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    constexpr int users = 1000; // counting is slow
    table both(users);
    for (const pair_of_works& pair : pairs(both, users)) {
        if (argc != 4) {
            std::cout << pair.name << '\n';
        } else if (pair.name == argv[1]) {
            const auto& work = argv[2] == std::string("c") ? pair.c : pair.store;
            for (int left = std::atoi(argv[3]); left > 0; --left) {
                work();
            }
        }
    }
}
