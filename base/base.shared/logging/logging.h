#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

/// Whether log statements write anything. Set by `base::log::set_sink`, or by the application
/// itself; read without a lock, so set it before threads that log are started.
extern bool logInited;

namespace base::log {

enum class level {
    VERBOSE = 0,
    DBG = 1,
    INFO = 2,
    WARNING = 3,
    ERR = 4,
    FATAL = 5,
};

/// Takes one message: its level, its tag with the source line ("path/file.cpp:12"), and its text
/// without the newline that ends it. Called on the thread that logs, from several threads at once
/// if several log; what it throws is dropped.
using sink = std::function<void(level lev, const std::string& tag, const std::string& text)>;

/// Sends all messages to `target` from now on and sets `logInited`. Before the first call, and
/// after one with an empty sink, they go to standard error, a line each: "2026-01-31 23:59:59.123 D
/// path/file.cpp:12 text" in UTC, newlines inside the text as "\n". Threads may log meanwhile, once
/// `logInited` is set: a message that is under way still reaches the sink before.
void set_sink(sink target);

/// One message: gathered by `<<`, handed to the sink by the destructor. Written as one statement
/// behind a test of `logInited`, so that logging costs nothing else while it is off. A printer is
/// its thread's own; any number of threads may have one.
///
///     if (logInited) {
///         printer(level::DBG, __FILE__, __LINE__) << "stored " << count << std::endl;
///     }
class printer {
public:
    explicit printer(base::log::level lev, std::string tag, uint32_t line);
    ~printer();
    printer(const printer&) = delete;
    printer& operator=(const printer&) = delete;

    /// Any value that a std::ostream takes; numbers are in plain decimal whatever the locale.
    template <typename T>
    printer& operator<<(T&& value) {
        m_sstr << std::forward<T>(value);
        return *this;
    }
    printer& operator<<(std::ostream& (*manipulator)(std::ostream&));

private:
    base::log::level m_lev;
    std::string m_tag;
    std::stringstream m_sstr;
};

} // namespace base::log
