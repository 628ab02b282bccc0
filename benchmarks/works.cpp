#include "benchmarks/works.h"

#include <set>
#include <string>

namespace {

constexpr int users_in_batch = 500;

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
    std::vector<pair_of_works> all{
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
    };
    for (pair_of_works& search : searches(both, "made-up users", "1234", "a", "1[23]+4")) {
        all.push_back(std::move(search));
    }
    return all;
}

std::vector<pair_of_works> searches(table& both, const std::string& whose, const std::string& rare,
                                    const std::string& common, const std::string& with_operator) {
    const auto over_likes = [&](const std::string& kind, const std::string& keyword) {
        return pair_of_works{"search of " + whose + ", " + kind + ", over three LIKEs",
                             [&both, keyword] { both.store.SearchUserRowsWithKeyWord(keyword); },
                             [&both, keyword] { both.c.search_like(keyword); }};
    };
    const auto over_regexec = [&](const std::string& kind, const std::string& keyword) {
        return pair_of_works{"search of " + whose + ", " + kind + ", over regexec",
                             [&both, keyword] { both.store.SearchUserRowsWithKeyWord(keyword); },
                             [&both, keyword] { both.c.search_regexec(keyword); }};
    };
    return {over_likes("rare keyword", rare), over_likes("one-letter keyword", common),
            over_regexec("rare keyword", rare), over_regexec("one-letter keyword", common),
            over_regexec("rare keyword with operators", with_operator)};
}
