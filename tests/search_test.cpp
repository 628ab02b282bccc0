#include "base/base.shared/utils/regex_container.h"
#include "tests/support.h"

#include <array>
#include <clocale>

namespace {

class Search : public WithStore {
protected:
    void store(const std::string& id, const std::string& name, const std::string& remark = "",
               const std::string& group_info = "0", uint32_t data_type = 2) {
        db::UserRow row = contact(id, name);
        row.remark = remark;
        row.group_info = group_info;
        row.data_type = data_type;
        users->Insert(row);
    }
    /// What USER_REGEX answers for four SQL expressions.
    std::string user_regex(const std::string& arguments) {
        return query("SELECT USER_REGEX(" + arguments + ")");
    }
};

/// Answers as they are written down; the fuzz corpus has more, to compare with plain regexec's.
TEST_F(Search, MatchesNamesRemarkNamesAndNickNames) {
    const std::pair<const char*, const char*> cases[] = {
        {"'Alice', '', '', 'LIC'", "1"},
        {"'', '', '', ''", "0"},
        {"'A' || char(10) || 'B', '', '', 'a.b'", "1"},
        {R"('O''Malley', '', '', '''m')", "1"},
        {R"('', '{"remark_name":"Keeper"}', '', 'keep')", "1"},
        {R"('', '{"remark_name":"x","phone":"keep"}', '', 'keep')", "0"},
        {R"('', '"remark_name":"k', '', 'k')", "1"},
        {R"('', '{}', '', '')", "0"},
        {R"('', '', '[{"nick_name":"a"},{"nick_name":"Captain"}]', 'captain')", "1"},
        {R"('', '', '[{"nick_name":""}]', '')", "0"},
        {R"('', '', '[{"nick_name":"open', 'open')", "0"},
        {R"('', '{"nick_name":"a"}', '{"remark_name":"a"}', 'a')", "0"},
        {R"('Ann', '{"remark_name":"x","phone":"keep"}', '[{"nick_name":"a"}]', 'keep')", "0"},
        {R"('', '{"remark_name":"x"} keep', '', 'keep')", "0"},
        {"'abc', '', '', '*c'", "1"},
        {"'a[b', '', '', '['", "0"},
        {"NULL, NULL, NULL, 'x'", "0"},
        {"'x', NULL, NULL, NULL", "1"},
        {R"(NULL, '{"remark_name":"x"}', NULL, 'x')", "1"},
        {"x'', x'', x'', 'x'", "0"},
        {"x'6100ff', 12345, 1.5, 'a'", "1"},
        {"x'6100ff62', '', '', 'b'", "0"},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(user_regex(arguments), expected) << arguments;
    }
    fails(SQLITE_ERROR, "number of arguments", [&] { user_regex("'a', 'b', 'c'"); });
}

TEST_F(Search, FindsContactsInTheirOrder) {
    store("a", "Noodle");
    store("b", "x", R"({"remark_name":"noodle bar"})");
    store("c", "x", "", R"([{"nick_name":"Captain Noodle"}])");
    store("d", "Noodle", "", "", 0);
    store("e", "Noodle", "", "", 2 | 4);
    store("f", "O'Malley");
    store("g", "Noodle", "", "", 1 | 4);
    EXPECT_EQ(found("noodle"), "abce");
    EXPECT_EQ(found("o'm"), "f");
    EXPECT_EQ(found("'); DROP TABLE users; --"), "");
    EXPECT_EQ(found(""), "abcef");
    EXPECT_EQ(found("noodle("), "") << "no valid expression";
    EXPECT_EQ(found("noodle"), "abce");
    fails(SQLITE_MISUSE, "NUL", [&] { found("no\0dle"s); });
}

TEST_F(Search, TheFunctionOutlivesItsStore) {
    store("a", "Noodle");
    std::optional<db::DBUser> second(std::in_place, std::pair("me", 1), connection);
    EXPECT_EQ(found("n"), "a");
    second.reset();
    EXPECT_EQ(found("n"), "") << "the last registration answers";
    users->CreateTable();
    EXPECT_EQ(found("n"), "a");
    users.reset();
    EXPECT_EQ(user_regex("'n', '', '', 'n'"), "NULL");
}

TEST(RegexContainer, KnowsWhatItWasBuiltFor) {
    base::RegexContainer regex;
    EXPECT_FALSE(regex.check_key_word("") || regex.exec(""));
    regex.build_reg("key", "(k+)e");
    EXPECT_TRUE(regex.check_key_word("key") && regex.exec("a KKE z"));
    EXPECT_FALSE(regex.check_key_word("ke") || regex.exec("ek"));
    regex.build_reg("bad", "(");
    EXPECT_FALSE(regex.check_key_word("bad") || regex.check_key_word("key") || regex.exec("("));
    regex.build_reg("", "[]x]");
    EXPECT_TRUE(regex.check_key_word("") && regex.exec("x") && !regex.exec("kke"));
    EXPECT_FALSE(regex.rules_out("", "x"));
    regex.clear();
    EXPECT_FALSE(regex.check_key_word("") || regex.exec("x"));
}

/// The patterns that a keyword becomes for a name and for a remark.
std::array<std::string, 2> patterns_of(const std::string& key_word) {
    return {".*" + key_word + ".*", R"(("remark_name":"([^"]*)" + key_word + R"([^"]*)))"};
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

bool is_built(const std::string& key_word, const std::string& pattern) {
    base::RegexContainer regex;
    regex.build_reg(key_word, pattern);
    const bool is_ready = regex.check_key_word(key_word);
    EXPECT_TRUE(is_ready || regex.rules_out(key_word, "x")) << "would be built again";
    return is_ready;
}

TEST(RegexContainer, RefusesWhatHasNoBound) {
    // clang-format off
    const std::vector<std::string> hostile{
        "a{1,32767}", "((a{1,100}){1,100}){1,100}", "(.*)(.*)(.*)\\1\\2\\3x", repeated("a*", 5000),
        repeated("(", 30000) + repeated(")", 30000), repeated("(", 21) + "a" + repeated(")", 21),
        "a" + repeated("|a", 10000), "a" + repeated("+", 30),
        repeated("(", 9) + "a" + repeated("+)*", 9), "((a*)*)*b", ".*{,2}{,2}{1}{2,}{,2}{,2}",
        "(.?){1000}", repeated("[^a]?[^b]?", 200), "(.*(k|\\<)+){9}", "(^|a)*",
        repeated("x", 70001), "[ab]{1}{,1000}", "(()|()){1,3}{2,}(){,2}+", "(()|a)*b", "(a{0})*", repeated("()", 9),
        repeated("a?*", 30), "(a?|b?|c?|d?|e?|f?|g?|h?|z){8,}", repeated("a*{1,3}", 20),
        repeated("\\b", 30), repeated("(^|$)", 30), repeated("a|", 1992) + "a"};
    const std::vector<std::string> ordinary{
        "", ":)", "f()", "a||b", "a.{100}b", "[a-z]{1,100}", "(.?){100}", "((ab){1,10}){1,10}", "(a*)*b",
        "([a-z]*[0-9]?){1,10}", "^[a-z]{1,100}$", "\\b(ann|bob|carl|dave)\\b",
        "(alice|bob|carol|dave|erin|frank|grace|heidi)+ [0-9]{2,4}", "([a-z]+ ){1,100}",
        "(a|b|c|d|e|f){1,100}", repeated("[a-z]*[0-9]?", 18), "^[[:upper:]][^]x]*\\.$",
        "a" + repeated("|name", 40), repeated("x", 65536), repeated("雨 ", 16384)};
    // clang-format on
    for (const auto* key_words : {&hostile, &ordinary}) {
        for (const std::string& key_word : *key_words) {
            for (const std::string& pattern : patterns_of(key_word)) {
                EXPECT_EQ(is_built(key_word, pattern), key_words == &ordinary)
                    << pattern.substr(0, 80);
            }
        }
    }
}

TEST(RegexContainer, MatchesLongTextsInPieces) {
    base::RegexContainer regex;
    regex.build_reg("", "(^|y)x{60}[ab]{10}m{60}$|^z");
    ASSERT_TRUE(regex.check_key_word(""));
    const std::string found = repeated("x", 60) + "abababbbaa" + repeated("m", 60);
    for (const int before : {0, 100, 4000, 8000, 8100, 8192, 100000}) {
        const std::string text = repeated("y", before) + found;
        EXPECT_TRUE(regex.exec(text.c_str())) << before;
        EXPECT_FALSE(regex.exec((text + "m").c_str())) << before;
        EXPECT_FALSE(regex.exec((repeated("y", before + 1) + "z").c_str()));
    }
}

/// Random keywords of letters, other characters and operators in random texts, whatever the locale
/// of the process: a container that is ready matches what plain regexec does, and what it rules out
/// does not match.
TEST(RegexContainer, AgreesWithTheCLibrary) {
    static const std::string pieces[] = {
        "a",   "A",   "b",   "s",   "i",    "I",     "é",    "\xff",        "\"", "ab",
        ".",   "*",   "+",   "?",   "^",    "$",     "|",    "(",           ")",  "[",
        "]",   "[^",  "a]",  "{",   "\\",   "{1,2}", "()",   "[[:alpha:]]", "}",  "-",
        "\\.", "\\w", "\\b", "{0}", "{2,}", "[a-c]", "(a|b)"};
    std::mt19937 random(std::random_device{}());
    const auto random_text = [&](size_t longest) {
        std::string text;
        for (size_t i = random() % longest; i > 0; --i) {
            text += pieces[random() % (random() % 3 == 0 ? std::size(pieces) : 10)];
        }
        return text;
    };
    int ruled_out = 0;
    int refused = 0;
    for (size_t i = 0; i < 16000; ++i) {
        const std::string key_word = random_text(7);
        const std::string remark = R"({"remark_name":")" + random_text(4);
        const std::string text =
            i % 2 == 0 ? "a" + random_text(6) : remark + R"(","x":")" + random_text(3);
        const std::string pattern = patterns_of(key_word).at(i % 2);
        base::RegexContainer regex;
        std::setlocale(LC_ALL, "C.UTF-8");
        regex.build_reg(key_word, pattern);
        const bool rules_out = regex.rules_out(key_word, text);
        const bool found = regex.exec(text.c_str());
        std::setlocale(LC_ALL, "C");
        const std::optional<bool> expected = plainly_matches(pattern, text);
        if (regex.check_key_word(key_word)) {
            ASSERT_TRUE(found == expected && !(rules_out && found)) << pattern << " in " << text;
            ruled_out += rules_out ? 1 : 0;
        } else {
            refused += expected ? 1 : 0;
        }
    }
    EXPECT_GT(ruled_out, 400) << "or the filter is of no use";
    EXPECT_LT(refused, 320) << "or ordinary expressions are refused";
}

} // namespace
