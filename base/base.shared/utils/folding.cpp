#include "base/base.shared/utils/folding.h"

#include "base/base.shared/utils/letter_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <span>

namespace base {

namespace {

struct Letter {
    char32_t code = 0; // 0 for a byte that is ASCII or no UTF-8
    size_t size = 1;   // bytes
};

bool is_beyond_ascii(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

/// The first letter of a text. Takes surrogates for letters: nothing becomes of these.
Letter first_letter(std::string_view text) {
    constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000}; // of each size
    const auto lead = static_cast<unsigned char>(text[0]);
    const auto size = static_cast<size_t>(std::countl_one(lead));
    if (size < 2 || size >= least.size() || size > text.size()) {
        return {};
    }
    char32_t code = lead & 0x7FU >> size;
    for (size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80) {
            return {};
        }
        code = code << 6 | (byte & 0x3FU);
    }
    return code < least[size] ? Letter{} : Letter{code, size};
}

/// Appends nothing for 0.
void append(std::string& text, char32_t code) {
    if (code < 0x80) {
        text.append(code != 0 ? 1 : 0, static_cast<char>(code));
        return;
    }
    const int behind = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3; // bytes behind the first
    text += static_cast<char>(0x1F80U >> behind | code >> 6 * behind);
    for (int i = behind - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | (code >> 6 * i & 0x3F));
    }
}

bool is_in(const LetterRange& range, char32_t code) {
    return code - range.first <= range.length && (code - range.first) % range.step == 0;
}

/// Looks letters up in a table. It begins where the letter before was, because a capital and the
/// small letters behind it are neighbours.
class Lookup {
public:
    explicit Lookup(std::span<const LetterRange> ranges) : m_ranges(ranges) {}

    /// The range that the letter is in, null if there is none.
    const LetterRange* find(char32_t code) {
        if (code > m_last && m_near != m_ranges.end()) {
            move_to(m_near + 1);
        } else if (code < m_first && m_near != m_ranges.begin()) {
            move_to(m_near - 1);
        }
        if (code < m_first || code > m_last) {
            const auto is_before = [code](const auto& one) { return last_of(one) < code; };
            move_to(std::partition_point(m_ranges.begin(), m_ranges.end(), is_before));
        }
        return m_near != m_ranges.end() && is_in(*m_near, code) ? &*m_near : nullptr;
    }

private:
    using iterator = std::span<const LetterRange>::iterator;

    static char32_t last_of(const LetterRange& range) { return range.first + range.length; }
    void move_to(iterator range) {
        m_near = range;
        m_first = range == m_ranges.begin() ? 0 : last_of(range[-1]) + 1;
        m_last = range == m_ranges.end() ? ~char32_t{0} : last_of(*range);
    }

    std::span<const LetterRange> m_ranges;
    iterator m_near = m_ranges.end(); // in front of it there is none for the letters from
    char32_t m_first = 1;             // m_first to m_last, of which there are none yet
    char32_t m_last = 0;
};

} // namespace

std::string fold(std::string_view text, bool ignores_diacritics) {
    std::string folded;
    fold_into(folded, text, ignores_diacritics);
    return folded;
}

void fold_into(std::string& folded, std::string_view text, bool ignores_diacritics) {
    Lookup cases(case_ranges);
    Lookup plain_letters(plain_ranges);
    folded.clear();
    size_t copied = 0; // bytes of the text
    for (size_t at = 0; at < text.size();) {
        if (!is_beyond_ascii(text[at])) {
            ++at;
            continue;
        }
        const auto [code, size] = first_letter(text.substr(at));
        char32_t becomes = code;
        if (const LetterRange* range = cases.find(code)) {
            becomes += range->to - range->first;
        }
        if (ignores_diacritics) {
            const LetterRange* range = plain_letters.find(becomes);
            const bool is_mark = 0x300 <= code && code < 0x370;
            becomes = is_mark ? 0 : range != nullptr ? range->to : becomes;
        }
        if (becomes != code) {
            folded.append(text, copied, at - copied);
            copied = at + size;
            append(folded, becomes);
        }
        at += size;
    }
    folded.append(text, copied, text.size());
}

bool has_other_case(std::string_view text) {
    for (; !text.empty(); text.remove_prefix(first_letter(text).size)) {
        const char32_t code = first_letter(text).code;
        const auto is_one_of_two = [code](const LetterRange& range) {
            return is_in(range, code) || is_in(range, code - (range.to - range.first));
        };
        if (code != 0 && std::any_of(case_ranges.begin(), case_ranges.end(), is_one_of_two)) {
            return true;
        }
    }
    return false;
}

} // namespace base
