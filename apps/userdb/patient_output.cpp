#include "apps/userdb/patient_output.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace userdb {

namespace {

/// Waits for the reader until it has taken all.
bool write_all(std::string_view bytes) {
    while (!bytes.empty()) {
        struct pollfd output {
            STDOUT_FILENO, POLLOUT, 0
        };
        poll(&output, 1, -1); // since the output may be one that does not block
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
    return true;
}

} // namespace

bool patient_output::buffer::pass_on_kept() {
    if (!m_kept || m_kept->descriptor() < 0) {
        return true;
    }
    const int file = m_kept->descriptor();
    std::array<char, 65536> bytes;
    ssize_t size = 0;
    for (off_t place = 0; (size = pread(file, bytes.data(), bytes.size(), place)) > 0;) {
        if (!write_all({bytes.data(), static_cast<size_t>(size)})) {
            return false;
        }
        place += size;
    }
    return size == 0 && ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0;
}

/// Whether the reader takes something before there is no more patience.
bool patient_output::buffer::is_ready() {
    using clock = std::chrono::steady_clock;
    struct pollfd output {
        STDOUT_FILENO, POLLOUT, 0
    };
    const auto start = clock::now();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_patience);
    const bool is_ready = poll(&output, 1, static_cast<int>(left.count())) != 0;
    m_patience -= clock::now() - start;
    return is_ready && m_patience.count() > 0;
}

bool patient_output::buffer::put(std::string_view bytes) {
    if (!m_kept) {
        if (is_ready()) {
            return write_all(bytes);
        }
        m_kept.emplace();
    }
    bytes.remove_prefix(m_kept->append(bytes));
    return bytes.empty() || (pass_on_kept() && write_all(bytes));
}

patient_output::buffer::int_type patient_output::buffer::overflow(int_type next) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(next, traits_type::eof())) {
        sputc(traits_type::to_char_type(next));
    }
    return traits_type::not_eof(next);
}

int patient_output::buffer::sync() {
    const bool is_put = put({pbase(), static_cast<size_t>(pptr() - pbase())});
    setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
    return is_put ? 0 : -1;
}

} // namespace userdb
