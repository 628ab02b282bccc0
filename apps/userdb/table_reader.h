#pragma once

#include "base/base.shared/sqlite/database.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace userdb {

/// The number that a query without parameters answers.
int64_t number(sqlite::database& connection, const std::string& sql);

/// The name of a number that each row has, later rows a higher one. "0" for a view, and for a table
/// that has no such number.
std::string row_number(sqlite::database& connection);

/// Is called with one user after the other until it returns false. `unfit` names the columns whose
/// values the record cannot hold, so that it has others.
using visitor = std::function<bool(db::UserRow& user_row, const std::string& unfit)>;

/// Visits all users for whom a condition of SQL holds, or all if it is empty. What we did not write
/// ourselves may hold values of any kind, and the file may be damaged: then this reports the rows
/// that cannot be read, and goes on behind them. Returns the last failure. `unfit` stays empty
/// unless it is asked for, since it takes a tenth of the time.
std::optional<sqlite::error> visit_users(sqlite::database& connection, const std::string& condition,
                                         bool finds_unfit, const visitor& visit);

} // namespace userdb
