#include "apps/userdb/command_line.h"

#include "apps/userdb/kinds.h"
#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace userdb {

namespace {

using texts = std::vector<std::string>;

uint32_t number_of(const std::string& what, const std::string& text, uint32_t least) {
    const std::optional<uint32_t> number = whole_number<uint32_t>(text);
    if (!number || *number < least) {
        throw bad_input("the " + what + " '" + text + "' " + must_be_whole_number(least));
    }
    return *number;
}

/// Two words are one user if the second has no colon. Otherwise each word is a user.
std::vector<user_key> users_of(const texts& words) {
    if (words.size() == 2 && words[1].find(':') == std::string::npos) {
        return {{words[0], number_of("source", words[1], 0)}};
    }
    std::vector<user_key> keys;
    for (const std::string& word : words) {
        const size_t colon = word.rfind(':');
        if (colon == std::string::npos) {
            throw bad_input("the user '" + word + "' must be USER_ID:SOURCE");
        }
        keys.push_back({word.substr(0, colon), number_of("source", word.substr(colon + 1), 0)});
    }
    return keys;
}

// Each of these adds to a command what it can be given.

using adder = std::function<void(CLI::App& to, arguments& given)>;

adder text(const char* name, std::string arguments::*field, const char* what,
           const texts& choices = {}) {
    return [=](CLI::App& to, arguments& given) {
        CLI::Option* option = to.add_option(name, given.*field, what)->required(name[0] != '-');
        if (!choices.empty()) {
            option->option_text(joined(choices, "|"))->check(CLI::IsMember(choices));
        }
    };
}

adder flag(const char* name, bool arguments::*field, const char* what) {
    return [=](CLI::App& to, arguments& given) { to.add_flag(name, given.*field, what); };
}

template <typename Number>
adder number(const char* name, Number arguments::*field, uint32_t least, const char* what) {
    return [=](CLI::App& to, arguments& given) {
        const auto take = [&number = given.*field, name, least](const std::string& text) {
            number = number_of(name + 2, text, least);
        };
        to.add_option_function<std::string>(name, take, what)->option_text("N");
    };
}

adder kinds(const char* what) {
    return [=](CLI::App& to, arguments& given) {
        to.add_option_function<texts>(
              "--type",
              [&given](const texts& names) { given.kinds = kinds_from(joined(names, ",")); },
              what + std::string(", or of several if it is repeated"))
            ->allow_extra_args(false)
            ->option_text(joined(kind_names(), "|"))
            ->check(CLI::IsMember(kind_names()));
    };
}

/// Words that name users, in front of a value if there is one.
adder words(const char* behind, bool has_value) {
    return [=](CLI::App& to, arguments& given) {
        const auto take = [&given, has_value](texts words) {
            if (has_value) {
                given.value = words.back();
                words.pop_back();
            }
            given.users = users_of(words);
        };
        constexpr int any_number = 1 << 20; // for which the library takes "[a,b]" for one word
        to.add_option_function<texts>("USER", take,
                                      "USER_ID:SOURCE, or the two as words; write -- before a user "
                                      "id that begins with -")
            ->option_text(behind)
            ->required()
            ->expected(any_number)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    };
}

const adder contacts =
    text("CONTACTS.jsonl", &arguments::file,
         "A file with one JSON object in each line, or - for standard input. Only user_id must be "
         "there; the manual page lists the other keys");
const adder policy =
    text("--on-conflict", &arguments::policy,
         "What to do if a user is stored already: replace the whole row, which is the default; "
         "ignore the line; or fail, and store nothing",
         {"replace", "ignore", "fail"});
const adder only_kinds = kinds("Only users of this kind");
const adder source =
    number("--source", &arguments::source, 0, "Only users of this source, a number");
const adder limit = number("--limit", &arguments::limit, 1, "Only the first N users");
const adder json = flag("--json", &arguments::json,
                        "Print each user as one line of JSON, as import reads it, not as a table");
const adder wide = flag("--wide", &arguments::wide,
                        "Print long texts whole. Otherwise they are cut to fit the terminal, or at "
                        "40 columns if there is none");
const adder users = words("...", false);

struct description {
    const char* name;
    std::string what;
    command run;
    std::vector<adder> takes;
};

const std::vector<description> all_commands{
    {"import",
     "Store the users in a file. If a line is bad, none is stored",
     import_contacts,
     {contacts, policy, kinds("Users whose lines have no data_type are of this kind")}},
    {"export", "Print every user as one line of JSON, as import reads it", export_users, {}},
    {"search",
     "Find contacts by name, remark name or group nick name",
     search_contacts,
     {text("KEYWORD", &arguments::key_word, "A POSIX extended regular expression"),
      flag("--ignore-diacritics", &arguments::ignores_diacritics,
           "Let zoe find Zoë, and lukasz Łukasz, in Latin, Greek and Cyrillic letters"),
      flag("--literal", &arguments::is_literal, "The keyword is a text, not an expression"), limit,
      json, wide}},
    {"list", "List users", list_users, {only_kinds, source, limit, json, wide}},
    {"get",
     "Print users, and say which of them are not stored",
     get_users,
     {users, only_kinds, json, wide}},
    {"count", "Print the number of users", count_users, {only_kinds, source}},
    {"update",
     "Rewrite the stored records of the users in a file, except for device_id and is_anonymous. If "
     "a line is bad, no record is changed. For more than some hundred lines, make an index first, "
     "by the command index: without it each line reads the whole table",
     update_users,
     {contacts}},
    {"index",
     "Make the indexes by which update and set find a user at once, and search reads the contacts "
     "alone. They make import slower, and the file larger",
     create_index,
     {}},
    {"set",
     "Change one field of one user, and add 1 to its user_version. VALUE is 0 or 1 for star and "
     "attention. For data-type it is a number, the sum of kinds, or kinds joined by commas: "
     "contact (2), public-account (4), user (1). For remark it is the whole remark: a JSON object, "
     "the remark name for a new one, or an empty text for none",
     set_field,
     {text("FIELD", &arguments::field, "The field to change",
           {"star", "attention", "remark", "data-type"}),
      words("VALUE", true)}},
    {"backup",
     "Copy the database, which may be in use. If that fails, the copy is deleted",
     back_up,
     {text("FILE", &arguments::file, "The copy, which must not exist yet")}},
    {"delete", "Delete users, and say which of them are not stored", delete_users, {users}},
};

/// Writes a usage that names the database, and the users as words.
class help_writer : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        return Formatter::make_usage(app, name + " [--db FILE]");
    }
    std::string make_option_usage(const CLI::Option* option) const override {
        const std::string& rest = option->get_option_text(); // of the words, or the choices
        const bool is_shown = !rest.empty() && rest.find('|') == std::string::npos;
        return option->get_name() + (is_shown ? ' ' + rest : "");
    }
};

#ifdef SQLITE_HAS_CODEC
std::string read_key(const std::string& file) {
    std::ifstream lines(file);
    std::string key;
    std::string more;
    if (!std::getline(lines, key) || key.empty() || std::getline(lines, more)) {
        throw bad_input("cannot read a key of one line in " + file);
    }
    return key;
}
#endif

void describe_program(CLI::App& app, arguments& given) {
    const auto help = std::make_shared<help_writer>();
    help->label("TEXT", ""); // the names say more
    help->label("REQUIRED", "");
    app.formatter(help);
    app.set_help_flag("");
    app.add_flag_callback(
        "-h,--help", [] { throw CLI::CallForAllHelp(); }, "Print this help and exit");
    app.set_version_flag("--version", "userdb " USERDB_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("-d,--db", given.database, "The SQLite file that holds the table users")
        ->option_text("FILE")
        ->envname("USERDB_DB");
#ifdef SQLITE_HAS_CODEC
    app.add_option_function<std::string>(
           "--key-file", [&given](const std::string& file) { given.key = read_key(file); },
           "The file with the passphrase of an encrypted database")
        ->option_text("FILE");
#endif
    app.footer("Environment:\n"
               "  USERDB_DB  The file, if --db is not given\n"
               "  NO_COLOR   If it is not empty, the head of a table is not bold on a terminal\n"
               "\n"
               "Exit status:\n"
               "  0  Done\n"
               "  1  Nothing found\n"
               "  2  Bad usage or bad input; nothing is changed\n"
               "  3  The database cannot be opened or used, or there is no memory\n"
               "  4  Done, but not all could be printed: standard output cannot be written, or "
               "JSON cannot hold a record as it is");
}

/// What is wrong with a command line.
std::string fault(const CLI::App& app, const CLI::ParseError& failure) {
    for (const std::string& word : app.remaining(true)) {
        if (word.starts_with('-')) {
            return "unknown option " + word;
        }
        if (app.get_subcommands().empty()) {
            return "'" + word + "' is no command";
        }
    }
    return failure.what();
}

} // namespace

command_line parse(int argc, const char* const* argv) {
    CLI::App app("Reads and changes the table users of a messaging client's database.", "userdb");
    command_line line;
    describe_program(app, line.given);
    for (const description& each : all_commands) {
        CLI::App* sub = app.add_subcommand(each.name, each.what);
        sub->callback([&line, &each] { line.run = each.run; });
        for (const adder& add : each.takes) {
            add(*sub, line.given);
        }
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& outcome) {
        if (outcome.get_exit_code() != 0) {
            throw bad_input(fault(app, outcome) + "; userdb --help tells more");
        }
        std::ostringstream help;
        app.exit(outcome, help);
        const size_t columns = terminal_columns();
        std::cout << wrapped(help.str(), columns > 0 ? columns : 80);
        line.run = [](const arguments&) { return status::done; };
        return line;
    }
    if (line.given.database.empty()) {
        throw bad_input("--db or USERDB_DB must name the database");
    }
    return line;
}

} // namespace userdb
