#pragma once

#include "base/base.shared/sqlite/error.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace userdb {

/// The exit statuses of the program.
enum class status {
    done = 0,
    nothing_found = 1,
    bad_input = 2,
    database_failed = 3,
    done_untold = 4,
};

enum class on_conflict { replace, ignore, fail };

/// A user as the command line names it.
struct user_key {
    std::string user_id;
    uint32_t source = 0;

    [[nodiscard]] std::string text() const { return user_id + ":" + std::to_string(source); }
};

/// What all commands are given; each takes what concerns it.
struct options {
    std::string database;
    bool json = false; ///< records are printed as JSON lines, not as a table
    bool wide = false; ///< nothing in a table is cut
    size_t limit = std::numeric_limits<size_t>::max(); ///< of records printed, at least 1
};

/// Which users are listed.
struct filter {
    uint32_t data_type = 0;         ///< a mask of `db::UserDataType`, 0 for any
    std::optional<uint32_t> source; ///< none for any
};

/// What was done to the database though standard output could not be told.
class untold : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What a failure of the database means to somebody at a command line.
std::string explained(const sqlite::error& failure);

// The commands. Each throws `bad_input` or `sqlite::error` for what it cannot do.

/// Stores all records of a file of JSON lines, "-" for standard input, or none of them.
status import_contacts(const options& common, const std::string& file, on_conflict policy);
/// Prints every user as a JSON line.
status export_users(options common);
status search(const options& common, const std::string& key_word);
status list(const options& common, const filter& wanted);
/// Prints the number of users that `list` would print.
status count(const options& common, const filter& wanted);
/// Prints the stored ones among several users, of those kinds if the mask is not 0, and says which
/// are not there.
status get(const options& common, const std::vector<user_key>& keys, uint32_t data_type);
/// Rewrites the stored records of the users in a file, like the one `import_contacts` reads, all of
/// them or none, and says which users are not stored.
status update(const options& common, const std::string& file);
/// Makes the index that `update` and `set` find users by.
status create_index(const options& common);
/// Changes one of the fields star, attention (0 or 1), remark (see `remark_of`) and data-type (see
/// `data_type_of`).
status set(const options& common, const std::string& field, const user_key& key,
           const std::string& value);
status remove(const options& common, const user_key& key);

} // namespace userdb
