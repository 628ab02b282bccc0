#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

inline std::string utf8(char32_t letter) {
    if (letter < 0x80) {
        return {static_cast<char>(letter)};
    }
    const unsigned size = letter < 0x800 ? 2 : letter < 0x10000 ? 3 : 4;
    std::string bytes;
    for (unsigned i = size; i-- > 0;) {
        const char32_t mark = bytes.empty() ? 0xF00 >> size : 0x80;
        bytes += static_cast<char>(mark | (letter >> 6 * i & 0x3F));
    }
    return bytes;
}

/// What folding makes of letters by the files of unicode-data; without these it knows none.
class UnicodeModel {
public:
    UnicodeModel() {
        read("CaseFolding.txt", [&](char32_t letter, const auto& fields) {
            const bool is_simple = fields[1] == " C" || fields[1] == " S";
            if (is_simple && letter != U'\u017F' && letter != U'\u212A') {
                small[letter] = number(fields[2]);
            }
        });
        read("UnicodeData.txt", [&](char32_t letter, const auto& fields) {
            const std::string script = fields[1].substr(0, fields[1].find(' '));
            const bool is_of_europe =
                script == "LATIN" || script == "GREEK" || script == "CYRILLIC";
            const bool is_letter = fields[2][0] == 'L' && fields[2] != "Lm"; // one is a sign
            if (is_of_europe && is_letter && !fields[5].empty() && fields[5][0] != '<') {
                m_first[letter] = number(fields[5]);
            }
        });
        m_first.erase(U'й');
        m_first.erase(U'ї');
        m_first.insert({{U'đ', U'd'}, {U'ħ', U'h'}, {U'ł', U'l'}, {U'ø', U'o'}, {U'ŧ', U't'}});
    }

    std::string fold(char32_t letter, bool ignores_diacritics) const {
        if (ignores_diacritics && letter >= 0x300 && letter < 0x370) {
            return "";
        }
        const auto become = [&](const auto& others) {
            const auto found = others.find(letter);
            letter = found != others.end() ? found->second : letter;
            return found != others.end();
        };
        become(small);
        while (ignores_diacritics && become(m_first)) {
            become(small);
        }
        return utf8(letter);
    }

    std::map<char32_t, char32_t> small; // of each letter that has another case to become

private:
    static char32_t number(const std::string& hex) {
        return static_cast<char32_t>(std::stoul(hex, nullptr, 16));
    }
    template <typename Function>
    static void read(const std::string& name, Function function) {
        std::ifstream file("/usr/share/unicode/" + name);
        for (std::string line; std::getline(file, line);) {
            std::istringstream rest(line);
            std::vector<std::string> fields;
            for (std::string field; std::getline(rest, field, ';');) {
                fields.push_back(field);
            }
            if (fields.size() > 2 && line[0] != '#') {
                function(number(fields[0]), fields);
            }
        }
    }

    std::map<char32_t, char32_t> m_first; // letters of what is decomposed
};
