#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace userdb {

/// The width of the terminal that standard output is. 0 if it is none, or does not tell.
size_t terminal_columns();

/// Whether a file is a terminal that obeys escape sequences.
bool obeys_escapes(int file);

/// A text that is safe to print, and the columns of a terminal that it takes.
struct table_cell {
    std::string text;
    size_t width = 0;
};

/// The text as it is safe to print. U+FFFD takes the place of control characters, of marks that
/// turn the direction of writing, and of what is no character.
table_cell printable(std::string_view text);
/// The same for the first character of a text, which is taken off.
table_cell take_character(std::string_view& text);

/// The text with its long lines broken at blanks, so that none is longer than so many columns. A
/// line goes on below the last column of what it lists.
std::string wrapped(const std::string& text, size_t columns);

/// Shows on a terminal how far the work has come, in the place of what was shown before.
void show_progress(const std::string& text);

/// Writes a line about something to standard error, in the place of any progress.
void report(const std::string& what);

} // namespace userdb
