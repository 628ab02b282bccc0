#include "base/base.shared/utils/regex_container.h"
#include "tests/plain_regex.h"
#include "tests/support.h"

namespace {

/// Whether plain regexec finds the keyword between two pieces of a pattern in a text; never for a
/// pattern that a container refuses, which may take it for ever.
bool fits(const std::string& key, const char* before, const char* after, const std::string& text) {
    const std::string pattern = std::string(before) + key + after;
    base::RegexContainer container;
    container.build_reg(key, pattern);
    if (!container.check_key_word(key)) {
        return false;
    }
    return is_misread_plainly(pattern, text) ? container.exec(text.c_str())
                                             : plainly_matches(pattern, text).value();
}

} // namespace

/// The input is a keyword, a name, a remark and a group text, NUL bytes between them, and again for
/// further calls of the function of one store.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    GTEST_FLAG_SET(break_on_failure, true);
    static const auto connection = in_memory();
    const db::DBUser users({}, connection);
    auto call = connection->prepare_statement("SELECT USER_REGEX(:name, :remark, :group, :key)");
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const auto bind_next = [&](const char* parameter, size_t longest) {
        const std::string text(rest.substr(0, rest.find('\0')));
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        call.bind<std::string>(parameter, text.substr(0, longest));
        return text.substr(0, longest);
    };
    while (!rest.empty()) {
        const std::string key = bind_next(":key", 40);
        const std::string name = bind_next(":name", 300);
        const std::string remark = bind_next(":remark", 300);
        const std::string group = bind_next(":group", 300);
        const bool found =
            (!name.empty() && fits(key, ".*", ".*", name)) ||
            (remark.size() > 2 && fits(key, R"(("remark_name":"([^"]*)", R"([^"]*)))", remark)) ||
            (group.size() > 2 && fits("", R"re(("nick_name":"([^"]+)"))re", "", group) &&
             fits(key, R"(("nick_name":"([^"]*)", R"([^"]*)))", group));
        for (int time = 0; time < 2; ++time) { // the second time with what the first has compiled
            EXPECT_EQ(shown(connection->execute(call)), found ? "1" : "0") << key;
        }
    }
    return 0;
}
