#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace userdb {

/// Input that cannot be taken; the text says which and why, for people.
class bad_input : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The record as one JSON object without a newline, keys named as the fields. Control characters
/// and those that turn the direction of writing are escaped, so that a terminal does not obey them.
/// Bytes that are no UTF-8 become U+FFFD; `is_utf8` tells that there were none.
std::string to_json(const db::UserRow& user_row, bool& is_utf8);

/// The record that a JSON object holds; missing keys keep their defaults. `remark` and `group_info`
/// may be objects or arrays, which become compact JSON texts, fractions and numbers beyond 64 bits
/// as they are written. Throws `bad_input`, which names the key unless the text is no JSON.
db::UserRow from_json(const std::string& json_text);

/// A remark for what somebody typed: a JSON object becomes compact, any other text becomes the
/// remark name of a new one, and no text is no remark. Throws `bad_input` for what begins with a
/// brace and is no JSON object.
std::string remark_of(const std::string& text);

/// The texts of all members with this name in a JSON text, at any depth; none if it is no JSON.
std::vector<std::string> member_texts(const std::string& json_text, const std::string& name);

} // namespace userdb
