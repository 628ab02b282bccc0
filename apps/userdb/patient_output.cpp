#include "apps/userdb/patient_output.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace userdb {

namespace {

constexpr int patience_ms = 1000;
constexpr int for_ever = -1;

bool is_ready(int within_ms) {
    struct pollfd output {
        STDOUT_FILENO, POLLOUT, 0
    };
    return poll(&output, 1, within_ms) != 0;
}

bool write_all(const char* bytes, size_t size) {
    while (size > 0) {
        is_ready(for_ever); // since the output may be one that does not block
        const ssize_t written = write(STDOUT_FILENO, bytes, size);
        if (written < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        bytes += written > 0 ? written : 0;
        size -= written > 0 ? static_cast<size_t>(written) : 0;
    }
    return true;
}

} // namespace

bool patient_output::buffer::pass_on_waiting() {
    if (m_waiting == nullptr) {
        return true;
    }
    std::rewind(m_waiting.get());
    std::array<char, 65536> bytes;
    size_t size = 0;
    while ((size = std::fread(bytes.data(), 1, bytes.size(), m_waiting.get())) > 0) {
        if (!write_all(bytes.data(), size)) {
            return false;
        }
    }
    return std::ferror(m_waiting.get()) == 0;
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
    const auto size = static_cast<size_t>(pptr() - pbase());
    if (m_waiting == nullptr && !is_ready(patience_ms)) {
        m_waiting.reset(std::tmpfile());
    }
    const bool is_passed_on = m_waiting == nullptr
                                  ? write_all(pbase(), size)
                                  : std::fwrite(pbase(), 1, size, m_waiting.get()) == size;
    setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
    return is_passed_on ? 0 : -1;
}

} // namespace userdb
