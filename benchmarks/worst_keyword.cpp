// Looks for the keyword that costs most among those that are not refused: random ones, of which
// the costliest are changed and joined again and again. Usage: bench_worst_keyword SECONDS [SEED]

#include "base/base.shared/utils/regex_container.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <malloc.h>
#include <random>
#include <string>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;

double milliseconds_since(clock_type::time_point start) {
    return std::chrono::duration<double, std::milli>(clock_type::now() - start).count();
}

double megabytes_in_use() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

struct Cost {
    double build_ms = 0;
    double match_ms = 0;
    double megabytes = 0;

    /// 1 at the bounds of 0.1 s, 50 ms and 64 MB.
    [[nodiscard]] double share() const {
        return std::max({build_ms / 100, match_ms / 50, megabytes / 64});
    }
};

class Search {
public:
    explicit Search(unsigned seed) : m_random(seed) {
        for (const char* letters :
             {"a", "ab", "aac", "abcdefghijklmnopqrstuvwxyz _", "a\x80\x90\xa0 \n_-A%"}) {
            m_texts.push_back(random_text(letters, 1023));
        }
    }

    void run(double seconds) {
        const auto start = clock_type::now();
        while (milliseconds_since(start) < seconds * 1000) {
            const std::string key_word = next_key_word();
            if (key_word.size() <= 5000) {
                keep(key_word, cost_of(key_word));
            }
        }
        std::cout << std::fixed << std::setprecision(2) << m_tried << " keywords tried, " << m_built
                  << " not refused; at most " << m_worst.build_ms << " ms to build, "
                  << m_worst.match_ms << " ms to match 1 KB, " << m_worst.megabytes
                  << " MB\ncostliest: " << m_best.front().second.substr(0, 300) << '\n';
    }

private:
    unsigned number(unsigned below) { return static_cast<unsigned>(m_random() % below); }

    std::string random_text(const std::string& letters, int size) {
        std::string text;
        for (int i = 0; i < size; ++i) {
            text += letters[number(static_cast<unsigned>(letters.size()))];
        }
        return text;
    }

    std::string random_set() {
        std::string set = number(2) == 0 ? "[" : "[^";
        for (unsigned i = 1 + number(3); i > 0; --i) {
            const unsigned from = number(26);
            set += static_cast<char>('a' + from);
            if (number(2) == 0) {
                set += std::string("-") + static_cast<char>('a' + from + number(26 - from));
            }
        }
        return set + "]";
    }

    std::string random_atom(int depth) {
        static const std::vector<std::string> special{"^",   "$",  "\\w", "\\W", "\\b",
                                                      "\\<", "()", "\\s", "."};
        const unsigned kind = number(depth > 0 ? 10 : 6);
        if (kind < 2) {
            return random_set();
        }
        if (kind < 6) {
            return kind == 2   ? special[number(static_cast<unsigned>(special.size()))]
                   : kind == 3 ? std::string(1, static_cast<char>('a' + number(26)))
                   : kind == 4 ? std::string(1, static_cast<char>('a' + number(3)))
                               : ".";
        }
        std::string group = "(" + random_sequence(depth - 1);
        for (unsigned i = number(3) == 0 ? number(8) : number(2); i > 0; --i) {
            group += "|" + random_sequence(depth - 1);
        }
        return group + ")";
    }

    std::string random_repetition() {
        const unsigned most = 1 + number(number(3) == 0 ? 100 : 12);
        switch (number(10)) {
        case 0:
            return "*";
        case 1:
            return "?";
        case 2:
            return "+";
        case 3:
            return "{" + std::to_string(most) + "}";
        case 4:
            return "{" + std::to_string(number(most + 1)) + "," +
                   (number(4) == 0 ? "}" : std::to_string(most) + "}");
        default:
            return "";
        }
    }

    std::string random_sequence(int depth) {
        std::string sequence;
        for (unsigned i = 1 + number(4); i > 0; --i) {
            sequence += random_atom(depth) + random_repetition();
            sequence += number(8) == 0 ? random_repetition() : "";
        }
        return sequence;
    }

    std::string next_key_word() {
        if (m_best.empty() || number(4) == 0) {
            return (number(2) == 0 ? ".*a" : "") + random_sequence(4);
        }
        const auto any = [&] {
            return m_best[number(static_cast<unsigned>(m_best.size()))].second;
        };
        const std::string key_word = any();
        const auto place = number(static_cast<unsigned>(key_word.size() + 1));
        switch (number(6)) {
        case 0:
            return key_word + random_sequence(3);
        case 1:
            return "(" + key_word + ")" + random_repetition();
        case 2:
            return key_word.substr(place);
        case 3:
            return key_word + "|" + random_sequence(3);
        case 4:
            return key_word.substr(0, place) + random_atom(2) + key_word.substr(place);
        default:
            return key_word + any();
        }
    }

    /// Of both kinds of pattern; the least of nine runs if it is high, since machines are noisy.
    Cost cost_of(const std::string& key_word) {
        std::vector<std::string> json;
        for (const std::string& text : m_texts) {
            json.push_back(R"("nick_name":")" + text);
        }
        json.emplace_back();
        while (json.back().size() < 1023) {
            json.back() += R"("nick_name":")" + random_text("ab", 5);
        }
        const Cost name = cost_of(key_word, ".*" + key_word + ".*", m_texts);
        const Cost member =
            cost_of(key_word, R"(("nick_name":"([^"]*)" + key_word + R"([^"]*)))", json);
        return {std::max(name.build_ms, member.build_ms), std::max(name.match_ms, member.match_ms),
                std::max(name.megabytes, member.megabytes)};
    }

    Cost cost_of(const std::string& key_word, const std::string& pattern,
                 const std::vector<std::string>& texts) {
        ++m_tried;
        Cost least;
        for (int i = 0; i < 9; ++i) {
            Cost cost;
            base::RegexContainer regex;
            const double before = megabytes_in_use();
            auto start = clock_type::now();
            regex.build_reg(key_word, pattern);
            cost.build_ms = milliseconds_since(start);
            if (regex.check_key_word(key_word)) {
                m_built += i == 0 ? 1 : 0;
                for (const std::string& text : texts) {
                    start = clock_type::now();
                    static_cast<void>(regex.exec(text.c_str()));
                    cost.match_ms = std::max(cost.match_ms, milliseconds_since(start));
                }
            }
            cost.megabytes = megabytes_in_use() - before;
            least = i == 0 || cost.share() < least.share() ? cost : least;
            if (least.share() < 0.5) {
                break;
            }
        }
        return least;
    }

    void keep(const std::string& key_word, const Cost& cost) {
        m_worst = {std::max(m_worst.build_ms, cost.build_ms),
                   std::max(m_worst.match_ms, cost.match_ms),
                   std::max(m_worst.megabytes, cost.megabytes)};
        m_best.emplace_back(cost.share(), key_word);
        std::ranges::sort(m_best, std::greater());
        m_best.resize(std::min<size_t>(m_best.size(), 30));
    }

    std::mt19937_64 m_random;
    std::vector<std::string> m_texts;
    size_t m_tried = 0;
    size_t m_built = 0;
    Cost m_worst;
    std::vector<std::pair<double, std::string>> m_best; // the costliest so far
};

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 10;
    Search(argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()())
        .run(seconds);
}
