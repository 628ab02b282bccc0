#pragma once

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace userdb {

/// Closes a file of the C library.
struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_pointer = std::unique_ptr<std::FILE, file_closer>;

/// The folder that TMPDIR names, or else /tmp.
inline std::string temporary_folder() {
    const char* named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

/// An empty file without a name in that folder, for reading and writing. Null if the folder takes
/// no files; errno tells why.
inline file_pointer temporary_file() {
    std::string name = temporary_folder() + "/userdb-XXXXXX";
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    unlink(name.c_str());
    return file_pointer(fdopen(file, "w+"));
}

} // namespace userdb
