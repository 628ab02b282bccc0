#include "apps/userdb/line_reader.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/interruption.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace userdb {

line_reader::line_reader(const std::string& file)
    : m_name(file == "-" ? "standard input" : file),
      m_file(file == "-" ? fdopen(dup(STDIN_FILENO), "r") : std::fopen(file.c_str(), "re")) {
    note_signals();
    struct stat about {};
    require(m_file != nullptr && fstat(fileno(m_file.get()), &about) == 0);
    if (S_ISREG(about.st_mode)) {
        m_begin = ftello(m_file.get());
    } else {
        keep_copy();
        rewind();
    }
}

void line_reader::keep_copy() {
    file_pointer kept = temporary_file();
    std::array<char, 65536> bytes;
    for (ssize_t size = 1; size > 0;) {
        wait_for_input(fileno(m_file.get()));
        size = read(fileno(m_file.get()), bytes.data(), bytes.size());
        check_signals();
        require(size >= 0);
        const auto taken = static_cast<size_t>(size);
        if (kept == nullptr || std::fwrite(bytes.data(), 1, taken, kept.get()) != taken ||
            std::fflush(kept.get()) != 0) {
            throw bad_input("cannot keep " + m_name + " in a temporary file in " +
                            temporary_folder() + ": " + std::strerror(errno));
        }
    }
    m_file = std::move(kept);
}

bool line_reader::next(std::string& line) {
    for (int next = 0; next != EOF;) {
        check_signals();
        ++m_number;
        line.clear();
        while ((next = getc_unlocked(m_file.get())) != EOF && next != '\n') {
            line += static_cast<char>(next);
        }
        require(std::ferror(m_file.get()) == 0);
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            return true;
        }
    }
    return false;
}

int line_reader::percent() const {
    struct stat about {};
    fstat(fileno(m_file.get()), &about);
    return static_cast<int>(100 * ftello(m_file.get()) / std::max<off_t>(about.st_size, 1));
}

void line_reader::rewind() {
    require(fseeko(m_file.get(), m_begin, SEEK_SET) == 0);
    m_number = 0;
}

void line_reader::require(bool works) const {
    if (!works) {
        const char* why =
            errno == EBADF || errno == EINVAL ? "it is not open" : std::strerror(errno);
        throw bad_input("cannot read " + m_name + ": " + why);
    }
}

} // namespace userdb
