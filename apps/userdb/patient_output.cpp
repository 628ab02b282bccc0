#include "apps/userdb/patient_output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace userdb {

namespace {

bool takes_something(int within_ms) {
    struct pollfd output {
        STDOUT_FILENO, POLLOUT, 0
    };
    return poll(&output, 1, within_ms) != 0;
}

/// Waits for the reader until it has taken all.
bool write_all(std::string_view bytes) {
    while (!bytes.empty()) {
        takes_something(-1); // since the output may be one that does not block
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
    return true;
}

} // namespace

bool patient_output::pass_on_kept() {
    std::array<char, 65536> bytes;
    for (off_t place = 0; place < m_kept_size;) {
        const auto most = std::min<off_t>(m_kept_size - place, bytes.size());
        const ssize_t size =
            pread(fileno(m_kept.get()), bytes.data(), static_cast<size_t>(most), place);
        if (size <= 0 || !write_all({bytes.data(), static_cast<size_t>(size)})) {
            return false;
        }
        place += size;
    }
    m_kept_size = 0;
    return m_kept == nullptr || ftruncate(fileno(m_kept.get()), 0) == 0;
}

/// Whether the reader takes something before there is no more patience.
bool patient_output::is_ready() {
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_patience);
    const bool is_ready = takes_something(static_cast<int>(left.count()));
    m_patience -= clock::now() - start;
    return is_ready && m_patience.count() > 0;
}

bool patient_output::put(std::string_view bytes) {
    if (m_patience.count() > 0 && is_ready()) {
        return write_all(bytes);
    }
    if (m_kept == nullptr) {
        m_kept = temporary_file();
    }
    const auto size = static_cast<ssize_t>(bytes.size());
    if (m_kept == nullptr ||
        pwrite(fileno(m_kept.get()), bytes.data(), bytes.size(), m_kept_size) != size) {
        return pass_on_kept() && write_all(bytes); // there is no room
    }
    m_kept_size += size;
    return true;
}

void patient_output::write(std::string_view text) {
    constexpr size_t at_once = PIPE_BUF; // a pipe takes so many, or none
    m_bytes += text;
    std::string_view rest = m_bytes;
    for (; rest.size() >= at_once; rest.remove_prefix(at_once)) {
        m_works = m_works && put(rest.substr(0, at_once));
    }
    m_bytes.erase(0, m_bytes.size() - rest.size());
}

void patient_output::flush() {
    m_works = m_works && put(m_bytes);
    m_bytes.clear();
}

void patient_output::finish() {
    flush();
    m_works = m_works && pass_on_kept();
}

} // namespace userdb
