#include "apps/userdb/patient_output.h"

#include "apps/userdb/failures.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace userdb {

namespace {

bool takes_something(int within_ms) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, within_ms) != 0;
}

void require(bool works) {
    if (!works) {
        throw output_failed("done");
    }
}

/// Waits for the reader until it has taken all.
void write_all(std::string_view bytes) {
    while (!bytes.empty()) {
        takes_something(-1); // since the output may be one that does not block
        const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        require(written >= 0 || errno == EAGAIN || errno == EINTR);
        bytes.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
}

} // namespace

void patient_output::pass_on_kept() {
    std::array<char, 65536> bytes;
    for (off_t place = 0; place < m_kept_size;) {
        const auto most = std::min<off_t>(m_kept_size - place, bytes.size());
        const ssize_t size =
            pread(fileno(m_kept.get()), bytes.data(), static_cast<size_t>(most), place);
        require(size > 0);
        write_all({bytes.data(), static_cast<size_t>(size)});
        place += size;
    }
    m_kept_size = 0;
}

void patient_output::put(std::string_view bytes) {
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_patience).count();
    const bool is_ready = left > 0 && takes_something(static_cast<int>(left));
    m_patience -= clock::now() - start;
    if (is_ready) {
        return write_all(bytes);
    }
    if (m_kept == nullptr) {
        m_kept = temporary_file();
    }
    const auto size = static_cast<ssize_t>(bytes.size());
    if (m_kept == nullptr ||
        pwrite(fileno(m_kept.get()), bytes.data(), bytes.size(), m_kept_size) != size) {
        pass_on_kept(); // there is no room
        return write_all(bytes);
    }
    m_kept_size += size;
}

void patient_output::write(std::string_view text) {
    constexpr size_t at_once = PIPE_BUF; // a pipe takes so many, or none
    m_bytes += text;
    std::string_view rest = m_bytes;
    for (; rest.size() >= at_once; rest.remove_prefix(at_once)) {
        put(rest.substr(0, at_once));
    }
    m_bytes.erase(0, m_bytes.size() - rest.size());
}

void patient_output::finish() {
    put(m_bytes);
    m_bytes.clear();
    pass_on_kept();
}

} // namespace userdb
