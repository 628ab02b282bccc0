#pragma once

#include "apps/userdb/failures.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace userdb {

/// A user as the command line names it.
struct user_key {
    std::string user_id;
    uint32_t source = 0;

    [[nodiscard]] std::string text() const { return user_id + ":" + std::to_string(source); }
    /// The key by which the store finds the user.
    [[nodiscard]] std::string stored_key() const {
        return user_id + ":" + std::to_string(static_cast<int32_t>(source));
    }
};

/// What a command line can say. Each command uses what it needs.
struct arguments {
    std::string database;          ///< the file
    std::string key;               ///< of an encrypted file; empty for others
    std::string file;              ///< of JSON lines, "-" for standard input; or for a copy
    std::string policy{"replace"}; ///< or "ignore" or "fail", for users stored already
    std::string key_word;
    bool ignores_diacritics = false; ///< of the search for the keyword
    bool is_literal = false;         ///< the keyword is no expression
    std::vector<user_key> users;     ///< a single one for `set_field`
    std::string field;               ///< "star", "attention", "remark" or "data-type"
    std::string value;               ///< for the field
    uint32_t kinds = 0;              ///< prints only users of these: a mask, 0 for any kind; an
                                     ///< import gives them to users whose lines have none
    std::optional<uint32_t> source;  ///< prints only users of this one
    size_t limit = std::numeric_limits<size_t>::max(); ///< of users printed, at least 1
    bool json = false;                                 ///< prints JSON lines, not a table
    bool wide = false;                                 ///< cuts nothing in a table
};

/// A command throws `failure` or `sqlite::error` if it cannot do its work.
using command = status (*)(const arguments& given);

/// Stores all records of a file, or none of them.
status import_contacts(const arguments& given);
/// Prints every user as a JSON line.
status export_users(const arguments& given);
/// Prints the contacts that a keyword finds.
status search_contacts(const arguments& given);
status list_users(const arguments& given);
/// Prints the number of users that `list_users` prints without a limit.
status count_users(const arguments& given);
/// Prints those of several users that are stored, and reports the others.
status get_users(const arguments& given);
/// Rewrites the stored records of the users in a file, all of them or none. Reports the users that
/// are not stored.
status update_users(const arguments& given);
/// Makes the indexes of the store.
status create_index(const arguments& given);
/// Changes one field of a user. The value is 0 or 1 for star and attention. See `remark_of` for
/// remark and `kinds_from` for data-type.
status set_field(const arguments& given);
/// Copies the database, which may be in use, into a file that must not exist. If that fails, the
/// file is deleted.
status back_up(const arguments& given);
/// Deletes all of several users that are stored, and reports the others.
status delete_users(const arguments& given);

} // namespace userdb
