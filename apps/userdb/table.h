#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <array>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace userdb {

/// The text with control characters, those that turn the direction of writing, those without width
/// and bytes that are no UTF-8 shown as U+FFFD.
std::string printable_text(const std::string& text);

/// A text that is safe to print, and the columns that it takes.
struct table_cell {
    std::string text;
    size_t width = 0;
};

/// Writes records as a table with aligned columns, for people. Wide characters count two columns;
/// what is not printable is shown as `printable_text` shows it, so that no text of a database
/// reaches the terminal as a command.
class table_writer {
public:
    struct layout {
        size_t screen = 0;    ///< its columns; 0 for no screen, where a cell gets at most 40
        bool is_wide = false; ///< nothing is cut
        bool bold_head = false;
    };

    /// The stream must outlive this.
    table_writer(std::ostream& out, const layout& layout) : m_out(out), m_layout(layout) {}

    /// The first hundred records are held back, since they decide how wide the columns are.
    void add(const db::UserRow& user_row);
    /// Writes what is held back; to be called once, behind the last record.
    void finish();

private:
    static constexpr size_t columns = 6;
    using line = std::array<table_cell, columns>;
    using sizes = std::array<size_t, columns>;

    void measure(const line& head);
    void fit_screen();
    [[nodiscard]] std::string text_of(const line& cells) const;

    std::ostream& m_out;
    layout m_layout;
    std::vector<line> m_first;
    bool m_is_measured = false;
    sizes m_widths{}; // to which cells are filled up
    sizes m_limits{}; // at which they are cut
};

} // namespace userdb
