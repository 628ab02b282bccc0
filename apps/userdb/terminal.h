#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace userdb {

/// The columns of the terminal that standard output is; 0 if it is none, or does not say.
size_t terminal_columns();

/// How far some work is, on standard error if that is a terminal; wiped out at the end.
class progress {
public:
    explicit progress(std::string doing) : m_doing(std::move(doing)) {}
    ~progress();
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    /// The share of the work that is done, from 0 to 1, gives the time left; 0 if nobody knows it.
    void show(size_t lines, double share);

private:
    using clock = std::chrono::steady_clock;

    std::string m_doing;
    bool m_is_shown = false;
    clock::time_point m_start = clock::now();
    clock::time_point m_last = m_start;
};

} // namespace userdb
