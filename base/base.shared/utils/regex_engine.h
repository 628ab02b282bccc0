#pragma once

#include <cstddef>
#include <regex.h>
#include <string>
#include <string_view>

namespace base {

struct RegexTree;

/// Uses the C library's regex engine for an expression whose `regex_t` belongs to somebody else,
/// who also sees whether that is ready. What an engine needs beyond POSIX stands here.
class RegexEngine {
public:
    /// Whether it knows word operators, which POSIX does not.
    static const bool has_word_operators;

    /// Both must live as long as this.
    RegexEngine(regex_t& reg, bool& is_ready) : m_reg(reg), m_is_ready(is_ready) {}
    ~RegexEngine() { release(); }
    RegexEngine(const RegexEngine&) = delete;
    RegexEngine& operator=(const RegexEngine&) = delete;

    /// Compiles an expression in place of the one before; it is ready then, unless the engine
    /// refuses it. Throws std::bad_alloc, and is not ready then.
    void compile(const RegexTree& tree);
    /// Whether the expression, which must be ready, matches anywhere in the text. False if the
    /// engine finds no memory to match with. Throws like `compile`.
    [[nodiscard]] bool matches(const char* text);
    /// Frees the expression, if there is one. It is not ready then.
    void release() noexcept;

private:
    void compile_expression();
    [[nodiscard]] bool matches_in_pieces(std::string_view text);

    regex_t& m_reg;
    bool& m_is_ready;
    std::string m_expression;   // what m_reg is compiled from
    bool m_is_wide = false;     // m_reg takes ever more memory as it matches
    size_t m_matched_bytes = 0; // since m_reg was compiled
};

} // namespace base
