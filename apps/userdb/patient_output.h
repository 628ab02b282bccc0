#pragma once

#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <ostream>
#include <streambuf>

namespace userdb {

/// Standard output, for what is written while a statement is running. A reader that pauses, such as
/// a pager, would hold up the statement, and a statement that runs keeps other programs from
/// writing. So what the reader does not take within a second waits in a temporary file.
class patient_output : public std::ostream {
public:
    patient_output() : std::ostream(&m_buffer) {}

    /// Waits until the reader has taken all, so no statement may be running. Returns false if
    /// something could not be written.
    [[nodiscard]] bool finish() { return flush() && m_buffer.pass_on_waiting(); }

private:
    class buffer : public std::streambuf {
    public:
        buffer() : m_waiting(nullptr, std::fclose) {
            setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
        }
        bool pass_on_waiting();

    private:
        int_type overflow(int_type next) override;
        int sync() override;

        std::array<char, PIPE_BUF> m_bytes{}; // a pipe takes so many at once, or none
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_waiting;
    };

    buffer m_buffer;
};

} // namespace userdb
