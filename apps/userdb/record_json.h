#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <string>
#include <vector>

namespace userdb {

/// The record as one JSON object without a newline. The keys are named as the fields. Control
/// characters and those that turn the direction of writing are escaped, so that a terminal does not
/// obey them. Bytes that are no UTF-8 become U+FFFD; `is_utf8` tells that there are none.
std::string to_json(const db::UserRow& user_row, bool& is_utf8);

/// The record that a JSON object holds. Fields without a key keep their defaults, or these kinds.
/// Objects and arrays in `remark` and `group_info`, and texts of such, become compact JSON texts,
/// in which fractions and numbers beyond 64 bits stay as they are written. Any other text stays as
/// it is. `data_type` may also be names of kinds: a text, or an array. Throws `bad_input`, which
/// names the key unless the text is no JSON.
db::UserRow from_json(const std::string& json_text, uint32_t kinds = 0);

/// Whether a remark is empty, or JSON that may have names in it.
bool is_readable(const std::string& remark);

/// A remark from what somebody typed. A JSON object becomes compact. Another text becomes the
/// remark name of a new object, and an empty text an empty remark. Throws `bad_input` if the text
/// begins with a brace and is no JSON object.
std::string remark_of(const std::string& text);

/// The texts of all members with this name, at any depth of a JSON text. None if it is no JSON.
std::vector<std::string> member_texts(const std::string& json_text, const std::string& name);

} // namespace userdb
