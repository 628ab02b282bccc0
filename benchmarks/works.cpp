#include "benchmarks/works.h"

namespace {

/// The ids of the users from 0 to that number, one after the other in an order without locality.
auto scattered_user_ids(int users) {
    return [users, number = 0]() mutable {
        number = (number + 7919) % users;
        return "user" + std::to_string(number);
    };
}

template <typename Insert>
void insert_1000(Insert insert) {
    for (int i = 0; i < 1000; ++i) {
        db::UserRow row = made_up_user(i);
        insert(row);
    }
}

} // namespace

std::vector<pair_of_works> calls(table& both, int users) {
    auto next = scattered_user_ids(users);
    return {
        {"`GetUserByUserIdAndSource`",
         [&both, next]() mutable {
             db::UserRow row;
             both.store.GetUserByUserIdAndSource(next(), 1, row);
         },
         [&both, next]() mutable {
             db::UserRow row;
             both.c.get(next(), 1, row);
         }},
        {"`InsertOrReplace` in one transaction",
         [&] {
             both.store.as_transaction(
                 [&] { insert_1000([&](db::UserRow& row) { both.store.InsertOrReplace(row); }); });
         },
         [&] {
             both.c.run("BEGIN");
             insert_1000([&](db::UserRow& row) { both.c.insert_or_replace(row); });
             both.c.run("COMMIT");
         }},
        {"single-field update",
         [&both, next]() mutable {
             db::DBUser::UpdateIsStartByIdAndSource(true, next(), 1, both.store);
         },
         [&both, next]() mutable { both.c.set_star(1, next(), 1); }},
    };
}

std::vector<pair_of_works> pairs(table& both, int users) {
    const auto batch = made_up_batch(500);
    std::vector<std::string> batch_keys;
    for (const auto& [user_id, source] : batch) {
        batch_keys.push_back(user_id + ":" + std::to_string(source));
    }
    std::vector<pair_of_works> all = calls(both, users);
    all.push_back({"`GetAll`", [&] { both.store.GetAll(); }, [&] { both.c.get_all(); }});
    all.push_back({"batch lookup of 500",
                   [&both, batch] { both.store.GetUserRowsByUserIds(batch); },
                   [&both, batch_keys] { both.c.get_many(batch_keys); }});
    add_searches(all, both, "made-up users", "1234", "a", "1[23]+4");
    return all;
}

void add_searches(std::vector<pair_of_works>& all, table& both, const std::string& whose,
                  const std::string& rare, const std::string& common,
                  const std::string& with_operator) {
    const auto add = [&](const std::string& kind, const std::string& keyword,
                         const std::string& reference, auto c_search) {
        all.push_back({"search of " + whose + ", " + kind + ", over " + reference,
                       [&both, keyword] { both.store.SearchUserRowsWithKeyWord(keyword); },
                       [&both, keyword, c_search] { (both.c.*c_search)(keyword); }});
    };
    add("rare keyword", rare, "three LIKEs", &c_users::search_like);
    add("one-letter keyword", common, "three LIKEs", &c_users::search_like);
    add("rare keyword", rare, "regexec", &c_users::search_regexec);
    add("one-letter keyword", common, "regexec", &c_users::search_regexec);
    add("rare keyword with operators", with_operator, "regexec", &c_users::search_regexec);
}
