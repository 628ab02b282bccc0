// Prints a table of ratios: the time of the store over that of hand-written C code that runs the
// same SQL texts. Standard input gives real users, as `table` reads them.
#include "benchmarks/measure.h"
#include "benchmarks/works.h"

#include <array>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace {

/// Users with names in some languages of Europe, as `table` reads them.
std::string european_users(int users) {
    constexpr std::array names{"Иван Петров",        "Мария Иванова",  "Юрий Сидоров",
                               "Νίκος Παπαδόπουλος", "Ελένη Γεωργίου", "Çağla Öztürk",
                               "Łukasz Wójcik",      "Zoë Müller"};
    std::string lines;
    for (size_t i = 0; i < static_cast<size_t>(users); ++i) {
        for (const size_t place : {i, i / 3, i / 7}) {
            lines.append(names[place % names.size()]).append(" ").append(std::to_string(place));
            lines += place == i / 7 ? '\n' : '\t';
        }
    }
    return lines;
}

pair_of_works search_over_likes(table& both, const std::string& kind, const std::string& keyword) {
    return {"search of European names, " + kind + ", over three LIKEs",
            [&both, keyword] { both.store.SearchUserRowsWithKeyWord(keyword); },
            [&both, keyword] { both.c.search_like(keyword); }};
}

} // namespace

int main() {
    constexpr int users = 20000;
    table made_up(users);
    table packages(std::cin);
    std::vector<pair_of_works> all = pairs(made_up, users);
    add_searches(all, packages, "packages", "sqlite", "e", "sql(ite|server)");
    std::istringstream lines(european_users(users));
    table europeans(lines);
    all.push_back(search_over_likes(europeans, "Cyrillic keyword that nobody has", "жираф"));
    all.push_back(search_over_likes(europeans, "rare ASCII keyword", "1234"));
    lines = std::istringstream(european_users(users));
    table plain_europeans(lines);
    plain_europeans.store.SetSearchIgnoresDiacritics(true);
    all.push_back(
        search_over_likes(plain_europeans, "rare ASCII keyword, diacritics ignored", "1234"));
    table kept(users, true);
    for (pair_of_works& pair : calls(kept, users)) {
        pair.name += ", statements kept by both";
        all.push_back(std::move(pair));
    }

    std::cout << "| work | store / C code |\n|---|---|\n" << std::fixed << std::setprecision(2);
    for (const pair_of_works& pair : all) {
        std::cout << "| " << pair.name << " | " << ratio(pair.store, pair.c) << " |" << std::endl;
    }
}
