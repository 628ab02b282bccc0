#include "benchmarks/works.h"

#include <set>
#include <string>

namespace {

constexpr int users_in_batch = 500;

const std::string rare_keyword = "1234";
const std::string common_keyword = "a";

} // namespace

std::vector<pair_of_works> pairs(table& both, int users) {
    std::set<std::pair<std::string, int>> batch;
    std::vector<std::string> batch_keys;
    for (int i = 0; i < users_in_batch; ++i) {
        const std::string user_id = made_up_user(i * 37 % users).user_id;
        batch.emplace(user_id, 1);
        batch_keys.push_back(user_id + ":1");
    }
    auto next = [users, number = 0]() mutable { return number = (number + 7919) % users; };
    const auto insert_1000 = [](auto insert) {
        for (int i = 0; i < 1000; ++i) {
            db::UserRow row = made_up_user(i);
            insert(row);
        }
    };
    return {
        {"`GetAll`", [&] { both.store.GetAll(); }, [&] { both.c.get_all(); }},
        {"batch lookup of 500", [&both, batch] { both.store.GetUserRowsByUserIds(batch); },
         [&both, batch_keys] { both.c.get_many(batch_keys); }},
        {"`GetUserByUserIdAndSource`",
         [&both, next]() mutable {
             db::UserRow row;
             both.store.GetUserByUserIdAndSource("user" + std::to_string(next()), 1, row);
         },
         [&both, next]() mutable {
             db::UserRow row;
             both.c.get("user" + std::to_string(next()), 1, row);
         }},
        {"`InsertOrReplace` in one transaction",
         [&both, insert_1000] {
             both.store.as_transaction(
                 [&] { insert_1000([&](db::UserRow& row) { both.store.InsertOrReplace(row); }); });
         },
         [&both, insert_1000] {
             both.c.run("BEGIN");
             insert_1000([&](db::UserRow& row) { both.c.insert_or_replace(row); });
             both.c.run("COMMIT");
         }},
        {"single-field update",
         [&both, next]() mutable {
             db::DBUser::UpdateIsStartByIdAndSource(true, "user" + std::to_string(next()), 1,
                                                    both.store);
         },
         [&both, next]() mutable { both.c.set_star(1, "user" + std::to_string(next()), 1); }},
        {"search, keyword in few rows, over three LIKEs",
         [&] { both.store.SearchUserRowsWithKeyWord(rare_keyword); },
         [&] { both.c.search_like(rare_keyword); }},
        {"search, keyword in few rows, over regexec",
         [&] { both.store.SearchUserRowsWithKeyWord(rare_keyword); },
         [&] { both.c.search_regexec(rare_keyword); }},
        {"search, keyword in most rows, over regexec",
         [&] { both.store.SearchUserRowsWithKeyWord(common_keyword); },
         [&] { both.c.search_regexec(common_keyword); }},
    };
}
