#include "base/base.shared/logging/logging.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <locale>
#include <memory>
#include <mutex>
#include <string_view>

bool logInited = false;

namespace base::log {

namespace {

/// The time of now in UTC, to the millisecond.
std::string timestamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    std::array<char, 64> text{};
    const size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    std::snprintf(text.data() + size, text.size() - size, ".%03d",
                  static_cast<int>(now.tv_nsec / 1'000'000));
    return text.data();
}

/// Written with one call, so that lines of several threads do not mix.
void write_to_stderr(level lev, const std::string& tag, const std::string& text) {
    constexpr std::string_view letters = "VDIWEF";
    const auto index = static_cast<size_t>(lev);
    const char letter = index < letters.size() ? letters[index] : '?';
    std::string line = timestamp();
    line.append({' ', letter, ' '}).append(tag).append(" ");
    for (const char c : text) {
        c == '\n' ? line.append("\\n") : line.append(1, c);
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

/// The sink in use. Never destroyed: stores that live until the process exits still log.
struct sink_holder {
    std::mutex mutex;
    std::shared_ptr<const sink> current = std::make_shared<sink>(write_to_stderr);
};

sink_holder& holder() {
    static auto* const the_holder = new sink_holder;
    return *the_holder;
}

/// A reference of its own, so that a sink replaced meanwhile lives as long as its last message.
std::shared_ptr<const sink> current_sink() {
    const std::lock_guard guard(holder().mutex);
    return holder().current;
}

} // namespace

void set_sink(sink target) {
    auto next = std::make_shared<const sink>(target ? std::move(target) : sink(write_to_stderr));
    {
        const std::lock_guard guard(holder().mutex);
        holder().current.swap(next);
    }
    if (!logInited) { // a sink may be replaced while threads log and read this
        logInited = true;
    }
}

printer::printer(base::log::level lev, std::string tag, uint32_t line)
    : m_lev(lev), m_tag(std::move(tag)) {
    m_tag += ':';
    m_tag += std::to_string(line);
    m_sstr.imbue(std::locale::classic());
}

printer::~printer() {
    try {
        std::string text = m_sstr.str();
        if (text.ends_with('\n')) {
            text.pop_back();
        }
        (*current_sink())(m_lev, m_tag, text);
    } catch (...) { // NOLINT(bugprone-empty-catch): a lost message is better than a lost process
    }
}

printer& printer::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    m_sstr << manipulator;
    return *this;
}

} // namespace base::log
