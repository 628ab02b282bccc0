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

std::function<void()> inserts_of(table& one, uint32_t data_type) {
    return [&one, data_type] {
        one.store.as_transaction([&] {
            for (int i = 0; i < 1000; ++i) {
                db::UserRow row = made_up_user(i);
                row.data_type = data_type;
                one.store.InsertOrReplace(row);
            }
        });
    };
}

void say_contact_index() {
    using enum db::UserDataType;
    table plain(5 * users, true);
    table indexed(5 * users, true);
    plain.leave_few_contacts();
    indexed.leave_few_contacts();
    const auto size_before = static_cast<double>(indexed.connection->size());
    indexed.store.CreateContactIndex();
    const auto say_both = [&](const std::string& what, auto work) {
        say("contact index: " + what, ratio([&] { work(indexed); }, [&] { work(plain); }));
    };
    say_both("search, keyword that few have",
             [](table& one) { one.store.SearchUserRowsWithKeyWord("1700"); });
    say_both("search, keyword that all have",
             [](table& one) { one.store.SearchUserRowsWithKeyWord("a"); });
    say_both("search, expression",
             [](table& one) { one.store.SearchUserRowsWithKeyWord("1[78]0+"); });
    say_both("list of contacts",
             [](table& one) { one.store.GetUsersByDataType(USERDATA_CONTACT); });
    say_both("list of contacts of a source",
             [](table& one) { one.store.GetUsersByDataTypeAndSource(USERDATA_CONTACT, 1); });
    say("contact index: the first 50 contacts, over the list with it",
        ratio(
            [&] {
                int left = 50;
                indexed.store.WalkUsersByDataType(USERDATA_CONTACT,
                                                  [&left](auto&) { return --left > 0; });
            },
            [&] { indexed.store.GetUsersByDataType(USERDATA_CONTACT); }));
    for (const uint32_t data_type : {2U, 0U}) {
        say(std::string("contact index: `InsertOrReplace` of ") +
                (data_type == 0 ? "no contact" : "a contact"),
            ratio(inserts_of(indexed, data_type), inserts_of(plain, data_type)));
    }
    say("contact index: size of the database",
        static_cast<double>(indexed.connection->size()) / size_before);
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
    say_contact_index();
    const auto first_50 = [&] {
        int left = 50;
        plain.store.WalkUserRowsWithKeyWord("a", [&left](db::UserRow&) { return --left > 0; });
    };
    say("walk: the first 50 contacts with a letter",
        ratio(first_50, [&] { plain.store.SearchUserRowsWithKeyWord("a"); }));
}
