#pragma once

#include "apps/userdb/temporary_file.h"

#include <cstddef>
#include <string>
#include <sys/types.h>

namespace userdb {

/// Reads the lines of a file, or of standard input if its name is "-". They can be read twice,
/// since what comes from a pipe or a terminal is kept in a temporary file first. Throws `bad_input`
/// if the file cannot be read.
class line_reader {
public:
    /// Reads what comes from a pipe to its end. Notes signals, and throws `interrupted` if one
    /// comes.
    explicit line_reader(const std::string& file);

    /// Reads the next line that is not blank, without its end. Returns false at the end. Throws
    /// `interrupted` if a signal has come.
    bool next(std::string& line);
    /// Where the line that was read last stands: "FILE:NUMBER".
    [[nodiscard]] std::string place() const { return m_name + ":" + std::to_string(m_number); }
    /// How much of all has been read.
    [[nodiscard]] int percent() const;
    /// Begins again with the first line.
    void rewind();

private:
    void require(bool works) const; // or throws that the file cannot be read
    void keep_copy();

    std::string m_name;
    file_pointer m_file; // the copy, if one is kept
    off_t m_begin = 0;   // where its first line stands
    size_t m_number = 0;
};

} // namespace userdb
