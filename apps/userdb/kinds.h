#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <cstdint>
#include <string>
#include <vector>

namespace userdb {

/// The names of the kinds of user in a mask of `db::UserDataType`. Without a mask, of all kinds.
std::vector<std::string> kind_names(uint32_t mask = UINT32_MAX);

/// The mask for a number in decimal, or for names of kinds joined by commas: "contact,user". Throws
/// `bad_input` for anything else.
uint32_t kinds_from(const std::string& text);

} // namespace userdb
