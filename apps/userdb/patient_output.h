#pragma once

#include "apps/userdb/temporary_file.h"

#include <chrono>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace userdb {

/// Standard output, for what is written while a statement is running. A slow reader, such as a
/// pager or a compressor, would hold up the statement, and a statement that runs keeps other
/// programs from writing. So once a reader has cost a second in all, the rest waits in a temporary
/// file. While there is no room for that, the reader is waited for. Throws `output_failed`.
class patient_output {
public:
    void write(std::string_view text);
    /// Waits until the reader has taken all, so no statement may be running.
    void finish();

private:
    void put(std::string_view bytes);
    void pass_on_kept();

    std::string m_bytes; // fewer than a pipe takes at once
    std::chrono::nanoseconds m_patience{std::chrono::seconds(1)};
    file_pointer m_kept;
    off_t m_kept_size = 0;
};

} // namespace userdb
