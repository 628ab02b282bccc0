#pragma once

#include <string>
#include <string_view>

namespace base {

/// A text in which letters beyond ASCII that differ in what is ignored have become the same letter.
/// All other bytes stay as they are, whether UTF-8 or not: ASCII capitals too. Throws
/// std::bad_alloc.
///
/// Case is always ignored, by Unicode's simple case folding, letter by letter: `ß` is not `ss`. Two
/// letters stay that would become ASCII: the long s (U+017F) and the Kelvin sign (U+212A).
///
/// Diacritics are ignored if asked for, in the Latin, Greek and Cyrillic scripts: a letter that
/// Unicode decomposes becomes the small letter that it begins with, `Ǖ` as `u` and `Ё` as `е`. So
/// do đ, ħ, ł, ø and ŧ, which become d, h, l, o and t. But й and ї are letters of their own. The
/// marks from U+0300 to U+036F go away, whatever they stand behind.
[[nodiscard]] std::string fold(std::string_view text, bool ignores_diacritics);
/// The same, in the memory that a text has already.
void fold_into(std::string& folded, std::string_view text, bool ignores_diacritics);

/// Whether the text has a letter beyond ASCII that has another case. Takes up to a microsecond for
/// a letter.
[[nodiscard]] bool has_other_case(std::string_view text);

} // namespace base
