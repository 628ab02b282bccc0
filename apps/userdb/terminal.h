#pragma once

#include <cstddef>
#include <string>

namespace userdb {

/// The width of the terminal that standard output is. 0 if it is none, or does not tell.
size_t terminal_columns();

/// Whether a file is a terminal that obeys escape sequences.
bool obeys_escapes(int file);

/// Writes a line about something to standard error.
void report(const std::string& what);

} // namespace userdb
