#pragma once

#include <cstdint>
#include <optional>
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

/// What all commands are given.
struct options {
    std::string database;
    bool json = false;
};

// The commands. Each throws `bad_input` or `sqlite::error` for what it cannot do.

/// Stores all records of a file of JSON lines, "-" for standard input, or none of them.
status import_contacts(const options& common, const std::string& file, on_conflict policy);
status search(const options& common, const std::string& key_word);
/// `data_type` is a mask of `db::UserDataType`, 0 for any; no `source` means any as well.
status list(const options& common, uint32_t data_type, std::optional<uint32_t> source);
status get(const options& common, const user_key& key, uint32_t data_type);
/// Prints the stored ones among several users, and says which are not stored.
status get_all_of(const options& common, const std::vector<user_key>& keys);
/// Prints every user as a JSON line.
status export_users(const options& common);
/// Rewrites the stored records of the users in a file, like the one `import_contacts` reads, all of
/// them or none, and says which users are not stored.
status update(const options& common, const std::string& file);
/// Makes the index that `update` and `set` find users by.
status create_index(const options& common);
/// Changes one of the fields star, attention (0 or 1), remark and data-type (see `data_type_of`).
status set(const options& common, const std::string& field, const user_key& key,
           const std::string& value);
status remove(const options& common, const user_key& key);

} // namespace userdb
