// Prints how the cost grows with the table: the time per row of a list and of a search that finds
// one user, over that in the smallest table, and the memory that a list takes over that of its rows
// alone. Then how the cost of a batch lookup grows with the number of users asked for.
#include "benchmarks/measure.h"
#include "benchmarks/table.h"

#include <deque>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace {

constexpr int sizes[] = {1000, 10000, 100000, 1000000};
constexpr int batch_sizes[] = {100, 500, 1000, 2000, 4000, 8000};

/// The time of some work over that of another, smaller one that is done so many times.
double growth(const std::function<void()>& work, int times, const std::function<void()>& small) {
    return ratio(work, [&] {
        for (int i = 0; i < times; ++i) {
            small();
        }
    });
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

int main() {
    std::deque<table> tables;
    for (const int users : sizes) {
        tables.emplace_back(users);
        // The allocator keeps more of what is freed once it has seen large blocks: show it all of
        // them, or the first rows would pay for pages that the others find.
        tables.back().store.GetAll();
    }
    std::vector<std::string> rows;
    const auto add = [&rows](size_t i, double figure) {
        std::ostringstream cell;
        cell << " " << std::fixed << std::setprecision(2) << figure << " |";
        rows[i] += cell.str();
    };
    const auto search = [](table& one) { one.store.SearchUserRowsWithKeyWord("Chen Castagna 18"); };
    for (size_t i = 0; i < tables.size(); ++i) {
        const auto per_row = [&](auto work) {
            return growth([&] { work(tables[i]); }, sizes[i] / sizes[0], [&] { work(tables[0]); });
        };
        rows.push_back("| " + std::to_string(sizes[i]) + " |");
        add(i, per_row([](table& one) { one.store.GetAll(); }));
        add(i, per_row([](table& one) { one.c.get_all(); }));
        add(i, per_row(search));
        add(i, memory_ratio(tables[i].store));
    }
    table smallest(sizes[0]);
    smallest.leave_few_contacts();
    for (const bool has_index : {false, true}) {
        for (size_t i = 0; i < tables.size(); ++i) {
            if (has_index) {
                tables[i].store.CreateContactIndex();
            } else {
                tables[i].leave_few_contacts();
            }
            add(i,
                growth([&] { search(tables[i]); }, sizes[i] / sizes[0], [&] { search(smallest); }));
        }
    }
    std::cout << "| users | list by the store, per row | list by C code, per row | "
                 "search, per row | memory of a list | search for few contacts, per row | "
                 "with an index, per row |\n|---|---|---|---|---|---|---|\n"
              << std::fixed << std::setprecision(2);
    for (const std::string& row : rows) {
        std::cout << row << std::endl;
    }
    std::cout << "\n| users asked for | batch lookup, per user | walk by ids, per user |\n"
                 "|---|---|---|\n";
    db::DBUser& store = tables.back().store;
    const auto walk = [&store](const auto& users) {
        store.WalkUsersByUserIds(users, [](auto&) { return true; });
    };
    const auto small_batch = made_up_batch(batch_sizes[0]);
    for (const int size : batch_sizes) {
        const auto batch = made_up_batch(size);
        const int times = size / batch_sizes[0];
        std::cout << "| " << size << " | "
                  << growth([&] { store.GetUserRowsByUserIds(batch); }, times,
                            [&] { store.GetUserRowsByUserIds(small_batch); })
                  << " | " << growth([&] { walk(batch); }, times, [&] { walk(small_batch); })
                  << " |" << std::endl;
    }
}
