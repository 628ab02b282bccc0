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

/// The record as one JSON object without a newline, keys named as the fields. Bytes that are no
/// UTF-8 become U+FFFD; `is_utf8` tells that there were none.
std::string to_json(const db::UserRow& user_row, bool& is_utf8);

/// The record that a JSON object holds; missing keys keep their defaults. `remark` and `group_info`
/// may be objects or arrays, which become compact JSON texts, whole numbers beyond 64 bits and
/// fractions rounded to doubles. Throws `bad_input`, which names the key unless the text is no
/// JSON.
db::UserRow from_json(const std::string& json);

/// The texts of all members with this name in a JSON text, at any depth; none if it is no JSON.
std::vector<std::string> member_texts(const std::string& json, const std::string& name);

} // namespace userdb
