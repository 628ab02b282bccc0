#pragma once

#include <cstdint>
#include <string>

namespace userdb {

/// The names of the kinds of user that a mask of `db::UserDataType` holds: "contact, user".
std::string kinds_in(uint32_t data_type);

/// The mask for a number in decimal or for names of kinds joined by commas: "contact,user". Throws
/// `bad_input` for anything else.
uint32_t data_type_of(const std::string& text);

} // namespace userdb
