#pragma once

#include <stdexcept>
#include <string>

namespace sqlite {

/// What every failure of this layer is thrown as.
///
/// The text names what was tried, SQLite's own message, some 200 bytes of the statement with its
/// white space folded, and the parameter or column if the failure is about one. This layer puts no
/// bound value into it; SQLite's messages quote one in rare cases (a JSON path, a name to ATTACH).
class error : public std::runtime_error {
public:
    /// NUL bytes in the text are shown as "\0".
    error(int code, const std::string& text);

    /// SQLite's extended result code: SQLITE_CONSTRAINT_PRIMARYKEY, say, not SQLITE_CONSTRAINT.
    /// Misuse that SQLite never saw carries the code that fits best: SQLITE_RANGE for a parameter,
    /// column or position that does not exist, mostly SQLITE_MISUSE for anything else.
    [[nodiscard]] int code() const noexcept { return m_code; }

private:
    int m_code;
};

} // namespace sqlite
