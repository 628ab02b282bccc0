#include "apps/userdb/table.h"

#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/text.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <string_view>
#include <unistd.h>

namespace userdb {

namespace {

constexpr size_t gap = 2;              // between two cells
constexpr size_t key_columns = 2;      // are never cut: they say who the user is
constexpr size_t narrowest = 8;        // no column is cut below this on a screen
constexpr size_t most_off_screen = 40; // the width of a cell if there is no screen
constexpr size_t most_bytes = 4096;    // of a text that is looked at; no screen shows so many

/// The beginning of a text that is too long, an ellipsis, and blanks up to the width.
std::string cut(std::string_view text, size_t width) {
    std::string kept;
    size_t used = 1; // by the ellipsis
    for (table_cell next = take_character(text); used + next.width <= width;
         next = take_character(text)) {
        kept += next.text;
        used += next.width;
    }
    return kept + "…" + std::string(width - used, ' ');
}

} // namespace

table_writer::table_writer(patient_output& out, bool is_wide)
    : m_out(out), m_is_wide(is_wide),
      m_screen(terminal_columns()), m_first{{printable("USER ID"), printable("SOURCE"),
                                             printable("KIND"), printable("NAME"),
                                             printable("REMARK NAME"), printable("NICK NAMES")}} {}

void table_writer::add(const db::UserRow& user_row) {
    constexpr size_t held_back = 100;
    const auto cell = [this](std::string_view text) {
        return printable(m_is_wide ? text : text.substr(0, most_bytes));
    };
    m_first.push_back({cell(user_row.user_id), cell(std::to_string(user_row.user_source)),
                       cell(joined(kind_names(user_row.data_type), ", ")), cell(user_row.user_name),
                       cell(joined(member_texts(user_row.remark, "remark_name"), ", ")),
                       cell(joined(member_texts(user_row.group_info, "nick_name"), ", "))});
    if (m_widths[0] > 0) {
        m_out.write(text_of(m_first.back()) + '\n');
        m_first.clear();
    } else if (m_first.size() > held_back) {
        write_first(true);
    }
}

void table_writer::finish() {
    if (m_first.size() > 1) {
        write_first(false);
    }
}

void table_writer::write_first(bool may_grow) {
    for (const table_line& cells : m_first) {
        for (size_t i = 0; i < columns; ++i) {
            m_widths[i] = std::max(m_widths[i], cells[i].width);
        }
    }
    if (m_screen > 0 && !m_is_wide) {
        fit_screen(may_grow);
    }
    for (size_t i = 0; i < columns; ++i) {
        m_widths[i] = std::min(m_widths[i], limit(i));
    }
    const char* no_color = std::getenv("NO_COLOR");
    const bool is_bold = obeys_escapes(STDOUT_FILENO) && (no_color == nullptr || *no_color == '\0');
    m_out.write(is_bold ? "\033[1m" : "");
    for (const table_line& cells : m_first) {
        const bool ends_head = is_bold && &cells == &m_first.front();
        m_out.write(text_of(cells) + (ends_head ? "\033[m\n" : "\n"));
    }
    m_first.clear();
}

size_t table_writer::limit(size_t column) const {
    if (column < key_columns || m_is_wide) {
        return std::numeric_limits<size_t>::max();
    }
    return m_screen > 0 ? m_widths[column] : most_off_screen;
}

void table_writer::fit_screen(bool may_grow) {
    const auto used = [this] {
        return std::accumulate(m_widths.begin(), m_widths.end(), gap * (columns - 1));
    };
    const auto first_text = m_widths.begin() + key_columns;
    const auto widest = [&] { return std::max_element(first_text, m_widths.end()); };
    while (used() > m_screen && *widest() > narrowest) {
        --*widest();
    }
    for (size_t i = 0; may_grow && used() < m_screen; ++i) {
        m_widths[i % columns] += i % columns == 1 ? 0 : 1; // a source needs no more
    }
}

std::string table_writer::text_of(const table_line& cells) const {
    std::string text;
    for (size_t i = 0; i < columns; ++i) {
        const bool fits = cells[i].width <= limit(i);
        text += fits ? cells[i].text : cut(cells[i].text, limit(i));
        text.append(gap + m_widths[i] - std::min(m_widths[i], cells[i].width), ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace userdb
