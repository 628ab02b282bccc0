#include "tests/search_model.h"

#include <array>
#include <pthread.h>

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

/// Answers that are written down, of what plain regexec is no witness for: the fuzz corpus compares
/// more expressions with that.
TEST_F(Search, MatchesNamesRemarkNamesAndNickNames) {
    const std::pair<const char*, const char*> cases[] = {
        {"'Alice', '', '', 'LIC'", "1"},
        {"'', '', '', ''", "0"},
        {R"('O''Malley', '', '', '''m')", "1"},
        {R"('', '{"remark_name":"Keeper"}', '', 'keep')", "1"},
        {"'', 'xx', 'xx', '))|((x'", "0"},
        {"'', 'xxx', '', '))|((x'", "1"},
        {R"('', '', '[{"nick_name":"a"},{"nick_name":"Captain"}]', 'captain')", "1"},
        {R"('', '', '[{"nick_name":""}]', '')", "0"},
        {R"('', '', '[{"nick_name":"open', 'open')", "0"},
        {R"('', '{"nick_name":"a"}', '{"remark_name":"a"}', 'a')", "0"},
        {R"('Ann', '{"remark_name":"x","phone":"keep"}', '[{"nick_name":"a"}]', 'keep')", "0"},
        {R"('', '{"remark_name":"x"} keep', '', 'keep')", "0"},
        {"'q', '', '', '\\q'", "1"},
        {R"('', '{"remark_name":"a \"k"}', '', 'k')", "0"},
        {R"('', '"remark_name":""remark_name":"k', '', 'k')", "1"},
        {R"('uncle bob', '', '', 'anna|bob')", "1"},
        {R"('', '{"remark_name":"uncle bob"}', '', 'anna|bob')", "0"},
        {R"('', '{"remark_name":"uncle bob"}', '', '(anna|bob)')", "1"},
        {"'a' || char(10) || 'b', '', '', 'a$' || char(10) || 'b'", "0"},
        {"'a' || char(10) || 'b', '', '', 'x|a?^b'", "0"},
        {"NULL, NULL, NULL, 'x'", "0"},
        {"'x', NULL, NULL, NULL", "1"},
        {R"(NULL, '{"remark_name":"x"}', NULL, 'x')", "1"},
        {"x'', x'', x'', 'x'", "0"},
        {"x'6100ff', 12345, 1.5, 'a'", "1"},
        {"x'6100ff62', '', '', 'b'", "0"},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(user_regex(arguments), expected) << arguments;
        EXPECT_EQ(user_regex(arguments), expected) << arguments << " once what it needs is built";
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
    using enum db::UserDataType;
    EXPECT_EQ(users->GetUsersByDataType(USERDATA_USER | USERDATA_PUBLIC_ACCOUNT).size(), 2U);
    EXPECT_EQ(found("o'm"), "f");
    EXPECT_EQ(found("'); DROP TABLE users; --"), "");
    EXPECT_EQ(found(""), "abcef");
    EXPECT_EQ(found("noodle("), "") << "no valid expression";
    EXPECT_FALSE(db::is_searchable("noodle(") || db::is_searchable("(a)\\1"));
    EXPECT_FALSE(db::is_searchable("no\0dle"s));
    EXPECT_TRUE(db::is_searchable("noodle") && db::is_searchable("")) << "or nobody could search";
    EXPECT_TRUE(db::is_searchable("))|((x")) << "valid for remarks alone";
    EXPECT_EQ(found("noodle"), "abce");
    fails(SQLITE_MISUSE, "NUL", [&] { found("no\0dle"s); });
}

TEST_F(Search, TheFunctionOutlivesItsStore) {
    store("a", "Noodle");
    std::optional<db::DBUser> second(std::in_place, std::pair("me", 1), connection);
    EXPECT_EQ(found("n"), "a");
    second.reset();
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
    regex.clear();
    EXPECT_FALSE(regex.check_key_word("") || regex.exec("x"));
}

/// The patterns that a keyword becomes for a name and for a remark.
std::array<std::string, 2> patterns_of(const std::string& key_word) {
    return {".*" + key_word + ".*", R"(("remark_name":"([^"]*)" + key_word + R"([^"]*)))"};
}

bool is_built(const std::string& key_word, const std::string& pattern) {
    base::RegexContainer regex;
    regex.build_reg(key_word, pattern);
    EXPECT_TRUE(regex.was_built_for(std::make_shared<const std::string>(key_word)));
    return regex.check_key_word(key_word);
}

// Each between two letters, or it would be left out of a search as what may be missing at its ends.
const std::vector<std::string> hostile{
    "a{256}",
    "((a{1,100}){1,100}){1,100}",
    "(.)\\1",
    repeated("(", 30000) + repeated(")", 30000),
    repeated("(", 21) + "a" + repeated(")", 21),
    "(a" + repeated("|a", 10000) + ")",
    repeated("[^a]?[^b]?", 200),
    "(^|a)*",
    "(^|b*)",
    "(a*b?)*",
    "[ab]{250,}[cd]{250,}",
    "a{2}{2}{2}{2}",
    "[[=a=]]",
    "[[.a.]]",
    repeated("(^|a)", 17),
    "(^|b)a{0,255}",
    "(^|b)(a?){255}(a?){250}",
    "(^|a).{0,87}b.{54}",
    "\\b(a?){200}(a?){200}",
    "(\\b|c)(\\B|c)(\\<|c)(\\>|c)(a?b?){25}",
    "(^|b)(a?|.?){10}",
    "(^|[^cp]a|xa|ya|za|[^c ][ab]a|t).{17}([^v].?){8}",
    "((((a(b?){220}|c.{11}w)+|.)e?)+d)+",
};
const std::vector<std::string> ordinary{
    "",
    repeated("(", 18) + "a" + repeated(")", 18),
    "a.{100}b",
    "(a*)*b",
    "hm????",
    "(|a)+[a-[]",
    "(^|[^a-z])(alice|bob|carol|dave|erin|frank|grace|heidi)($|[^a-z])",
    "(alice|bob|carol|dave|erin|frank|grace|heidi)+ [0-9]{2,4}",
    "([a-z]+ ){1,80}",
    "(a|b|c|d|e|f){1,80}",
    repeated("[a-z]*[0-9]?", 18),
    "(a" + repeated("|name", 40) + ")",
    "b" + repeated("(a?){160}", 3) + "c",
    repeated("x", 100000),
    repeated("雨 ", 16384),
};

TEST(RegexContainer, RefusesWhatHasNoBound) {
    for (const std::string& key_word : hostile) {
        for (const std::string& pattern : patterns_of("x" + key_word + "y")) {
            EXPECT_FALSE(is_built(key_word, pattern)) << pattern.substr(0, 80);
        }
    }
    EXPECT_FALSE(is_built("", repeated("a?", 20000)));
    for (const std::string& key_word : ordinary) {
        for (const std::string& pattern : patterns_of(key_word)) {
            EXPECT_TRUE(is_built(key_word, pattern)) << pattern.substr(0, 80);
        }
    }
    for (const std::string key_word : {"^[a-z]{1,100}$", "^(a?){255}(a?){250}b", "^.{0,100}b$"}) {
        EXPECT_TRUE(is_built(key_word, patterns_of(key_word)[0])) << key_word;
    }
#ifdef RE_SYNTAX_POSIX_EXTENDED
    EXPECT_TRUE(is_built("", "\\b(ann|bob|carl|dave)\\>"));
    EXPECT_TRUE(is_built("", "\\bann\\b|\\bbob\\b|\\bcarl\\b"));
#else
    EXPECT_FALSE(is_built("", "\\bann") || is_built("", "\\Bann") || is_built("", "ann\\>"));
#endif
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their frames are larger

TEST(RegexContainer, IsContentWithTheStackOfAPhonesThread) {
    const auto use_all = [](void* /*unused*/) -> void* {
        for (const auto* key_words : {&hostile, &ordinary}) {
            for (const std::string& key_word : *key_words) {
                base::RegexContainer regex;
                regex.build_reg(key_word, patterns_of(key_word)[1]);
                static_cast<void>(regex.exec(R"("remark_name":"abcabc abc")"));
            }
        }
        return nullptr;
    };
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 128 * 1024), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, use_all, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

#endif

TEST(RegexContainer, MatchesInLongTextsWhatItDoesInShortOnes) {
    const std::string match = repeated("x", 30) + "abababbbaa" + repeated("m", 30);
    const struct {
        std::string pattern, before, match, after, miss; // a miss instead of what is after
    } cases[] = {
        {"(^|y)x{30}[ab]{10}m{30}($|z)", "y", match, "zz", "mz"},
        {"[ab]a.{12}(x|y)$|^z", "b", "aa" + repeated("b", 12) + "x", "", "z"},
        {"\"[^\"]*(k|l)m.*n\"", "b", "\"bbkm", "bbn\"", "b\"n"},
#ifdef RE_SYNTAX_POSIX_EXTENDED
        {"\\<(anna|bobby|carlo|david|elena|fatima|george|henrietta)\\>", " ", "bobby", " ", "b"},
        {"\\<(anna|bobby|carlo|david|elena|fatima|george|henrietta)\\B", " ", "bobby", "y",
         " bobby"},
#endif
    };
    for (const auto& [pattern, before, match_text, after, miss] : cases) {
        base::RegexContainer regex;
        regex.build_reg("", pattern);
        ASSERT_TRUE(regex.check_key_word("")) << pattern;
        for (const int size : {0, 100, 4000, 8000, 8060, 8150, 8187, 8188, 8189, 8192, 100000}) {
            const std::string head = repeated(before, size) + match_text;
            EXPECT_TRUE(regex.exec((head + after).c_str())) << pattern << size;
            EXPECT_FALSE(regex.exec((head + miss).c_str())) << pattern << size;
        }
    }
}

/// Whether `first` stands in the text, and `second` behind it with no 1 between.
bool follow(const std::string& first, const std::string& second, const std::string& text) {
    for (size_t at = 0; (at = text.find(first, at)) != std::string::npos; ++at) {
        const size_t end = at + first.size();
        if (text.find(second, end) <= std::min(text.find('1', end), text.size())) {
            return true;
        }
    }
    return false;
}

/// What would take time by the square of the text if each place were tried.
TEST(RegexContainer, FindsPiecesThatRepeatThemselvesInTextsThatDo) {
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    int found = 0;
    for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", run " << i);
        const std::string period =
            std::string(1 + random() % 3, 'a') + (random() % 2 == 0 ? "b" : "1");
        std::string text = repeated(period, 1000);
        for (unsigned faults = random() % 4; faults > 0; --faults) {
            text[random() % text.size()] = "a1b"[random() % 3];
        }
        const auto piece_of_text = [&] {
            std::string piece = text.substr(random() % text.size(), 1 + random() % 1500);
            piece[random() % piece.size()] = random() % 3 == 0 ? 'b' : piece.back();
            return piece;
        };
        const std::string first = piece_of_text();
        const std::string second = piece_of_text();
        base::RegexContainer regex;
        regex.build_reg("", first);
        EXPECT_EQ(regex.exec(text.c_str()), contains(text, first)) << first << " in " << text;
        regex.build_reg("", first + "[^1]*" + second);
        EXPECT_EQ(regex.exec(text.c_str()), follow(first, second, text));
        found += regex.exec(text.c_str()) ? 1 : 0;
    }
    EXPECT_GT(found, 0);
}

/// A few pieces, of which letters are the likeliest.
std::string random_text(std::mt19937& random, size_t longest) {
    static const std::string pieces[] = {
        "a",     "A",     "b",      "s",           "i",     "I",     "é",       "\xff",
        "\"",    "ab",    ".",      "*",           "+",     "?",     "^",       "$",
        "|",     "(",     ")",      "[",           "]",     "[^",    "a]",      "{",
        "\\",    "{1,2}", "()",     "[[:alpha:]]", "}",     "-",     "\\.",     "\\w",
        "\\b",   "{0}",   "{2,}",   "[a-c]",       "(a|b)", ".*",    "\\W",     "\\s",
        "**",    "\\`",   "[^\"]*", "\\'",         "[]-]",  "[\\^]", "[^a-b]",  "[Z_-]",
        "[a-_]", "[_-~]", "[^_-~]", "{,2}",        "\\B",   "_",     "[^A-Ca]", " "};
    std::string text;
    for (size_t i = random() % longest; i > 0; --i) {
        text += pieces[random() % (random() % 3 == 0 ? std::size(pieces) : 10)];
    }
    return text;
}

TEST(RandomSearches, AgreeWithTheCLibrary) {
    std::mt19937 random(std::random_device{}());
    SearchModel model;
    for (int i = 0; i < 8000 && !testing::Test::HasFailure(); ++i) {
        const std::string key_word = random_text(random, 7);
        const std::string more = R"(","x":")" + random_text(random, 3);
        model.search(key_word, "a" + random_text(random, 6), "", "");
        model.search(key_word, "", R"({"remark_name":")" + random_text(random, 4) + more, "");
        model.search(key_word, "", "", R"([{"nick_name":")" + random_text(random, 4) + more);
    }
    EXPECT_LT(model.refused, 320) << "or ordinary expressions are refused";
}

} // namespace
