// The store beside hand-written C code that runs the same SQL texts. Prints a table of ratios, each
// the median of the store's repetitions over that of the C code's. All repetitions run interleaved
// in random order, so that whatever else the machine does meets both sides alike.
#include "benchmarks/table.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <vector>

namespace {

constexpr int users_in_table = 20000;
constexpr int users_in_batch = 500;

const std::string rare_keyword = "1234";
const std::string common_keyword = "a";

struct pair_of_benchmarks {
    const char* name;
    std::function<void()> store;
    std::function<void()> c;
};

/// Collects the time of each repetition by benchmark.
class collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                m_times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
            }
        }
    }
    /// 0 for a benchmark that the command line left out.
    double median(const std::string& name) {
        std::vector<double>& times = m_times[name];
        if (times.empty()) {
            return 0;
        }
        std::ranges::sort(times);
        return times[times.size() / 2];
    }

private:
    std::map<std::string, std::vector<double>> m_times;
};

std::vector<pair_of_benchmarks> pairs(tables& both) {
    std::set<std::pair<std::string, int>> batch;
    std::vector<std::string> batch_keys;
    for (int i = 0; i < users_in_batch; ++i) {
        const std::string user_id = made_up_user(i * 37).user_id;
        batch.emplace(user_id, 1);
        batch_keys.push_back(user_id + ":1");
    }
    auto next = [number = 0]() mutable { return number = (number + 7919) % users_in_table; };
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

} // namespace

int main(int argc, char** argv) {
    // Interleaving, and enough repetitions for a median, unless the command line says otherwise.
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::string repetitions = "--benchmark_repetitions=15";
    std::string min_time = "--benchmark_min_time=0.05";
    arguments.insert(arguments.begin() + 1,
                     {interleave.data(), repetitions.data(), min_time.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    tables both(users_in_table);
    const std::vector<pair_of_benchmarks> all = pairs(both);
    for (const pair_of_benchmarks& pair : all) {
        const auto repeat = [](const std::function<void()>& work) {
            return [work](benchmark::State& state) {
                for (auto _ : state) {
                    work();
                }
            };
        };
        benchmark::RegisterBenchmark((std::string(pair.name) + "/store").c_str(),
                                     repeat(pair.store));
        benchmark::RegisterBenchmark((std::string(pair.name) + "/c").c_str(), repeat(pair.c));
    }
    collector times;
    benchmark::RunSpecifiedBenchmarks(&times);

    std::cout << "| work | store / C code |\n|---|---|\n";
    std::cout.setf(std::ios::fixed);
    std::cout.precision(2);
    for (const pair_of_benchmarks& pair : all) {
        const std::string name = pair.name;
        if (const double c = times.median(name + "/c"); c > 0) {
            std::cout << "| " << name << " | " << times.median(name + "/store") / c << " |\n";
        }
    }
}
