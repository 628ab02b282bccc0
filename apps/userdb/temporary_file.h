#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace userdb {

/// Bytes that wait in a file without a name, in the folder that TMPDIR names or else in /tmp. They
/// are gone with this object.
class temporary_file {
public:
    temporary_file();
    ~temporary_file();
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    static std::string folder();
    /// Reads and writes. It is below 0 if the folder takes no files.
    [[nodiscard]] int descriptor() const { return m_file; }
    /// Returns how many of the bytes were written. If the folder is full, they are not all; errno
    /// tells why.
    size_t append(std::string_view bytes) const;

private:
    int m_file;
};

} // namespace userdb
