#include "apps/userdb/record_json.h"

#include "bll/bll.shared/db2/user_columns.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

namespace userdb {

namespace {

using json = nlohmann::ordered_json; // keeps the order of members

constexpr int max_depth = 100; // writing a text takes stack for each level

std::string dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

[[noreturn]] void refuse(const std::string& key, const std::string& why) {
    throw bad_input("key '" + key + "': " + why);
}

/// Parses one object, and refuses what a plain parse would let pass.
json parse_object(const std::string& text) {
    std::set<std::string> keys;
    std::string key;
    const auto check = [&](int depth, json::parse_event_t event, json& parsed) {
        if (depth > max_depth) {
            refuse(key, "nested more than " + std::to_string(max_depth) + " levels deep");
        }
        if (event == json::parse_event_t::key && depth == 1) {
            key = parsed.get<std::string>();
            if (!keys.insert(key).second) {
                refuse(key, "given twice");
            }
        }
        return true;
    };
    try {
        json object = json::parse(text, check);
        if (object.is_object()) {
            return object;
        }
    } catch (const json::out_of_range&) {
        refuse(key, "a number too large");
    } catch (const json::parse_error& failure) {
        throw bad_input("no JSON from byte " + std::to_string(failure.byte) + " on");
    }
    throw bad_input("no JSON object");
}

void assign(std::string& field, const json& value, const std::string& key) {
    const bool may_be_structured = key == "remark" || key == "group_info";
    if (value.is_string()) {
        field = value.get<std::string>();
    } else if (may_be_structured && value.is_structured()) {
        field = dump(value);
    } else {
        refuse(key, may_be_structured ? "must be a text, an object or an array" : "must be a text");
    }
}

template <typename Integer>
void assign(Integer& field, const json& value, const std::string& key) {
    using limits = std::numeric_limits<Integer>;
    const bool fits = value.is_number_unsigned() ? std::in_range<Integer>(value.get<uint64_t>())
                                                 : value.is_number_integer() &&
                                                       std::in_range<Integer>(value.get<int64_t>());
    if (!fits) {
        refuse(key, "must be a whole number from " + std::to_string(limits::min()) + " to " +
                        std::to_string(limits::max()));
    }
    field = value.get<Integer>();
}

} // namespace

std::string to_json(const db::UserRow& user_row, bool& is_utf8) {
    json object;
    db::for_each_user_column(
        [&](const auto& column) { object[column.name] = user_row.*column.field; });
    try {
        is_utf8 = true;
        return object.dump();
    } catch (const json::type_error&) {
        is_utf8 = false;
        return dump(object);
    }
}

db::UserRow from_json(const std::string& json_text) {
    if (json_text.find('\0') != std::string::npos) {
        throw bad_input("there is a NUL byte in the line"); // the parser would end there
    }
    const json object = parse_object(json_text);
    db::UserRow user_row;
    for (const auto& member : object.items()) {
        const std::string& key = member.key();
        bool known = false;
        db::for_each_user_column([&](const auto& column) {
            if (key == column.name) {
                assign(user_row.*column.field, member.value(), key);
                known = true;
            }
        });
        if (!known) {
            refuse(key, "unknown");
        }
    }
    if (!object.contains("user_id")) {
        refuse("user_id", "missing");
    }
    return user_row;
}

std::vector<std::string> member_texts(const std::string& json_text, const std::string& name) {
    std::vector<std::string> texts;
    bool wanted = false;
    const auto collect = [&](int /*depth*/, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::value && wanted && parsed.is_string()) {
            texts.push_back(parsed.get<std::string>());
        }
        wanted = event == json::parse_event_t::key && parsed == name;
        return true;
    };
    try {
        [[maybe_unused]] const json all = json::parse(json_text, collect);
    } catch (const json::exception&) {
        texts.clear();
    }
    return texts;
}

} // namespace userdb
