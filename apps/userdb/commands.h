#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace userdb {

/// The exit statuses of the program.
enum class status { done = 0, nothing_found = 1, bad_input = 2, database_failed = 3 };

enum class on_conflict { replace, ignore, fail };

/// A user as the command line names it.
struct user_key {
    std::string user_id;
    uint32_t source = 0;
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
status remove(const options& common, const user_key& key);

} // namespace userdb
