#include "base/base.shared/utils/folding.h"
#include "base/base.shared/utils/regex_container.h"
#include "tests/support.h"
#include "tests/unicode_model.h"

#include <set>

namespace {

class FoldingOfUnicode : public WithStore {
protected:
    void SetUp() override {
        if (model.small.empty()) {
            GTEST_SKIP() << "the package unicode-data is not installed";
        }
    }

    const UnicodeModel model;
};

TEST_F(FoldingOfUnicode, IsThatOfEachLetter) {
    std::set<char32_t> with_case;
    for (const auto& [letter, other] : model.small) {
        with_case.insert({letter, other});
    }
    for (char32_t letter = 0x80; letter < 0x20000; ++letter) {
        const std::string text = utf8(letter);
        for (const bool ignores_diacritics : {false, true}) {
            // Behind the letters of another script, and in front of one.
            ASSERT_EQ(base::fold("aЙ王" + text + "É", ignores_diacritics),
                      "aй王" + model.fold(letter, ignores_diacritics) +
                          (ignores_diacritics ? "e" : "é"))
                << uint32_t{letter} << ": should scripts/letter-tables be run again?";
        }
        ASSERT_EQ(base::has_other_case("王" + text), with_case.contains(letter))
            << uint32_t{letter};
    }
}

TEST_F(FoldingOfUnicode, LetsBothCasesFindEachOther) {
    auto call = connection->prepare_statement("SELECT USER_REGEX(:name, :remark, :group, :key)");
    const auto finds = [&](const std::string& key, const std::string& text) {
        std::string answers;
        for (const std::string& pattern : {key, "(" + key + "|-)z", "^王" + key}) {
            for (const auto& [column, before, after] :
                 {std::tuple(":name", "", ""),
                  {":remark", R"({"remark_name":")", R"("})"},
                  {":group", R"([{"nick_name":")", R"("}])"}}) {
                call.clear_bindings();
                call.bind<std::string>(":key", pattern);
                call.bind<std::string>(column, before + text + "z" + after);
                answers += all_rows(connection->execute(call));
            }
        }
        return answers;
    };
    for (const auto& [letter, other] : model.small) {
        ASSERT_EQ(finds(utf8(letter), "王" + utf8(other)), "111111100") << utf8(letter);
        ASSERT_EQ(finds(utf8(other), "王" + utf8(letter)), "111111100") << utf8(letter);
    }
}

/// Random words of some scripts, sought by what may be a part of them in other letters.
TEST_F(FoldingOfUnicode, FindsWhatItsModelFinds) {
    constexpr std::pair<char32_t, size_t> scripts[] = {
        {'A', 58},      {0xC0, 0x190},  {0x1E00, 0x200}, {0x370, 0x90},
        {0x400, 0x130}, {0x300, 0x70},  {0x531, 0x56},   {0x10A0, 0x60},
        {0x13A0, 0x60}, {0x3042, 0x50}, {0x4E00, 9},     {0x10400, 80}};
    for (const bool ignores_diacritics : {false, true}) {
        const auto fold = [&](char32_t letter) { return model.fold(letter, ignores_diacritics); };
        std::map<std::string, std::vector<char32_t>> same;
        for (const auto& [first, count] : scripts) {
            for (char32_t letter = first; letter < first + count; ++letter) {
                same[fold(letter)].push_back(letter);
            }
        }
        Random random;
        int found = 0;
        random.repeat(10'000, [&] {
            std::string word, key, folded_word, folded_key;
            const size_t begin = random.below(4), end = begin + 1 + random.below(3);
            const size_t changed = random.below(12);
            for (size_t i = 0; i < 6; ++i) {
                const auto& [first, count] = scripts[random.below(random.below(12) + 1)];
                const auto letter = static_cast<char32_t>(first + random.below(count));
                word += utf8(letter);
                folded_word += fold(letter);
                if (begin <= i && i < end) {
                    const auto& others = same[fold(i == changed ? letter + 1 : letter)];
                    const char32_t other =
                        others.empty() ? 'x' : others[random.below(others.size())];
                    key += utf8(other);
                    folded_key += fold(other);
                }
            }
            base::RegexContainer container(ignores_diacritics);
            container.build_reg(key, ".*" + base::escape_regex(key) + ".*");
            const bool is_found = container.exec(word.c_str());
            EXPECT_EQ(is_found, !folded_key.empty() && folded_word.find(folded_key) != word.npos)
                << key << " in " << word << (ignores_diacritics ? " without diacritics" : "");
            found += is_found ? 1 : 0;
        });
        EXPECT_GT(found, 5000);
    }
}

/// Each stands before and behind a letter, which is folded all the same.
TEST(Folding, LeavesWhatIsNoUtf8) {
    for (const std::string bytes :
         {"\x80", "\xBF\x80", "\xC3", "\xC0\x80", "\xC1\x81", "\xE0\x83\x80", "\xE1", "\xE1\xBC",
          "\xED\xA0\x80", "\xF0\x82\x84\xA6", "\xF0", "\xF0\x90", "\xF0\x90\x90", "\xF0\x83\x80",
          "\xF4\x90\x80\x80", "\xF8\x90\x90\x80\x80", "\xFE\xFF", "\xE0\x9F\x80",
          "\xF0\x80\x83\x80"}) {
        EXPECT_EQ(base::fold("Á" + bytes + "Á" + bytes, false), "á" + bytes + "á" + bytes)
            << testing::PrintToString(bytes);
        EXPECT_FALSE(base::has_other_case(bytes)) << testing::PrintToString(bytes);
    }
    EXPECT_EQ(base::fold(std::string_view("\xC3\x81", 1), false), "\xC3") << "it is cut";
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"\xD0", "И", true},        {"\x98", "И", true},    {"И\xD0", "\x98и\xD0", true},
        {"Я\xFF", "xя\xFFy", true}, {"Я\xFF", "яy", false}, {"^[\xD1\xFF]Я", "\xFFя", true},
        {"Я|\xFF*z", "\xD1z", true}};
    for (const auto& [key, text, is_found] : cases) {
        base::RegexContainer container;
        container.build_reg(key, key);
        EXPECT_EQ(container.exec(text), is_found) << testing::PrintToString(std::string(key));
    }
}

class SearchOfLetters : public WithStore {
protected:
    SearchOfLetters() {
        const std::pair<const char*, const char*> names[] = {
            {"a", "Zoë"},      {"b", "Zoe"},         {"c", "Łukasz ÖZTÜRK"}, {"d", "Νίκος"},
            {"e", "İstanbul"}, {"f", "Андрей Їжак"}, {"g", "Ἀνδρέας"},       {"h", "e\u0301mile"},
            {"i", "émile"},    {"j", "ガ가"}};
        for (const auto& [id, name] : names) {
            store(contact(id, name));
        }
    }
};

TEST_F(SearchOfLetters, IgnoresDiacriticsIfAsked) {
    db::DBUser other({"me", 1}, connection);
    connection->set_statement_cache_capacity(16);
    const struct {
        const char *key_word, *found, *found_without_diacritics;
    } cases[] = {{"zoe", "b", "ab"},  {"ZOË", "a", "ab"},        {"lukasz ozt", "", "c"},
                 {"łuk", "c", "c"},   {"νικοσ", "", "d"},        {"istanbul", "", "e"},
                 {"андреи", "", ""},  {"андрей їжак", "f", "f"}, {"іжак", "", ""},
                 {"ανδρ", "", "g"},   {"Émile", "i", "hi"},      {"^(e|x)mi", "", "hi"},
                 {"\\ëmi", "", "hi"}, {"\\Émi", "i", "hi"},      {"[é]m", "i", "hi"},
                 {"カ", "", ""},      {"\u0301", "h", ""},       {"\u1100", "", ""}};
    for (const bool ignores : {false, true, false}) {
        users->SetSearchIgnoresDiacritics(ignores);
        for (const auto& [key_word, expected, expected_without] : cases) {
            EXPECT_EQ(found(key_word), ignores ? expected_without : expected) << key_word;
        }
        EXPECT_EQ(other.SearchUserRowsWithKeyWord("zoe").size(), 1U)
            << "it has a switch of its own";
    }
    auto kept = connection->prepare_statement("SELECT USER_REGEX('Zoë', '', '', 'zoe')");
    EXPECT_EQ(found("zoe"), "b"); // the function is that of this store again
    for (const bool ignores : {false, true, false}) {
        users->SetSearchIgnoresDiacritics(ignores);
        EXPECT_EQ(all_rows(connection->execute(kept)), ignores ? "1" : "0");
    }
}

} // namespace
