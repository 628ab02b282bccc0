#include "apps/userdb/record_json.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

namespace userdb {

namespace {

using nlohmann::json;

constexpr size_t max_depth = 100; // each level costs other readers of a remark some stack

[[noreturn]] void refuse(const std::string& key, const std::string& why) {
    throw bad_input("key '" + key + "': " + why);
}

/// Appends a text as a JSON string. If it is for a terminal and would command it, all characters
/// beyond ASCII are escaped. Bytes that are no UTF-8 become U+FFFD; returns whether there are none.
bool append_string(std::string& out, const std::string& text, bool for_terminal = false) {
    const bool is_plain = std::all_of(text.begin(), text.end(), [](char c) {
        return ' ' <= c && c <= '~' && c != '"' && c != '\\';
    });
    if (is_plain) {
        (out += '"').append(text) += '"';
        return true;
    }
    // All of what a terminal may obey, and JSON does not escape, begins with one of these bytes.
    const bool is_ascii = for_terminal &&
                          text.find_first_of("\x7f\xc2\xd8\xe2") != std::string::npos &&
                          printable(text).text != text;
    try {
        out += json(text).dump(-1, ' ', is_ascii);
        return true;
    } catch (const json::type_error&) {
        out += json(text).dump(-1, ' ', is_ascii, json::error_handler_t::replace);
        return false;
    }
}

/// A member of a JSON object.
struct member {
    std::string key;
    std::string value = {}; // JSON without blanks
};

/// Reads the members of a JSON object from the parts of a text in their order. A tree of them would
/// cost time that grows with the square of the members of an inner object, since it looks for each
/// new one among the earlier ones.
class member_reader {
public:
    /// For a whole object of this size, or for the value alone of the member that is there.
    explicit member_reader(size_t size, std::vector<member> members = {})
        : m_size(size), m_depth(members.size()), m_members(std::move(members)) {}

    bool null() { return add("null"); }
    bool boolean(bool is_true) { return add(is_true ? "true" : "false"); }
    bool number_integer(int64_t number) { return add(std::to_string(number)); }
    bool number_unsigned(uint64_t number) { return add(std::to_string(number)); }
    bool number_float(double /*number*/, const std::string& digits) { return add(digits); }
    bool string(const std::string& text) {
        return add("") && append_string(m_members.back().value, text);
    }
    bool binary(const json::binary_t& /*bytes*/) { return false; } // no text holds any
    bool start_object(size_t /*size*/) { return open("{"); }
    bool end_object() { return close('}'); }
    bool start_array(size_t /*size*/) { return open("["); }
    bool end_array() { return close(']'); }

    bool key(const std::string& name) {
        if (m_depth == 1) {
            m_members.push_back({name});
        } else {
            string(name);
            m_members.back().value += ':';
        }
        return true;
    }
    bool parse_error(size_t position, const std::string& /*token*/,
                     const json::exception& failure) const {
        if (!m_members.empty() && dynamic_cast<const json::out_of_range*>(&failure) != nullptr) {
            refuse(m_members.back().key, "a number too large");
        }
        require_whole(position <= m_size);
        throw bad_input("no JSON from byte " + std::to_string(position) + " on");
    }
    std::vector<member> take() { return std::move(m_members); }

private:
    static void require_whole(bool is_whole) {
        if (!is_whole) {
            throw bad_input("not one whole JSON object: is the file pretty-printed?");
        }
    }
    bool add(const std::string& token) {
        require_whole(m_depth > 0);
        std::string& value = m_members.back().value;
        const bool is_next =
            !value.empty() && std::string_view("{[:").find(value.back()) == std::string_view::npos;
        value.append(is_next ? "," : "").append(token);
        return true;
    }
    bool open(const char* bracket) {
        require_whole(m_depth > 0 || *bracket == '{');
        if (m_depth == max_depth) {
            refuse(m_members.back().key,
                   "nested more than " + std::to_string(max_depth) + " levels deep");
        }
        return m_depth++ == 0 || add(bracket);
    }
    bool close(char bracket) {
        if (--m_depth > 0) {
            m_members.back().value += bracket;
        }
        return true;
    }

    size_t m_size;
    size_t m_depth;
    std::vector<member> m_members;
};

/// JSON without blanks and escapes that it need not have. Throws `bad_input` if it is none.
std::string compact(const std::string& text) {
    member_reader reader(text.max_size(), {{"remark"}});
    json::sax_parse(text, &reader);
    return reader.take().front().value;
}

/// Whether the first character that is not blank is one of these.
bool begins_with(const std::string& text, const char* characters) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string::npos && first == text.find_first_of(characters);
}

/// The same for a JSON object or array. Returns other texts as they are.
std::string compact_if_json(const std::string& text) {
    try {
        const bool may_be = begins_with(text, "{[") && text.find('\0') == std::string::npos;
        return may_be ? compact(text) : text;
    } catch (const bad_input&) {
        return text;
    }
}

/// The mask for names of kinds: a text that joins them by commas, or an array.
uint32_t kinds_of(const member& given) try {
    const json names = json::parse(given.value);
    return kinds_from(names.is_string() ? names.get<std::string>()
                                        : joined(names.get<std::vector<std::string>>(), ","));
} catch (const bad_input& failure) {
    refuse(given.key, failure.what());
} catch (const json::exception&) {
    refuse(given.key, "an array of it must have names of kinds");
}

void put(std::string& field, const member& given) {
    const bool is_text = given.value[0] == '"';
    const bool may_be_structured = given.key == "remark" || given.key == "group_info";
    if (!is_text && !(may_be_structured && begins_with(given.value, "{["))) {
        refuse(given.key,
               may_be_structured ? "must be a text, an object or an array" : "must be a text");
    }
    const bool is_escaped = given.value.find('\\') != std::string::npos;
    field = !is_text     ? given.value
            : is_escaped ? json::parse(given.value).get<std::string>()
                         : given.value.substr(1, given.value.size() - 2);
    field = is_text && may_be_structured ? compact_if_json(field) : field;
}

template <std::integral Integer>
void put(Integer& field, const member& given) {
    std::optional<Integer> number = whole_number<Integer>(given.value);
    if (given.key == "data_type" && begins_with(given.value, "\"[{")) {
        number = static_cast<Integer>(kinds_of(given));
    }
    if (!number) {
        refuse(given.key, must_be_whole_number<Integer>());
    }
    field = *number;
}

} // namespace

std::string to_json(const db::UserRow& user_row, bool& is_utf8) {
    std::string object;
    is_utf8 = true;
    db::for_each_user_column([&](const auto& column) {
        const auto& value = user_row.*column.field;
        object.append(object.empty() ? "{\"" : ",\"").append(column.name) += "\":";
        if constexpr (std::is_same_v<decltype(value), const std::string&>) {
            is_utf8 = append_string(object, value, true) && is_utf8;
        } else {
            object += std::to_string(value);
        }
    });
    return object + '}';
}

bool is_readable(const std::string& remark) {
    return remark.size() <= 2 || ((remark[0] == '{' || remark[0] == '[') && json::accept(remark));
}

db::UserRow from_json(const std::string& json_text, uint32_t kinds) {
    if (json_text.find('\0') != std::string::npos) {
        throw bad_input("there is a NUL byte in the line"); // the parser would stop there
    }
    member_reader reader(json_text.size());
    json::sax_parse(json_text, &reader);
    db::UserRow user_row;
    user_row.data_type = kinds;
    std::set<std::string> keys;
    for (const member& each : reader.take()) {
        bool is_known = false;
        db::for_each_user_column([&](const auto& column) {
            if (each.key == column.name) {
                is_known = true;
                put(user_row.*column.field, each);
            }
        });
        if (!is_known || !keys.insert(each.key).second) {
            refuse(each.key, is_known ? "given twice" : "unknown");
        }
    }
    if (user_row.user_id.empty()) {
        refuse("user_id", keys.contains("user_id") ? "empty" : "missing");
    }
    return user_row;
}

std::string remark_of(const std::string& text) {
    if (text.empty() || begins_with(text, "{")) {
        return text.empty() ? text : compact(text);
    }
    std::string remark = R"({"remark_name":)";
    if (!append_string(remark, text)) {
        throw bad_input("the remark has bytes that are no UTF-8");
    }
    return remark + '}';
}

std::vector<std::string> member_texts(const std::string& json_text, const std::string& name) {
    std::vector<std::string> texts;
    bool is_next = false; // whether the next value belongs to such a member
    const auto collect = [&](int /*depth*/, json::parse_event_t event, json& part) {
        if (event == json::parse_event_t::value && is_next && part.is_string()) {
            texts.push_back(std::move(part.get_ref<std::string&>()));
        }
        is_next = event == json::parse_event_t::key && part == name;
        // Only the insides of what is kept are looked at. No value is kept, so there is no tree.
        return event == json::parse_event_t::object_start ||
               event == json::parse_event_t::array_start;
    };
    if (json::parse(json_text, collect, false).is_discarded()) {
        texts.clear();
    }
    return texts;
}

} // namespace userdb
