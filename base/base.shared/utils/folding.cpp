#include "base/base.shared/utils/folding.h"

#include "base/base.shared/utils/letter_tables.h"

#include <algorithm>
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
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    const size_t size = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
    if (size == 1 || size > text.size()) {
        return {};
    }
    char32_t code = lead & 0x7FU >> size;
    for (size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return {};
        }
        code = code << 6 | (byte(i) & 0x3FU);
    }
    const char32_t least = size == 2 ? 0x80 : size == 3 ? 0x800 : 0x10000;
    return code < least ? Letter{} : Letter{code, size};
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

/// Looks letters up in a table. It begins where the letter before was, because the letters of a
/// text mostly are neighbours.
class Lookup {
public:
    explicit Lookup(std::span<const LetterRange> ranges)
        : m_begin(ranges.begin()), m_end(ranges.end()), m_near(m_begin) {}

    /// The range that the letter is in, null if there is none.
    const LetterRange* find(char32_t code) {
        const auto is_before = [code](const LetterRange& one) {
            return one.first + one.length < code;
        };
        const bool is_near = (m_near == m_begin || is_before(m_near[-1])) &&
                             (m_near == m_end || !is_before(*m_near));
        m_near = is_near ? m_near : std::partition_point(m_begin, m_end, is_before);
        return m_near != m_end && is_in(*m_near, code) ? &*m_near : nullptr;
    }

private:
    std::span<const LetterRange>::iterator m_begin, m_end, m_near;
};

} // namespace

std::string fold(std::string_view text, bool ignores_diacritics) {
    Lookup cases(case_ranges);
    Lookup plain_letters(plain_ranges);
    std::string folded;
    folded.reserve(text.size() + text.size() / 2); // two bytes may become three
    size_t copied = 0;                             // bytes of the text
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
    return folded.append(text, copied, text.size());
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
