#include "apps/userdb/line_reader.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/interruption.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace userdb {

line_reader::line_reader(const std::string& file)
    : m_name(file == "-" ? "standard input" : file),
      m_file(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)),
      m_source(m_file) {
    struct stat about {};
    require(m_file >= 0 && fstat(m_file, &about) == 0);
    if (S_ISREG(about.st_mode)) {
        m_start = lseek(m_file, 0, SEEK_CUR);
        m_size = static_cast<size_t>(about.st_size - m_start);
    } else {
        m_copy.emplace();
        require_copy(m_copy->descriptor() >= 0);
    }
}

line_reader::~line_reader() {
    if (m_file > STDIN_FILENO) {
        close(m_file);
    }
}

bool line_reader::next(std::string& line) {
    while (next_or_blank(line)) {
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            return true;
        }
    }
    return false;
}

double line_reader::share_read() const {
    return m_size == 0 ? 0 : static_cast<double>(m_read_bytes) / static_cast<double>(m_size);
}

void line_reader::rewind() {
    if (m_copy) {
        m_source = m_copy->descriptor();
        m_size = m_read_bytes;
    }
    require(lseek(m_source, m_start, SEEK_SET) == m_start);
    m_read_bytes = 0;
    m_number = 0;
    m_ended = false;
}

bool line_reader::next_or_blank(std::string& line) {
    ++m_number;
    line.clear();
    do {
        const size_t end = m_read.find('\n', m_begin);
        line.append(m_read, m_begin, end - m_begin);
        if (end != std::string::npos) {
            m_begin = end + 1;
            interruption::check();
            return true;
        }
    } while (read_more());
    return !line.empty();
}

bool line_reader::read_more() {
    constexpr size_t at_once = 65536;
    m_begin = 0;
    m_read.resize(m_ended ? 0 : at_once);
    if (!m_ended) {
        interruption::wait_for_input(m_source);
        const ssize_t size = read(m_source, m_read.data(), m_read.size());
        interruption::check();
        require(size >= 0);
        m_read.resize(static_cast<size_t>(size));
        require_copy(!m_copy || m_source != m_file || m_copy->append(m_read) == m_read.size());
        m_read_bytes += m_read.size();
        m_ended = size == 0; // a terminal could be read again
    }
    return !m_ended;
}

void line_reader::require(bool works) const {
    if (!works) {
        const char* why = errno == EBADF ? "it is not open" : std::strerror(errno);
        throw bad_input("cannot read " + m_name + ": " + why);
    }
}

void line_reader::require_copy(bool works) const {
    if (!works) {
        throw bad_input("cannot keep " + m_name + " in a temporary file in " +
                        temporary_file::folder() + ": " + std::strerror(errno));
    }
}

} // namespace userdb
