#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.empty() ? 0 : values[values.size() / 2];
}

/// Collects a counter of each repetition by benchmark, and prints nothing.
class collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                m_values[run.run_name.function_name].push_back(run.counters.at("value"));
            }
        }
    }

    /// 0 for a benchmark that the command line left out.
    double median_of(const std::string& name) { return median(m_values[name]); }

private:
    std::map<std::string, std::vector<double>> m_values;
};

inline double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Measures the time of one piece of work over that of another: they take turns, so that whatever
/// else the machine does meets both alike, and the medians of their times are compared.
inline void add_ratio(const std::string& name, std::function<void()> work,
                      std::function<void()> reference) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        std::vector<double> times;
        std::vector<double> reference_times;
        for (auto _ : state) {
            // The second one finds the caches as the first one left them: they change places.
            const bool first = times.size() % 2 == 0;
            if (first) {
                times.push_back(seconds(work));
            }
            reference_times.push_back(seconds(reference));
            if (!first) {
                times.push_back(seconds(work));
            }
        }
        state.counters["value"] = median(times) / median(reference_times);
    });
}

/// Runs all benchmarks, by default many repetitions in random order.
inline collector run_benchmarks(int argc, char** argv) {
    std::string defaults[] = {"--benchmark_enable_random_interleaving=true",
                              "--benchmark_repetitions=15", "--benchmark_min_time=0.1"};
    std::vector<char*> arguments{argv[0]};
    for (std::string& one : defaults) {
        arguments.push_back(one.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    collector values;
    benchmark::RunSpecifiedBenchmarks(&values);
    return values;
}
