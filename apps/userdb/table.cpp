#include "apps/userdb/table.h"

#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
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

/// Whether a character turns the direction of writing, and so how the text around it reads.
bool is_direction_mark(wchar_t character) {
    constexpr std::wstring_view marks(L"\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e"
                                      L"\u2066\u2067\u2068\u2069");
    return marks.find(character) != std::wstring_view::npos;
}

/// Takes the first character off a text, and returns it as it is safe to print.
table_cell take_character(std::string_view& text) {
    wchar_t character = 0;
    std::mbstate_t state{};
    const size_t size = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool is_valid = size != 0 && size <= text.size();
    const std::string_view taken = text.substr(0, is_valid ? size : 1);
    text.remove_prefix(taken.size());
    const int width = is_valid && !is_direction_mark(character) ? wcwidth(character) : -1;
    return width < 0 ? table_cell{"\uFFFD", 1}
                     : table_cell{std::string(taken), static_cast<size_t>(width)};
}

void append(table_cell& cell, const table_cell& more) {
    cell.text += more.text;
    cell.width += more.width;
}

table_cell printable(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), [](char c) { return ' ' <= c && c <= '~'; })) {
        return {std::string(text), text.size()};
    }
    table_cell cell;
    while (!text.empty()) {
        append(cell, take_character(text));
    }
    return cell;
}

/// The beginning of a text that is too long, an ellipsis, and blanks up to the width.
std::string cut(std::string_view text, size_t width) {
    table_cell kept;
    for (table_cell next; kept.width + next.width < width; next = take_character(text)) {
        append(kept, next);
    }
    return kept.text + "…" + std::string(width - kept.width - 1, ' ');
}

} // namespace

std::string printable_text(const std::string& text) {
    return printable(text).text;
}

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
