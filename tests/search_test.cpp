#include "base/base.shared/utils/regex_tree.h"
#include "tests/search_model.h"

#include <array>
#include <pthread.h>
#include <sstream>

namespace {

class Search : public WithStore {
protected:
    /// What USER_REGEX answers for four SQL expressions.
    std::string user_regex(const std::string& arguments) {
        return query("SELECT USER_REGEX(" + arguments + ")");
    }
};

/// Answers that are written down, of what plain regexec is no witness for: the fuzz corpus compares
/// more expressions with that.
TEST_F(Search, MatchesNamesRemarkNamesAndNickNames) {
    const std::pair<const char*, const char*> cases[] = {
        {"'', '', '', ''", "0"},
        {"'k1', '', '', '[[:alpha:]]1'", "1"},
        {"x'7f', '', '', '[[:cntrl:]]'", "1"},
        {"'-x', '', '', '[[:digit:]a-c-]x'", "1"},
        {"'xaaay', '', '', 'xa{2,}y'", "1"},
        {"'ba', '', '', '\\`b'", "1"},
        {"'', 'xx', 'xx', '))|((x'", "0"},
        {"'', 'xxx', '', '))|((x'", "1"},
        {"'q', '', '', '\\q'", "1"},
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
    query(R"(INSERT INTO users (user_id, user_name, remark, group_info, data_type) VALUES
        ('a', 'Noodle', '', '0', 2),
        ('b', 'x', '{"remark_name":"noodle bar"}', '0', 2),
        ('c', 'x', '', '[{"nick_name":"a"},{"nick_name":"Captain Noodle"}]', 2),
        ('d', 'Noodle', '', '0', 0),
        ('e', 'Noodle', '', '0', 2 | 4),
        ('f', 'O''Malley', '', '0', 2),
        ('g', 'Noodle', '', '0', 1 | 4))");
    EXPECT_EQ(found("noodle"), "abce");
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

TEST_F(Search, StoresOfOneConnectionTakeTurnsWithTheFunction) {
    store(contact("a", "name"));
    // Each string is a story: stores 1 and 2 are made (+), search, and go (-).
    for (const std::string story : {"+1 1 +2 1 2 1 -1 2 -2", "+1 +2 -2 1 -1", "+1 +2 -1 2 +1 2 1",
                                    "+1 +2 2 2 1 1 -2 1 +2 1"}) {
        SCOPED_TRACE(story);
        std::optional<db::DBUser> stores[2];
        std::istringstream steps(story);
        for (std::string step; steps >> step;) {
            const bool is_first = step.back() == '1';
            std::optional<db::DBUser>& store = stores[is_first ? 0 : 1];
            if (step[0] == '+') {
                store.emplace(std::pair("me", 1), connection);
            } else if (step[0] == '-') {
                store.reset();
            } else {
                const auto found = store->SearchUserRowsWithKeyWord(is_first ? "n" : "[an]m");
                EXPECT_EQ(found.size(), 1U) << step;
            }
        }
    }
    {
        const db::DBUser second({"me", 1}, connection);
        const auto running = connection->execute("SELECT 1 UNION ALL SELECT 2");
        fails(SQLITE_BUSY, "USER_REGEX", [&] { found("n"); });
    }
    EXPECT_EQ(user_regex("'n', '', '', 'n'"), "NULL") << "once its store is gone";
    EXPECT_EQ(found("n"), "a");
}

TEST_F(Search, AnEscapedCharacterFindsItselfAlone) {
    store(contact("x", "x"));
    for (const char c : R"(.[]()*+?{}|^$\'%_)"s) {
        const std::string text(1, c);
        store(contact(text, text));
        EXPECT_EQ(found(db::escape_key_word(text)), text);
        users->DelUserByUserIdAndSource(text, 0);
    }
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
    "(.)\\9",
    repeated("(", 30000) + repeated(")", 30000),
    repeated("(", 21) + "a" + repeated(")", 21),
    "(a" + repeated("|a", 10000) + ")",
    "(^|a)*",
    "(^|b*)",
    "(^|$)",
    "(a|b|c|d|e|f|g|h|i|j)[xy]{50}",
    "(a*b?)*",
    "[ab]{250,}[cd]{250,}",
    "a{2}{2}{2}{2}",
    "[[=a=]]",
    "[[.a.]]",
    "(\\b|c)(\\B|c)(\\<|c)(\\>|c)(a?b?){25}",
    "(^|[^cp]a|xa|ya|za|[^c ][ab]a|t).{17}([^v].?){8}",
    "((((a(b?){220}|c.{11}w)+|.)e?)+d)+",
};
const std::vector<std::string> ordinary{
    "",
    repeated("(", 18) + "a" + repeated(")", 18),
    "(a*)*b",
    "hm????",
    "(a+)++++b",
    "ha{2}{2}{2}m",
    "ha{255}m",
    "h(a*|b?)m",
    "(ab|ac|ad|ae|af|ag|ah)[xy]{80}z",
    "(|a)+[a-[]",
    "(^|[^a-z])(alice|bob|carol|dave|erin|frank|grace|heidi)($|[^a-z])",
    "([a-z]+ ){1,80}",
    repeated("x", 100000),
    repeated("雨 ", 16384),
};

TEST(RegexContainer, RefusesWhatHasNoBound) {
    for (const std::string& key_word : hostile) {
        for (const std::string& pattern : patterns_of("x" + key_word + "y")) {
            EXPECT_FALSE(is_built(key_word, pattern)) << pattern.substr(0, 80);
        }
    }
    EXPECT_TRUE(is_built("", repeated("a?", 10000)));
    EXPECT_FALSE(is_built("", repeated("a?", 10001)));
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
    EXPECT_FALSE(is_built("", "\\b[ab]{130}\\B"));
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

/// No engine of this machine reads such ranges in another way, so what is written is compared.
TEST(RegexTree, WritesNoRangeFromASCIIToWhatIsBeyond) {
    const std::pair<const char*, const char*> cases[] = {
        {"[~-\x81]", "[~-\x7f\x80-\x81]"},
        {"[\x7f-\x80]", "[\x7f\x80]"},
        {"[^\x7f-\xff]", "[^\x7f\x80-\xff]"},
    };
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(base::written_for_engine(base::parse_regex(pattern).value(), "^", "$"), expected);
    }
}

/// What would take time by the square of the text if each place were tried.
TEST(RandomSearches, AgreeOnPiecesThatRepeatThemselvesInTextsThatDo) {
    Random random;
    SearchModel model;
    random.repeat(200, [&] {
        const std::string period =
            std::string(1 + random.below(3), 'a') + (random.below(2) == 0 ? "b" : "\"");
        std::string text = repeated(period, 300);
        for (size_t faults = random.below(4); faults > 0; --faults) {
            text[random.below(text.size())] = "a\"b"[random.below(3)];
        }
        const auto piece_of_text = [&] {
            std::string piece = text.substr(random.below(text.size()), 1 + random.below(450));
            piece[random.below(piece.size())] = random.below(3) == 0 ? 'b' : piece.back();
            return piece;
        };
        const std::string first = piece_of_text();
        model.search(first, text, "", "");
        model.search(first + "[^\"]*" + piece_of_text(), text, "", "");
    });
}

/// A few pieces, of which letters are the likeliest.
std::string random_text(Random& random, size_t longest) {
    static const std::string pieces[] = {
        "a",     "A",     "b",      "s",           "i",     "I",     "é",       "\xff",
        "\"",    "ab",    ".",      "*",           "+",     "?",     "^",       "$",
        "|",     "(",     ")",      "[",           "]",     "[^",    "a]",      "{",
        "\\",    "{1,2}", "()",     "[[:alpha:]]", "}",     "-",     "\\.",     "\\w",
        "\\b",   "{0}",   "{2,}",   "[a-c]",       "(a|b)", ".*",    "\\W",     "\\s",
        "**",    "\\`",   "[^\"]*", "\\'",         "[]-]",  "[\\^]", "[^a-b]",  "[Z_-]",
        "[a-_]", "[_-~]", "[^_-~]", "{,2}",        "\\B",   "_",     "[^A-Ca]", " "};
    std::string text;
    for (size_t i = random.below(longest); i > 0; --i) {
        text += pieces[random.below(random.below(3) == 0 ? std::size(pieces) : 10)];
    }
    return text;
}

TEST(RandomSearches, AgreeWithTheCLibrary) {
    Random random;
    SearchModel model;
    random.repeat(8000, [&] {
        const std::string key_word = random_text(random, 7);
        const std::string more = R"(","x":")" + random_text(random, 3);
        model.search(key_word, "a" + random_text(random, 6), "", "");
        model.search(key_word, "", R"({"remark_name":")" + random_text(random, 4) + more, "");
        model.search(key_word, "", "", R"([{"nick_name":")" + random_text(random, 4) + more);
    });
    EXPECT_LT(model.refused, 320) << "or ordinary expressions are refused";
}

} // namespace
