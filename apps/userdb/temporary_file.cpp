#include "apps/userdb/temporary_file.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace userdb {

std::string temporary_folder() {
    const char* named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

file_pointer temporary_file() {
    std::string name = temporary_folder() + "/userdb-XXXXXX";
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    unlink(name.c_str());
    return file_pointer(fdopen(file, "w+"));
}

} // namespace userdb
