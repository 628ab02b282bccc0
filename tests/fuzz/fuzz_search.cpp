#include "tests/search_model.h"

/// The input is a keyword, a name, a remark and a group text, NUL bytes between them, and again for
/// further searches.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    GTEST_FLAG_SET(break_on_failure, true);
    SearchModel model;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const auto next = [&](size_t longest) {
        const std::string text(rest.substr(0, rest.find('\0')));
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        return text.substr(0, longest);
    };
    while (!rest.empty()) {
        const std::string key = next(40);
        const std::string name = next(300);
        const std::string remark = next(300);
        model.search(key, name, remark, next(300));
    }
    return 0;
}
