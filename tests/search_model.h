#pragma once

#include "base/base.shared/utils/folding.h"
#include "base/base.shared/utils/regex_container.h"
#include "tests/plain_regex.h"
#include "tests/support.h"

#include <clocale>

/// The USER_REGEX of a store, and what the plain engine says that it must answer.
class SearchModel {
public:
    /// Expects the answer that the plain engine gives, whatever the locale of the process.
    void search(const std::string& key, const std::string& name, const std::string& remark,
                const std::string& group) {
        const bool expected =
            (!name.empty() && finds(key, ".*", ".*", name)) ||
            (remark.size() > 2 && finds(key, R"(("remark_name":"([^"]*)", R"([^"]*)))", remark)) ||
            (group.size() > 2 && finds("", R"re(("nick_name":"([^"]+)"))re", "", group) &&
             finds(key, R"(("nick_name":"([^"]*)", R"([^"]*)))", group));
        m_call.bind<std::string>(":key", key);
        m_call.bind<std::string>(":name", name);
        m_call.bind<std::string>(":remark", remark);
        m_call.bind<std::string>(":group", group);
        std::setlocale(LC_ALL, "C.UTF-8");
        for (int time = 0; time < 2; ++time) { // the second time with what the first has compiled
            EXPECT_EQ(all_rows(m_connection->execute(m_call)), expected ? "1" : "0")
                << key << " in " << name << remark << group;
        }
        std::setlocale(LC_ALL, "C");
    }

    int refused = 0; // that the plain engine knows, without a backslash in the keyword

private:
    /// Whether plain regexec finds the keyword between two pieces of a pattern in a text; never for
    /// a pattern that a container refuses, which may take it for ever.
    bool finds(const std::string& key, const char* before, const char* after, std::string text) {
        std::string pattern = before + key + after;
        base::RegexContainer container;
        container.build_reg(key, pattern);
        if (base::has_other_case(pattern)) {
            pattern = base::fold(pattern, false);
            text = base::fold(text, false);
        }
        const bool is_misread = is_misread_plainly(pattern, text);
        if (!container.check_key_word(key)) {
            const bool is_of_interest = !is_misread && key.find('\\') == std::string::npos;
            refused += is_of_interest && plainly_matches(pattern, text) ? 1 : 0;
            return false;
        }
        return is_misread ? container.exec(text.c_str()) : plainly_matches(pattern, text).value();
    }

    std::shared_ptr<sqlite::database> m_connection = in_memory();
    db::DBUser m_users{{}, m_connection};
    sqlite::statement m_call =
        m_connection->prepare_statement("SELECT USER_REGEX(:name, :remark, :group, :key)");
};
