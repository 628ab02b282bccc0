#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

/// Whether log statements write anything. `base::log::set_sink` sets it, or the application does.
/// It is read without a lock, so set it before you start threads that log.
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
/// without the newline at the end. It is called on the thread that logs, so on several threads at
/// once if several log. What it throws is dropped.
using sink = std::function<void(level lev, const std::string& tag, const std::string& text)>;

/// Sends all messages to `target` from now on, and sets `logInited`. Before the first call, and
/// after a call with an empty sink, they go to standard error. There each is a line in UTC, with
/// newlines inside the text as "\n": "2026-01-31 23:59:59.123 D path/file.cpp:12 text". Once
/// `logInited` is set, threads may log during this call. A message that is under way then still
/// reaches the earlier sink.
void set_sink(sink target);

/// One message. `<<` adds to it, and the destructor hands it to the sink. Use it in one statement
/// behind a test of `logInited`, so that logging costs only the test while it is off. A printer
/// serves one thread; any number of threads may have one.
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

    /// Takes any value that a std::ostream takes. Numbers are in plain decimal in every locale.
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
