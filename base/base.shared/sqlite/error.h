#pragma once

#include <stdexcept>
#include <string>

namespace sqlite {

/// What every failure of this layer is thrown as.
///
/// The text tells what was tried, SQLite's own message, some 200 bytes of the statement with its
/// white space folded, and the parameter or column if the failure is about one. This layer puts no
/// bound value into it. SQLite's messages quote one in rare cases (a JSON path, a name to ATTACH).
class error : public std::runtime_error {
public:
    /// NUL bytes in the text are shown as "\0".
    error(int code, const std::string& text);

    /// SQLite's extended result code. What the names of some do not say:
    /// - SQLITE_CONSTRAINT_PRIMARYKEY: a row with this key is stored already.
    /// - SQLITE_BUSY, SQLITE_LOCKED: another connection held the file for 5 seconds. They come at
    ///   once where `database`, `cache_type` and `add_custom_function` say so.
    /// - SQLITE_READONLY_ROLLBACK: a writer was killed, and a connection that may write has to use
    ///   the file first.
    /// - SQLITE_ABORT_ROLLBACK: SQLite has rolled back the open transaction by itself.
    /// - SQLITE_RANGE: there is no such parameter, column or position, or no current row.
    /// - SQLITE_MISUSE: any other wrong use, for example a handler without a connection, a NUL byte
    ///   in an SQL text, or two statements in one text.
    [[nodiscard]] int code() const noexcept { return m_code; }

private:
    int m_code;
};

} // namespace sqlite
