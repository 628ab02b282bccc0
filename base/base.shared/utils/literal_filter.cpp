#include "base/base.shared/utils/literal_filter.h"

#include <algorithm>
#include <utility>

namespace base {

namespace {

constexpr std::array<unsigned char, 256> lower_case = [] {
    std::array<unsigned char, 256> table{};
    for (size_t byte = 0; byte < table.size(); ++byte) {
        const bool is_upper = byte >= 'A' && byte <= 'Z';
        table[byte] = static_cast<unsigned char>(is_upper ? byte - 'A' + 'a' : byte);
    }
    return table;
}();

unsigned char lower(char c) {
    return lower_case[static_cast<unsigned char>(c)];
}

} // namespace

void LiteralFilter::build(const std::vector<std::string>& literals) {
    m_pieces.clear();
    for (const std::string& literal : literals) {
        Piece piece{literal, {}};
        const auto bound = [](size_t size) {
            return static_cast<unsigned char>(std::min<size_t>(size, 255));
        };
        piece.skip.fill(bound(piece.literal.size()));
        for (size_t i = 0; i + 1 < piece.literal.size(); ++i) {
            piece.skip[static_cast<unsigned char>(piece.literal[i])] =
                bound(piece.literal.size() - 1 - i);
        }
        m_pieces.push_back(std::move(piece));
    }
}

/// By Horspool's method: a mismatch moves on by what the last byte under the literal allows.
size_t LiteralFilter::find_end(const Piece& piece, std::string_view text) {
    const std::string& literal = piece.literal;
    for (size_t end = literal.size(); end <= text.size();) {
        size_t i = literal.size();
        while (i > 0 && lower(text[end - literal.size() + i - 1]) ==
                            static_cast<unsigned char>(literal[i - 1])) {
            --i;
        }
        if (i == 0) {
            return end;
        }
        end += piece.skip[lower(text[end - 1])];
    }
    return std::string_view::npos;
}

bool LiteralFilter::may_match(std::string_view text) const {
    for (const Piece& piece : m_pieces) {
        const size_t end = find_end(piece, text);
        if (end == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(end);
    }
    return true;
}

} // namespace base
