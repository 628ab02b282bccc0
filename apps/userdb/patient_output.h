#pragma once

#include "apps/userdb/temporary_file.h"

#include <array>
#include <chrono>
#include <climits>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string_view>

namespace userdb {

/// Standard output, for what is written while a statement is running. A slow reader, such as a
/// pager or a compressor, would hold up the statement, and a statement that runs keeps other
/// programs from writing. So once a reader has cost a second in all, the rest waits in a temporary
/// file. While there is no room for that, the reader is waited for.
class patient_output : public std::ostream {
public:
    patient_output() : std::ostream(&m_buffer) {}

    /// Waits until the reader has taken all, so no statement may be running. Returns false if
    /// something could not be written.
    [[nodiscard]] bool finish() { return flush() && m_buffer.pass_on_kept(); }

private:
    class buffer : public std::streambuf {
    public:
        buffer() { setp(m_bytes.data(), m_bytes.data() + m_bytes.size()); }
        bool pass_on_kept();

    private:
        int_type overflow(int_type next) override;
        int sync() override;
        bool put(std::string_view bytes);
        bool is_ready();

        std::array<char, PIPE_BUF> m_bytes{}; // a pipe takes so many at once, or none
        std::chrono::nanoseconds m_patience{std::chrono::seconds(1)};
        std::optional<temporary_file> m_kept;
    };

    buffer m_buffer;
};

} // namespace userdb
