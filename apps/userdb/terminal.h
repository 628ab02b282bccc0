#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace userdb {

/// The width of the terminal that standard output is. 0 if it is none, or does not tell.
size_t terminal_columns();

/// Whether a file is a terminal that obeys escape sequences.
bool obeys_escapes(int file);

/// Writes a line about something to standard error.
void report(const std::string& what);

/// Tells on standard error, if that obeys escapes, how far some work is. The line is wiped out at
/// the end.
class progress {
public:
    /// What is done is told in front of a number, as in "writing line".
    explicit progress(std::string doing) : m_doing(std::move(doing)) {}
    ~progress();
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    /// The share of the work that is done is from 0 to 1, or 0 if nobody knows it.
    void update(size_t count, double share);

private:
    using clock = std::chrono::steady_clock;

    std::string m_doing;
    bool m_is_visible = false;
    clock::time_point m_last = clock::now();
};

} // namespace userdb
