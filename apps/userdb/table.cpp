#include "apps/userdb/table.h"

#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cwchar>
#include <string>
#include <utility>

namespace userdb {

namespace {

/// Makes this thread read texts as UTF-8 while it lives, whatever the user's locale.
class utf8_locale {
public:
    utf8_locale()
        : m_utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), m_before(uselocale(m_utf8)) {}
    ~utf8_locale() {
        uselocale(m_before);
        if (m_utf8 != nullptr) {
            freelocale(m_utf8);
        }
    }
    utf8_locale(const utf8_locale&) = delete;
    utf8_locale& operator=(const utf8_locale&) = delete;

private:
    locale_t m_utf8;
    locale_t m_before;
};

/// Whether a character is invisible and can make what is around it read as something else: those
/// without width, and those that turn the direction of writing.
bool is_deceptive(wchar_t character) {
    constexpr std::array<std::pair<wchar_t, wchar_t>, 4> ranges{
        {{0x200b, 0x200f}, {0x202a, 0x202e}, {0x2060, 0x2069}, {0xfeff, 0xfeff}}};
    return std::any_of(ranges.begin(), ranges.end(), [character](const auto& range) {
        return range.first <= character && character <= range.second;
    });
}

/// A text that is safe to print, and the columns that it takes.
struct cell {
    std::string text;
    size_t width = 0;

    void append(std::string_view character, int columns) {
        text += columns < 0 ? "\uFFFD" : character;
        width += columns < 0 ? 1 : static_cast<size_t>(columns);
    }
};

cell printable(std::string_view text) {
    cell shown;
    while (!text.empty()) {
        wchar_t character = 0;
        std::mbstate_t state{};
        const size_t size = std::mbrtowc(&character, text.data(), text.size(), &state);
        const bool valid = size != 0 && size <= text.size();
        const size_t taken = valid ? size : 1;
        const bool is_shown = valid && !is_deceptive(character);
        shown.append(text.substr(0, taken), is_shown ? wcwidth(character) : -1);
        text.remove_prefix(taken);
    }
    return shown;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

using line = std::array<cell, 6>;

line cells(const db::UserRow& user) {
    return {printable(user.user_id),
            printable(std::to_string(user.user_source)),
            printable(kinds_in(user.data_type)),
            printable(user.user_name),
            printable(joined(member_texts(user.remark, "remark_name"))),
            printable(joined(member_texts(user.group_info, "nick_name")))};
}

} // namespace

std::string printable_text(const std::string& text) {
    const utf8_locale utf8;
    return printable(text).text;
}

void print_table(std::ostream& out, const std::vector<db::UserRow>& user_rows, bool bold_head) {
    const utf8_locale utf8;
    std::vector<line> lines{{printable("USER ID"), printable("SOURCE"), printable("KIND"),
                             printable("NAME"), printable("REMARK NAME"), printable("NICK NAMES")}};
    std::transform(user_rows.begin(), user_rows.end(), std::back_inserter(lines), cells);
    std::array<size_t, std::tuple_size_v<line>> widths{};
    for (const line& cells : lines) {
        for (size_t i = 0; i < cells.size(); ++i) {
            widths[i] = std::max(widths[i], cells[i].width);
        }
    }
    for (const line& cells : lines) {
        std::string text;
        for (size_t i = 0; i < cells.size(); ++i) {
            text += cells[i].text + std::string(widths[i] - cells[i].width + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        const bool is_bold = bold_head && &cells == &lines.front();
        out << (is_bold ? "\033[1m" : "") << text << (is_bold ? "\033[m" : "") << '\n';
    }
}

} // namespace userdb
