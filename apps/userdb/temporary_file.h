#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace userdb {

/// Closes a file of the C library.
struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_pointer = std::unique_ptr<std::FILE, file_closer>;

/// The folder that TMPDIR names, or else /tmp.
std::string temporary_folder();

/// An empty file without a name in that folder, for reading and writing. Null if the folder takes
/// no files; errno tells why.
file_pointer temporary_file();

} // namespace userdb
