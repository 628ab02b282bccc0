#include "tests/unicode_model.h"

#include <gtest/gtest.h>
#include <set>

namespace {

constexpr auto only_case = base::Folding::case_only;
constexpr auto all = base::Folding::case_and_diacritics;

TEST(Folding, IsThatOfUnicodeForEachLetter) {
    const UnicodeModel model;
    if (model.small.empty()) {
        GTEST_SKIP() << "the package unicode-data is not installed";
    }
    std::set<char32_t> with_case;
    for (const auto& [letter, other] : model.small) {
        with_case.insert({letter, other});
    }
    for (char32_t letter = 0x80; letter < 0x20000; ++letter) {
        const std::string text = utf8(letter);
        for (const auto folding : {only_case, all}) {
            // Behind the letters of another script, and in front of one.
            ASSERT_EQ(base::fold("aЙ王" + text + "É", folding),
                      "aй王" + model.fold(letter, folding) + (folding == all ? "e" : "é"))
                << uint32_t{letter} << ": should scripts/letter-tables be run again?";
        }
        ASSERT_EQ(base::has_other_case("王" + text), with_case.contains(letter))
            << uint32_t{letter};
    }
}

/// Each stands before and behind a letter, which is folded all the same.
TEST(Folding, LeavesWhatIsNoUtf8) {
    for (const std::string bytes :
         {"\x80", "\xBF\x80", "\xC3", "\xC0\x80", "\xC1\x81", "\xE0\x83\x80", "\xE1", "\xE1\xBC",
          "\xED\xA0\x80", "\xF0\x82\x84\xA6", "\xF0", "\xF0\x90", "\xF0\x90\x90", "\xF0\x83\x80",
          "\xF4\x90\x80\x80", "\xF8\x90\x90\x80\x80", "\xFE\xFF", "\xE0\x9F\x80",
          "\xF0\x80\x83\x80"}) {
        EXPECT_EQ(base::fold("Á" + bytes + "Á" + bytes, only_case), "á" + bytes + "á" + bytes)
            << testing::PrintToString(bytes);
        EXPECT_FALSE(base::has_other_case(bytes)) << testing::PrintToString(bytes);
    }
    EXPECT_EQ(base::fold(std::string_view("\xC3\x81", 1), only_case), "\xC3") << "it is cut";
}

} // namespace
