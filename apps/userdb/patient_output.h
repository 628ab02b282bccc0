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
/// a pager, would hold up the statement, and this keep other programs from writing; so what it does
/// not take within a second waits in a temporary file.
class patient_output : public std::ostream {
public:
    patient_output() : std::ostream(&m_buffer) {}

    /// To be called when no statement is running any more: waits until the reader has taken all.
    /// False if it could not be written.
    [[nodiscard]] bool finish() { return flush() && m_buffer.pass_on_waiting(); }

private:
    class buffer : public std::streambuf {
    public:
        buffer();
        bool pass_on_waiting();

    private:
        int_type overflow(int_type next) override;
        int sync() override;

        std::array<char, PIPE_BUF> m_bytes{}; // as many as a pipe takes at once or not at all
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_waiting;
    };

    buffer m_buffer;
};

} // namespace userdb
