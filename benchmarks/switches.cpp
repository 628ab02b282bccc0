// Prints what the store's switches give and cost, among 60,000 made-up users.
#include "benchmarks/measure.h"
#include "benchmarks/works.h"

#include <iomanip>
#include <iostream>

namespace {

constexpr int users = 60000;

void say(const std::string& what, double share) {
    std::cout << "| " << what << " | " << share << " |" << std::endl;
}

/// The store's work of this name on a table.
std::function<void()> work_on(table& one, const std::string& name) {
    for (const pair_of_works& pair : calls(one, users)) {
        if (pair.name.find(name) != std::string::npos) {
            return pair.store;
        }
    }
    std::abort();
}

} // namespace

int main() {
    table plain(users);
    table keeping(users, true);
    table indexed(users);
    const auto size_before = static_cast<double>(indexed.connection->size());
    indexed.store.CreateUserIdIndex();

    std::cout << "| what | time or size, over that without the switch |\n|---|---|\n"
              << std::setprecision(2);
    for (const std::string name : {"`GetUserByUserIdAndSource`", "`InsertOrReplace`"}) {
        say("statements kept: " + name, ratio(work_on(keeping, name), work_on(plain, name)));
    }
    for (const std::string name : {"single-field update", "`InsertOrReplace`"}) {
        say("index: " + name, ratio(work_on(indexed, name), work_on(plain, name)));
    }
    table both(users, true);
    both.store.CreateUserIdIndex();
    say("index, with statements kept: `InsertOrReplace`",
        ratio(work_on(both, "`InsertOrReplace`"), work_on(keeping, "`InsertOrReplace`")));
    say("index: size of the database",
        static_cast<double>(indexed.connection->size()) / size_before);
    const auto first_50 = [&] {
        int left = 50;
        plain.store.WalkUserRowsWithKeyWord("a", [&left](db::UserRow&) { return --left > 0; });
    };
    say("walk: the first 50 contacts with a letter",
        ratio(first_50, [&] { plain.store.SearchUserRowsWithKeyWord("a"); }));
}
