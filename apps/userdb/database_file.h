#pragma once

#include "base/base.shared/sqlite/database.h"

#include <memory>
#include <string>

namespace userdb {

/// Opens the file of a database. It must have a table `users` or a view of that name, except with
/// `read_write_create`: other commands never create the table, since the database could be one of
/// another program. If a program was interrupted while it wrote to the file, that is undone first,
/// also for a reader. A file that is encrypted needs its key.
std::shared_ptr<sqlite::database> open_database(const std::string& file, const std::string& key,
                                                sqlite::access_mode mode = sqlite::read_only);

/// SQLite's own words for a failure, without the SQL text that they are about.
std::string message_of(const sqlite::error& failure);

/// What a failure of the database in a file means to somebody at a command line.
std::string explained(const sqlite::error& failure, const std::string& file);

} // namespace userdb
