// How the cost grows with the table: the time per row of a list and of a search that finds one
// user,// relative to the smallest table, and the memory that a list takes over that of its rows
// alone. And how the cost of a batch lookup grows with the number of users asked for.
#include "benchmarks/collector.h"
#include "benchmarks/table.h"

#include <iomanip>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <set>

namespace {

constexpr int sizes[] = {1000, 10000, 100000, 1000000};
constexpr int batch_sizes[] = {100, 500, 1000, 2000, 4000, 8000};

size_t heap_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::set<std::pair<std::string, int>> batch(int size) {
    std::set<std::pair<std::string, int>> users;
    for (int i = 0; i < size; ++i) {
        users.emplace(made_up_user(i).user_id, 1);
    }
    return users;
}

/// What holding a list takes from the heap, over what a copy of exactly its rows takes.
double memory_ratio(db::DBUser& store) {
    const size_t before = heap_in_use();
    const std::vector<db::UserRow> rows = store.GetAll();
    const size_t with_list = heap_in_use();
    const std::vector<db::UserRow> copy(rows);
    return static_cast<double>(with_list - before) / static_cast<double>(heap_in_use() - with_list);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::unique_ptr<table>> tables;
    for (const int users : sizes) {
        tables.push_back(std::make_unique<table>(users));
    }
    const auto list = [](table& one) { one.store.GetAll(); };
    const auto c_list = [](table& one) { one.c.get_all(); };
    const auto search = [](table& one) { one.store.SearchUserRowsWithKeyWord("Chen Castagna 18"); };
    for (size_t i = 0; i < tables.size(); ++i) {
        const auto add = [&](const char* name, auto work) {
            add_ratio(
                name + std::to_string(sizes[i]), [&tables, i, work] { work(*tables[i]); },
                [&tables, i, work] { // the same number of rows, from the smallest table
                    for (int turn = sizes[i] / sizes[0]; turn > 0; --turn) {
                        work(*tables[0]);
                    }
                });
        };
        add("list", list);
        add("c_list", c_list);
        add("search", search);
    }
    db::DBUser& store = tables.back()->store;
    const std::set<std::pair<std::string, int>> small_batch = batch(batch_sizes[0]);
    for (const int size : batch_sizes) {
        add_ratio(
            "batch" + std::to_string(size),
            [&store, all = batch(size)] { store.GetUserRowsByUserIds(all); },
            [&store, &small_batch, size] { // the same number of users, in small batches
                for (int turn = size / batch_sizes[0]; turn > 0; --turn) {
                    store.GetUserRowsByUserIds(small_batch);
                }
            });
    }
    collector ratios = run_benchmarks(argc, argv);

    std::cout << "| users | list, per row | list by C code, per row | search, per row | memory of "
                 "a list |\n|---|---|---|---|---|\n"
              << std::fixed << std::setprecision(2);
    for (size_t i = 0; i < tables.size(); ++i) {
        const std::string size = std::to_string(sizes[i]);
        std::cout << "| " << size << " | " << ratios.median_of("list" + size) << " | "
                  << ratios.median_of("c_list" + size) << " | " << ratios.median_of("search" + size)
                  << " | " << memory_ratio(tables[i]->store) << " |\n";
    }
    std::cout << "\n| users in a batch | batch lookup, per user |\n|---|---|\n";
    for (const int size : batch_sizes) {
        std::cout << "| " << size << " | " << ratios.median_of("batch" + std::to_string(size))
                  << " |\n";
    }
}
