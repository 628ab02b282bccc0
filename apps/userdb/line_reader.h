#pragma once

#include "apps/userdb/temporary_file.h"

#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>

namespace userdb {

/// Reads the lines of a file, or of standard input if its name is "-". They can be read twice,
/// since what comes from a pipe or a terminal is kept in a temporary file. Throws `bad_input` if
/// the file cannot be read.
class line_reader {
public:
    explicit line_reader(const std::string& file);
    ~line_reader();
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    /// Reads the next line that is not blank. Returns false at the end. Throws `interrupted` if a
    /// signal came before or while it waited.
    bool next(std::string& line);
    /// Where the line that was read last stands: "FILE:NUMBER".
    [[nodiscard]] std::string place() const { return m_name + ":" + std::to_string(m_number); }
    /// The share of the file that is read, from 0 to 1. It is 0 while the size is not known.
    [[nodiscard]] double share_read() const;
    /// Begins again with the first line. To be called once, at the end.
    void rewind();

private:
    bool next_or_blank(std::string& line);
    bool read_more();
    void require(bool works) const;      // or throws that the file cannot be read
    void require_copy(bool works) const; // or throws that it cannot be kept

    std::string m_name;
    int m_file;
    std::optional<temporary_file> m_copy; // none for a regular file
    int m_source;                         // m_file, or the copy once it is complete
    off_t m_start = 0;                    // where reading a regular file began
    size_t m_size = 0;                    // in bytes, 0 while it is not known
    size_t m_read_bytes = 0;
    std::string m_read; // the bytes that were read last
    size_t m_begin = 0; // of the next line in them
    bool m_ended = false;
    size_t m_number = 0;
};

} // namespace userdb
