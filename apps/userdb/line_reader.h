#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>

namespace userdb {

/// The lines of a file, "-" for standard input, which can be read twice: what a pipe or a terminal
/// gives is kept in a temporary file meanwhile. Throws `bad_input` for what cannot be read.
class line_reader {
public:
    explicit line_reader(const std::string& file);
    ~line_reader();
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    /// The next line that is not blank; false at the end. Throws `interrupted` if a signal came
    /// before or while waiting.
    bool next(std::string& line);
    /// Where the line read last stands: "FILE:NUMBER".
    [[nodiscard]] std::string place() const { return m_name + ":" + std::to_string(m_number); }
    /// How much of the file is read, from 0 to 1; 0 while its size is not known.
    [[nodiscard]] double share_read() const;
    /// Begins again with the first line; to be called once, at the end.
    void rewind();

private:
    bool next_of_any(std::string& line);
    bool read_more();
    void require(bool works) const;
    void require_copy(bool works) const;

    std::string m_name;
    int m_file;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_copy; // null for a regular file
    int m_source;                                           // what is read: m_file or the copy
    off_t m_start = 0;                                      // of a regular file, where it begins
    size_t m_size = 0;                                      // 0 while it is not known
    size_t m_read_bytes = 0;
    std::string m_read;
    size_t m_begin = 0; // of what next() has yet to give
    bool m_ended = false;
    size_t m_number = 0;
};

} // namespace userdb
