#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <ostream>
#include <string>
#include <vector>

namespace userdb {

/// The text with control characters and bytes that are no UTF-8 shown as U+FFFD.
std::string printable_text(const std::string& text);

/// Writes records as a table with aligned columns, for people, its head in bold if told so. Wide
/// characters count two columns; control characters and bytes that are no UTF-8 are shown as
/// U+FFFD, so that no text of a database reaches the terminal as a command.
void print_table(std::ostream& out, const std::vector<db::UserRow>& user_rows, bool bold_head);

} // namespace userdb
