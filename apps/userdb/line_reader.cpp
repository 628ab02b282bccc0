#include "apps/userdb/line_reader.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/interruption.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace userdb {

namespace {

/// Copies what is left of a file. Returns its size, or -1 if it cannot be read.
off_t copy(int from, const std::string& name, std::FILE* to) {
    const interruption until_copied;
    std::array<char, 65536> bytes;
    off_t copied = 0;
    ssize_t size = 0;
    do {
        interruption::wait_for_input(from);
        size = read(from, bytes.data(), bytes.size());
        interruption::check();
        const auto taken = static_cast<size_t>(size > 0 ? size : 0);
        if (to == nullptr || std::fwrite(bytes.data(), 1, taken, to) != taken ||
            std::fflush(to) != 0) {
            throw bad_input("cannot keep " + name + " in a temporary file in " +
                            temporary_folder() + ": " + std::strerror(errno));
        }
        copied += size;
    } while (size > 0);
    return size == 0 ? copied : -1;
}

} // namespace

line_reader::line_reader(const std::string& file)
    : m_name(file == "-" ? "standard input" : file),
      m_file(file == "-" ? fdopen(dup(STDIN_FILENO), "r") : std::fopen(file.c_str(), "re")) {
    struct stat about {};
    require(m_file != nullptr && fstat(fileno(m_file.get()), &about) == 0);
    if (S_ISREG(about.st_mode)) {
        m_begin = ftello(m_file.get());
        m_end = about.st_size;
    } else {
        file_pointer kept = temporary_file();
        m_end = copy(fileno(m_file.get()), m_name, kept.get());
        require(m_end >= 0);
        m_file = std::move(kept);
    }
    rewind();
}

line_reader::~line_reader() {
    std::free(m_line);
}

bool line_reader::next(std::string& line) {
    do {
        interruption::check();
        ++m_number;
        const ssize_t size = getline(&m_line, &m_capacity, m_file.get());
        require(size >= 0 || std::ferror(m_file.get()) == 0);
        if (size < 0) {
            return false;
        }
        m_place += size;
        line.assign(m_line, static_cast<size_t>(size));
    } while (line.find_first_not_of(" \t\r\n") == std::string::npos);
    return true;
}

double line_reader::share_read() const {
    return static_cast<double>(m_place - m_begin) / static_cast<double>(m_end - m_begin);
}

void line_reader::rewind() {
    require(fseeko(m_file.get(), m_begin, SEEK_SET) == 0);
    m_place = m_begin;
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
