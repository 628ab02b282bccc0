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
    /// What is done is told in front of a number, as in "writing line", and what follows behind it.
    void update(const char* doing, size_t number, const std::string& behind = {});
    ~progress();

private:
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

} // namespace userdb
