// Looks for the keyword that costs most among those that are not refused: random ones, of which
// the costliest are changed and joined again and again. Usage: bench_worst_keyword SECONDS [SEED]
#include "base/base.shared/utils/regex_container.h"
#include "benchmarks/measure.h"

#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <random>
#include <string>

namespace {

using namespace std::string_literals;

const std::string letters = "abcdefghijklmnopqrstuvwxyz";

struct Cost {
    double build_ms = 0;
    double match_ms = 0;
    double megabytes = 0;
    bool is_refused = true;

    /// 1 at the bounds of 0.1 s, 50 ms and 64 MB.
    [[nodiscard]] double share() const {
        return std::max({build_ms / 100, match_ms / 50, megabytes / 64});
    }
};

Cost larger(const Cost& one, const Cost& other) {
    return {std::max(one.build_ms, other.build_ms), std::max(one.match_ms, other.match_ms),
            std::max(one.megabytes, other.megabytes)};
}

class Search {
public:
    explicit Search(unsigned seed) : m_random(seed) {
        for (const std::string& from :
             {"a"s, "ab"s, "ab "s, "aac"s, letters + " _", "a\x80\x90\xa0 \n_-A%"s}) {
            m_names.push_back(random_text(from, 1023));
            m_members.push_back(R"("nick_name":")" + m_names.back());
        }
        std::string& many = m_members.emplace_back();
        while (many.size() < 1023) {
            many += R"("nick_name":")" + random_text("ab", 5);
        }
    }

    void run(double for_seconds) {
        for (double spent = 0; spent < for_seconds;) {
            spent += seconds([this] { try_one(); });
        }
        std::cout << std::fixed << std::setprecision(2) << m_tried << " keywords tried, " << m_built
                  << " not refused; at most " << m_worst.build_ms << " ms to build, "
                  << m_worst.match_ms << " ms to match 1 KB, " << m_worst.megabytes
                  << " MB\ncostliest: " << m_best.front().second.substr(0, 300) << '\n';
    }

private:
    unsigned number(size_t below) { return static_cast<unsigned>(m_random() % below); }

    std::string one_of(const std::vector<std::string>& all) { return all[number(all.size())]; }

    std::string random_text(const std::string& from, unsigned size) {
        std::string text;
        while (text.size() < size) {
            text += from[number(from.size())];
        }
        return text;
    }

    std::string random_atom(int depth) {
        if (depth == 0 || number(10) < 6) {
            const std::string set = random_text(letters, 1 + number(16));
            return one_of({"[" + set + "]", "[^" + set + "]", random_text(letters, 1),
                           random_text("abc", 1), ".",
                           one_of({"^", "$", "\\w", "\\W", "\\b", "\\<", "()", "\\s", "."})});
        }
        std::string group = random_sequence(depth - 1);
        for (unsigned i = number(3) == 0 ? number(8) : number(2); i > 0; --i) {
            group += "|" + random_sequence(depth - 1);
        }
        return "(" + group + ")";
    }

    /// Many places that may be missing, or from each of which there are several ways on.
    std::string random_ways() {
        const std::string one = one_of({random_text("ab", 1), ".", "[ab]"});
        const std::string way =
            one_of({one, one + "?", "(" + one + "?)", "(" + one + "?" + random_text("ab", 1) + "?)",
                    "(a|b)", "(a|" + random_text("ab", 2) + ")"});
        const std::string most = std::to_string(1 + number(255));
        return way + one_of({"{0," + most + "}", "{" + most + "}"});
    }

    /// A place that only the text around it tells from no place at all.
    std::string random_anchor() {
        const std::string anchor = one_of({"^", "$", "\\b", "\\B", "\\<", "\\>"});
        return one_of({anchor, "(" + anchor + "|" + random_text("ab", 1) + ")"});
    }

    std::string random_repetition() {
        const unsigned most = 1 + number(number(3) == 0 ? 100 : 12);
        const std::string to = std::to_string(most);
        const std::string from = std::to_string(number(most + 1));
        const std::string interval = "{" + from + "," + (number(4) == 0 ? "" : to) + "}";
        return one_of({"", one_of({"*", "?", "+", "{" + to + "}", interval})});
    }

    std::string random_sequence(int depth) {
        std::string sequence;
        for (unsigned i = 1 + number(4); i > 0; --i) {
            sequence += random_atom(depth) + random_repetition();
            sequence += number(8) == 0 ? random_repetition() : "";
        }
        return sequence;
    }

    std::string costly_keyword() { return m_best[number(m_best.size())].second; }

    std::string next_keyword() {
        if (m_best.empty() || number(4) == 0) {
            return one_of({"", ".*a"}) + random_sequence(4);
        }
        if (number(8) == 0) {
            return random_anchor() + one_of({"", "[ab]*", random_anchor()}) + random_ways() +
                   one_of({"y", random_anchor() + "y", random_ways() + "y", random_anchor()});
        }
        const std::string keyword = costly_keyword();
        const size_t place = number(keyword.size() + 1);
        const std::string before = keyword.substr(0, place);
        const std::string behind = keyword.substr(place);
        return one_of({keyword + random_sequence(3), "(" + keyword + ")" + random_repetition(),
                       behind, keyword + "|" + random_sequence(3), before + random_atom(2) + behind,
                       before + one_of({random_anchor(), random_ways()}) + behind,
                       keyword + costly_keyword()});
    }

    void try_one() {
        const std::string keyword = next_keyword();
        if (keyword.size() > 5000) {
            return;
        }
        const Cost cost =
            larger(least_cost(".*" + keyword + ".*", m_names),
                   least_cost(R"(("nick_name":"([^"]*)" + keyword + R"([^"]*)))", m_members));
        m_worst = larger(m_worst, cost);
        m_best.emplace_back(cost.share(), keyword);
        std::ranges::sort(m_best, std::greater());
        m_best.resize(std::min<size_t>(m_best.size(), 30));
    }

    /// The least of nine runs if the cost is high, since machines are noisy.
    Cost least_cost(const std::string& pattern, const std::vector<std::string>& texts) {
        Cost least = cost_of(pattern, texts);
        for (int i = 1; i < 9 && least.share() >= 0.5; ++i) {
            least = std::ranges::min(least, cost_of(pattern, texts), {}, &Cost::share);
        }
        m_tried += 1;
        m_built += least.is_refused ? 0 : 1;
        return least;
    }

    static Cost cost_of(const std::string& pattern, const std::vector<std::string>& texts) {
        Cost cost;
        base::RegexContainer regex;
        const size_t before = heap_in_use();
        cost.build_ms = 1e3 * seconds([&] { regex.build_reg("", pattern); });
        cost.is_refused = !regex.check_key_word("");
        for (const std::string& text : texts) {
            const double match = seconds([&] { static_cast<void>(regex.exec(text.c_str())); });
            cost.match_ms = std::max(cost.match_ms, 1e3 * match);
        }
        cost.megabytes = static_cast<double>(heap_in_use() - before) / 1e6;
        return cost;
    }

    std::mt19937_64 m_random;
    std::vector<std::string> m_names;
    std::vector<std::string> m_members;
    size_t m_tried = 0;
    size_t m_built = 0;
    Cost m_worst;
    std::vector<std::pair<double, std::string>> m_best; // the costliest so far
};

/// What a plain keyword of that many bytes costs that nearly stands everywhere in a text of 1 MB.
double plain_ms(size_t size) {
    const std::string keyword(size, 'a');
    std::string text;
    while (text.size() < 1'000'000) {
        text += keyword.substr(1) + "c";
    }
    base::RegexContainer regex;
    regex.build_reg("", ".*" + keyword + ".*");
    return 1e3 * seconds([&] { static_cast<void>(regex.exec(text.c_str())); });
}

} // namespace

int main(int argc, char** argv) {
    const double for_seconds = argc > 1 ? std::atof(argv[1]) : 10;
    Search search(argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()());
    search.run(for_seconds);
    for (const size_t size : {10U, 1'000U, 30'000U, 500'000U}) {
        std::cout << "a plain keyword of " << size << " bytes: " << plain_ms(size) << " ms\n";
    }
}
