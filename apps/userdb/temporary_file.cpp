#include "apps/userdb/temporary_file.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace userdb {

std::string temporary_file::folder() {
    const char* named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

temporary_file::temporary_file() {
    std::string name = folder() + "/userdb-XXXXXX";
    m_file = mkostemp(name.data(), O_CLOEXEC);
    unlink(name.c_str());
}

temporary_file::~temporary_file() {
    close(m_file);
}

size_t temporary_file::append(std::string_view bytes) const {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t more = write(m_file, bytes.data() + written, bytes.size() - written);
        if (more < 0) {
            break;
        }
        written += static_cast<size_t>(more);
    }
    return written;
}

} // namespace userdb
