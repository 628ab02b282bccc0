#pragma once

#include <stdexcept>
#include <string>

namespace userdb {

/// The exit statuses of the program.
enum class status {
    done = 0,
    nothing_found = 1,
    bad_input = 2,       ///< or bad usage; nothing is changed
    database_failed = 3, ///< or there is no memory
    not_all_told = 4,    ///< all is done, but not all of it could be printed
};

/// Ends the program with this exit status. The text tells people why.
struct failure : std::runtime_error {
    failure(status exit_status, const std::string& why)
        : std::runtime_error(why), exit_status(exit_status) {}

    status exit_status;
};

/// Input or usage that cannot be accepted.
struct bad_input : failure {
    explicit bad_input(const std::string& why) : failure(status::bad_input, why) {}
};

/// Nobody can be told what was done.
struct output_failed : failure {
    explicit output_failed(const std::string& done)
        : failure(status::not_all_told, done + ", but standard output cannot be written") {}
};

/// A signal stopped the work. It also ends the process, instead of an exit status.
struct interrupted : std::runtime_error {
    explicit interrupted(int signal)
        : std::runtime_error("interrupted, nothing was changed"), signal(signal) {}

    int signal;
};

} // namespace userdb
