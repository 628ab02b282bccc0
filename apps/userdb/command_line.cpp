#include "apps/userdb/command_line.h"

#include "apps/userdb/kinds.h"
#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
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

uint32_t source_of(const std::string& text) {
    return number_of("source", text, 0);
}

/// Two words are one user if the second has no colon. Otherwise each word is a user.
std::vector<user_key> users_of(const texts& words) {
    if (words.size() == 2 && words[1].find(':') == std::string::npos) {
        return {{words[0], source_of(words[1])}};
    }
    std::vector<user_key> keys;
    for (const std::string& word : words) {
        const size_t colon = word.rfind(':');
        if (colon == std::string::npos) {
            throw bad_input("the user '" + word + "' must be USER_ID:SOURCE");
        }
        keys.push_back({word.substr(0, colon), source_of(word.substr(colon + 1))});
    }
    return keys;
}

std::vector<user_key> one_user_of(const texts& words) {
    std::vector<user_key> keys = users_of(words);
    if (keys.size() != 1) {
        throw bad_input("one user is needed, as USER_ID:SOURCE");
    }
    return keys;
}

/// The library that parses the command line takes "[a,b]" for a list and "{}" for none. It leaves
/// such a word whole if a NUL byte is at its end, which no argument of a process can have.
std::string guarded(const std::string& word) {
    const bool looks_like_list = word.starts_with('[') || word.starts_with('{');
    return looks_like_list ? word + '\0' : word;
}

std::string without_guard(const std::string& word) {
    return word.substr(0, word.find('\0'));
}

// Each of these functions adds to a command what it can be given.

void require_one_of(const texts& choices, CLI::Option* option) {
    option->option_text(joined(choices, "|"))->check(CLI::IsMember(choices));
}

void add_contacts(CLI::App& to, arguments& given) {
    to.add_option("CONTACTS.jsonl", given.file,
                  "A file with one JSON object in each line, or - for standard input. The manual "
                  "page lists the keys. Only user_id must be there; other missing keys get their "
                  "defaults. remark and group_info may be JSON objects or arrays instead of texts, "
                  "up to 100 levels deep, and data_type names of kinds. local_user_id is ignored")
        ->required();
}

void add_copy(CLI::App& to, arguments& given) {
    to.add_option("FILE", given.file, "The copy, which must not exist yet")->required();
}

void add_policy(CLI::App& to, arguments& given) {
    CLI::Option* policy = to.add_option(
        "--on-conflict", given.policy,
        "What to do if a user is stored already: replace the whole row, even the columns that a "
        "record does not have; ignore the line; or fail, and store nothing. The default is "
        "replace");
    require_one_of({"replace", "ignore", "fail"}, policy);
}

void add_key_word(CLI::App& to, arguments& given) {
    to.add_option("KEYWORD", given.key_word, "A POSIX extended regular expression")->required();
    to.add_flag("--ignore-diacritics", given.ignores_diacritics,
                "Let zoe find Zoë, and lukasz Łukasz, in Latin, Greek and Cyrillic letters");
    to.add_flag("--literal", given.is_literal, "The keyword is a text, not an expression");
}

void add_words(CLI::App& to, const char* rest, int least, int most,
               const std::function<void(const texts& words)>& take) {
    to.add_option_function("USER", take,
                           "USER_ID:SOURCE, or the two as words; write -- before a user id that "
                           "begins with -")
        ->option_text(rest)
        ->required()
        ->expected(least, most);
}

void add_users(CLI::App& to, arguments& given) {
    constexpr int any_number = -1;
    add_words(to, "...", 1, any_number,
              [&given](const texts& words) { given.users = users_of(words); });
}

void add_field_and_value(CLI::App& to, arguments& given) {
    CLI::Option* field = to.add_option("FIELD", given.field, "The field to change")->required();
    require_one_of({"star", "attention", "remark", "data-type"}, field);
    add_words(to, "VALUE", 2, 3, [&given](const texts& words) {
        given.users = one_user_of({words.begin(), words.end() - 1});
        given.value = words.back();
    });
}

void add_type(CLI::App& to, arguments& given) {
    const char* what = to.get_name() == "import"
                           ? "Users whose lines have no data_type are of this kind"
                           : "Only users of this kind";
    CLI::Option* type = to.add_option_function<texts>(
        "--type", [&given](const texts& names) { given.kinds = kinds_from(joined(names, ",")); },
        what + std::string(", or of several if it is repeated"));
    require_one_of(kind_names(), type->allow_extra_args(false));
}

void add_source(CLI::App& to, arguments& given) {
    to.add_option_function<std::string>(
          "--source", [&given](const std::string& text) { given.source = source_of(text); },
          "Only users of this source")
        ->option_text("SOURCE");
}

void add_limit(CLI::App& to, arguments& given) {
    to.add_option_function<std::string>(
          "--limit",
          [&given](const std::string& text) { given.limit = number_of("limit", text, 1); },
          "Only the first N users")
        ->option_text("N");
}

void add_style(CLI::App& to, arguments& given) {
    to.add_flag("--json", given.json,
                "Print each user as one line of JSON, as import reads it, instead of a table");
    to.add_flag(
        "--wide", given.wide,
        "Print long texts whole. Otherwise they are cut to fit the terminal, or at 40 columns "
        "if there is none");
}

struct description {
    const char* name;
    std::string what;
    command run;
    std::vector<void (*)(CLI::App& to, arguments& given)> takes;
};

const std::vector<description> all_commands{
    {"import",
     "Store the users in a file. If a line is bad, none is stored",
     import_contacts,
     {add_contacts, add_policy, add_type}},
    {"export", "Print every user as one line of JSON, as import reads it", export_users, {}},
    {"search",
     "Find contacts by name, remark name or group nick name",
     search_contacts,
     {add_key_word, add_limit, add_style}},
    {"list", "List users", list_users, {add_type, add_source, add_limit, add_style}},
    {"get",
     "Print users, and say which of them are not stored",
     get_users,
     {add_users, add_type, add_style}},
    {"count", "Print the number of users", count_users, {add_type, add_source}},
    {"update",
     "Rewrite the stored records of the users in a file, except for device_id and is_anonymous. If "
     "a line is bad, no record is changed. For more than some hundred lines, make an index first, "
     "by the command index: without it each line reads the whole table",
     update_users,
     {add_contacts}},
    {"index",
     "Make the indexes by which update and set find a user at once, and search reads the contacts "
     "alone. They make import slower, and the file larger",
     create_index,
     {}},
    {"set",
     "Change one field of one user, and add 1 to its user_version. VALUE is 0 or 1 for star and "
     "attention. For data-type it is a number, the sum of kinds, or kinds joined by commas: "
     "contact "
     "(2), public-account (4), user (1). For remark it is the whole remark: a JSON object, the "
     "remark name for a new one, or an "
     "empty text for none",
     set_field,
     {add_field_and_value}},
    {"backup",
     "Copy the database, which may be in use. If that fails, the copy is deleted",
     back_up,
     {add_copy}},
    {"delete", "Delete users, and say which of them are not stored", delete_users, {add_users}},
};

/// Writes a usage that names the database, and the users as words.
class help_writer : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        if (app->get_parent() == nullptr) {
            return "Usage: " + name + " [--db FILE] COMMAND [ARGUMENT]...\n";
        }
        std::string usage = "Usage: userdb [--db FILE] " + app->get_name() + " [OPTION]...";
        for (const CLI::Option* option : app->get_options()) {
            const std::string rest = make_option_opts(option);
            if (option->get_positional()) {
                usage +=
                    ' ' + option->get_name() + (rest.find('|') == std::string::npos ? rest : "");
                usage.erase(usage.find_last_not_of(' ') + 1);
            }
        }
        return usage + '\n';
    }
};

void describe_program(CLI::App& app, arguments& given) {
    app.formatter(std::make_shared<help_writer>());
    app.set_help_flag("");
    app.add_flag_callback(
        "-h,--help", [] { throw CLI::CallForAllHelp(); }, "Print this help and exit");
    app.set_version_flag("--version", "userdb " USERDB_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.get_formatter()->label("TEXT", ""); // the names say more
    app.get_formatter()->label("REQUIRED", "");
    app.add_option("-d,--db", given.database, "The SQLite file that holds the table users")
        ->option_text("FILE")
        ->envname("USERDB_DB")
        ->transform(without_guard);
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
               "JSON cannot hold "
               "a record as it is");
}

/// Lets parsing fill in the command line.
void describe(CLI::App& app, command_line& line) {
    describe_program(app, line.given);
    for (const description& each : all_commands) {
        CLI::App* sub = app.add_subcommand(each.name, each.what);
        sub->callback([&line, &each] { line.run = each.run; });
        for (const auto& add : each.takes) {
            add(*sub, line.given);
        }
        for (CLI::Option* option : sub->get_options()) {
            option->transform(without_guard);
        }
    }
}

/// What is wrong with a command line.
std::string fault(const CLI::App& app, const CLI::ParseError& failure) {
    const texts rest = app.remaining(true);
    const auto option = std::find_if(rest.begin(), rest.end(),
                                     [](const auto& word) { return word.starts_with('-'); });
    std::string what = without_guard(failure.what());
    if (dynamic_cast<const CLI::ExtrasError*>(&failure) != nullptr && option != rest.end()) {
        what = "unknown option " + *option;
    } else if (app.get_subcommands().empty() && !rest.empty()) {
        what = "'" + without_guard(rest[0]) + "' is no command";
    }
    return what + "; userdb --help tells more";
}

} // namespace

command_line parse(int argc, const char* const* argv) {
    CLI::App app("Reads and changes the table users of a messaging client's database.", "userdb");
    command_line line;
    describe(app, line);
    try {
        texts words;
        for (int i = argc - 1; i > 0; --i) { // the library wants the last word first
            words.push_back(guarded(argv[i]));
        }
        app.parse(words);
    } catch (const CLI::ParseError& outcome) {
        if (outcome.get_exit_code() != 0) {
            throw bad_input(fault(app, outcome));
        }
        std::ostringstream help;
        app.exit(outcome, help);
        const size_t columns = terminal_columns();
        line.run = [text = wrapped(help.str(), columns > 0 ? columns : 80)](const arguments&) {
            std::cout << text;
            return status::done;
        };
        return line;
    }
    if (line.given.database.empty()) {
        throw bad_input("--db or USERDB_DB must name the database");
    }
    return line;
}

} // namespace userdb
