#pragma once

#include "apps/userdb/patient_output.h"
#include "apps/userdb/terminal.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace userdb {

/// Writes records as a table with aligned columns, for people. A wide character takes two columns.
/// User ids and sources are never cut: a long one shifts the rest of its line.
/// All texts are written as `printable` returns them, so that no text of a database reaches
/// the terminal as a command.
class table_writer {
public:
    /// The output must outlive this. A wide table cuts nothing.
    table_writer(patient_output& out, bool is_wide);

    /// Holds back the first hundred records, since they decide how wide the columns are.
    void add(const db::UserRow& user_row);
    /// Writes what is held back. To be called after the last record.
    void finish();

private:
    static constexpr size_t columns = 6;
    using table_line = std::array<table_cell, columns>;

    /// Wider cells may follow if `may_grow`. Then the columns take the whole screen.
    void write_first(bool may_grow);
    void fit_screen(bool may_grow);
    [[nodiscard]] size_t limit(size_t column) const;
    [[nodiscard]] std::string text_of(const table_line& cells) const;

    patient_output& m_out;
    bool m_is_wide;
    size_t m_screen;                        // its width, 0 for none
    std::vector<table_line> m_first;        // the head and what is held back
    std::array<size_t, columns> m_widths{}; // cells are filled up to these
};

} // namespace userdb
