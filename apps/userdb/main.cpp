#include "apps/userdb/commands.h"
#include "apps/userdb/help.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"
#include "apps/userdb/terminal.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t largest = std::numeric_limits<uint32_t>::max();

uint32_t number_of(const std::string& what, const std::string& text, uint32_t least) {
    uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || stop != end || number < least) {
        throw userdb::bad_input("the " + what + " '" + text + "' must be a whole number from " +
                                std::to_string(least) + " to " + std::to_string(largest));
    }
    return number;
}

uint32_t source_of(const std::string& text) {
    return number_of("source", text, 0);
}

/// Two words without a colon in the second are one user, else each is one.
std::vector<userdb::user_key> users_of(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[1].find(':') == std::string::npos) {
        return {{words[0], source_of(words[1])}};
    }
    std::vector<userdb::user_key> keys;
    for (const std::string& word : words) {
        const size_t colon = word.rfind(':');
        if (colon == std::string::npos) {
            throw userdb::bad_input("the user '" + word + "' must be USER_ID:SOURCE");
        }
        keys.push_back({word.substr(0, colon), source_of(word.substr(colon + 1))});
    }
    return keys;
}

userdb::user_key user_of(const std::vector<std::string>& words) {
    const std::vector<userdb::user_key> keys = users_of(words);
    if (keys.size() != 1) {
        throw userdb::bad_input("one user is needed, as USER_ID:SOURCE");
    }
    return keys.front();
}

/// What the command line said.
struct arguments {
    userdb::options common;
    std::string input;
    std::string policy = "replace";
    std::string key_word;
    std::string field;
    std::vector<std::string> words;
    std::optional<std::string> source;
    std::optional<std::string> limit;
    std::vector<std::string> types;

    [[nodiscard]] uint32_t data_type() const {
        uint32_t mask = 0;
        for (const std::string& type : types) {
            mask |= userdb::data_type_of(type);
        }
        return mask;
    }
    [[nodiscard]] userdb::filter filter() const {
        userdb::filter wanted{data_type(), std::nullopt};
        if (source) {
            wanted.source = source_of(*source);
        }
        return wanted;
    }
    [[nodiscard]] userdb::options options() const {
        userdb::options all = common;
        if (limit) {
            all.limit = number_of("limit", *limit, 1);
        }
        return all;
    }
    [[nodiscard]] userdb::status set() const {
        const std::vector<std::string> user(words.begin(), words.end() - 1);
        return userdb::set(common, field, user_of(user), words.back());
    }
};

const std::map<std::string, userdb::on_conflict> policies{
    {"replace", userdb::on_conflict::replace},
    {"ignore", userdb::on_conflict::ignore},
    {"fail", userdb::on_conflict::fail},
};

/// The library that parses the command line takes "[a,b]" for a list and "{}" for none. With a NUL
/// byte at its end, which no argument of a process has, such a word stays whole.
std::vector<std::string> guarded(int argc, char** argv) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        std::string& word = words.emplace_back(argv[i]);
        if (word.starts_with('[') || word.starts_with('{')) {
            word += '\0';
        }
    }
    return words;
}

std::string without_guard(const std::string& word) {
    return word.substr(0, word.find('\0'));
}

/// Tells of a failure on standard error, in a line that is not too long.
void complain(const std::string& what) {
    constexpr size_t longest = 500;
    const bool is_whole = what.size() <= longest;
    std::cerr << "userdb: " << userdb::printable_text(what.substr(0, longest))
              << (is_whole ? "\n" : "...\n");
}

using command = std::function<userdb::status()>;

/// Describes the command line; parsing it sets `chosen`.
void describe(CLI::App& app, arguments& args, command& chosen) {
    app.set_help_flag("");
    app.set_help_all_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "userdb " USERDB_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.get_formatter()->label("TEXT", ""); // the names say more
    app.get_formatter()->label("REQUIRED", "");
    app.add_option("-d,--db", args.common.database, "The SQLite file that holds the table users")
        ->option_text("FILE")
        ->envname("USERDB_DB");
    app.footer("Environment:\n"
               "  USERDB_DB  The file, where --db is not given\n"
               "  NO_COLOR   If not empty, the head of a table is not bold on a terminal\n"
               "\n"
               "Exit status:\n"
               "  0  Done\n"
               "  1  Nothing found\n"
               "  2  Bad usage or bad input; nothing is changed\n"
               "  3  The database cannot be opened or used, or there is no memory\n"
               "  4  Done, but standard output cannot be written");

    const auto add = [&](const char* name, const char* what, command run) {
        CLI::App* sub = app.add_subcommand(name, what);
        sub->callback([&chosen, run = std::move(run)] { chosen = run; });
        return sub;
    };
    const auto add_output = [&](CLI::App* sub) {
        sub->add_flag("--json", args.common.json,
                      "Print one JSON object a line, as import takes it, not a table");
        sub->add_flag(
            "--wide", args.common.wide,
            "Cut nothing that is too wide for the screen or, off a screen, for 40 columns");
    };
    const auto add_limit = [&](CLI::App* sub) {
        sub->add_option("--limit", args.limit, "Only the first so many users")->option_text("N");
    };
    const auto add_type = [&](CLI::App* sub) {
        sub->add_option("--type", args.types, "Only users of this kind; repeated, of any of them")
            ->option_text("user|contact|public-account")
            ->check(CLI::IsMember({"user", "contact", "public-account"}))
            ->allow_extra_args(false);
    };
    const auto add_filter = [&](CLI::App* sub) {
        add_type(sub);
        sub->add_option("--source", args.source, "Only users of this source")
            ->option_text("SOURCE");
    };
    const auto add_words = [&](CLI::App* sub, const char* rest, int least, int most) {
        sub->add_option("USER", args.words,
                        "USER_ID:SOURCE, or the two as words; put -- before one that begins with -")
            ->option_text(rest)
            ->required()
            ->expected(least, most);
    };
    const auto add_input = [&](CLI::App* sub) {
        sub->add_option("CONTACTS.jsonl", args.input,
                        "One JSON object a line, keys named as the fields of a record; - for "
                        "standard input. Only user_id must be there, other missing keys take their "
                        "defaults. remark and group_info may be JSON objects or arrays instead of "
                        "texts, up to 100 levels deep. local_user_id is formed anew")
            ->required();
    };

    CLI::App* import =
        add("import", "Store contacts: the whole file, or nothing if a line is bad", [&] {
            return userdb::import_contacts(args.common, args.input, policies.at(args.policy));
        });
    add_input(import);
    import
        ->add_option(
            "--on-conflict", args.policy,
            "What to do about a user that is stored already: replace the row, other columns "
            "than a record has too, ignore the line, or store nothing of the file; replace "
            "if not given")
        ->option_text("replace|ignore|fail")
        ->check(CLI::IsMember(policies));

    add("export", "Print every user as one JSON object a line, as import takes it",
        [&] { return userdb::export_users(args.common); });

    CLI::App* search = add("search", "Find contacts by name, remark name or group nick name",
                           [&] { return userdb::search(args.options(), args.key_word); });
    search->add_option("KEYWORD", args.key_word, "A POSIX extended regular expression")->required();
    add_limit(search);
    add_output(search);

    CLI::App* list =
        add("list", "List users", [&] { return userdb::list(args.options(), args.filter()); });
    add_filter(list);
    add_limit(list);
    add_output(list);

    CLI::App* get = add("get", "Print users, and say which are not stored", [&] {
        return userdb::get(args.common, users_of(args.words), args.data_type());
    });
    constexpr int any_number = -1;
    add_words(get, "...", 1, any_number);
    add_type(get);
    add_output(get);

    add_filter(add("count", "Print how many users there are",
                   [&] { return userdb::count(args.common, args.filter()); }));

    add_input(add("update",
                  "Rewrite the stored record of each user in a file, but for device_id and "
                  "is_anonymous: the whole file, or nothing if a line is bad. Each line reads the "
                  "whole table unless the database has the index that the command index makes: "
                  "make it first for more than some hundred lines",
                  [&] { return userdb::update(args.common, args.input); }));

    add("index",
        "Make an index by which update and set find their users at once; import gets slower, and "
        "the file larger",
        [&] { return userdb::create_index(args.common); });

    CLI::App* set =
        add("set",
            "Change one field of one user and raise user_version by 1. VALUE is 0 or 1 for "
            "star and attention; a number, or kinds joined by commas (contact,user), for "
            "data-type. For remark it is the whole remark: a JSON object, or another text, "
            "which becomes the remark name in a new one; empty for none",
            [&] { return args.set(); });
    set->add_option("FIELD", args.field, "What to change")
        ->option_text("star|attention|remark|data-type")
        ->required()
        ->check(CLI::IsMember({"star", "attention", "remark", "data-type"}));
    add_words(set, "VALUE", 2, 3);

    add_words(add("delete", "Delete one user",
                  [&] { return userdb::remove(args.common, user_of(args.words)); }),
              "", 1, 2);

    for (CLI::App* sub : app.get_subcommands({})) {
        for (CLI::Option* option : sub->get_options()) {
            option->transform(without_guard);
        }
    }
    for (CLI::Option* option : app.get_options()) {
        option->transform(without_guard);
    }
}

/// What is wrong with a command line that names no command.
std::string misspelt(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    const std::string meant = userdb::likeliest(word, names);
    return "'" + word + "' is no command; " +
           (meant.empty() ? "userdb --help lists them" : "did you mean '" + meant + "'?");
}

/// Helps, or throws what is wrong with the command line.
userdb::status answer(const CLI::App& app, const CLI::ParseError& failure) {
    if (failure.get_exit_code() == 0) {
        std::ostringstream help;
        app.exit(failure, help);
        std::cout << userdb::wrapped(help.str(), userdb::terminal_columns());
        return userdb::status::done;
    }
    const std::vector<std::string> rest = app.remaining();
    if (app.get_subcommands().empty() && !rest.empty() && !rest[0].starts_with('-')) {
        throw userdb::bad_input(misspelt(app, without_guard(rest[0])));
    }
    throw userdb::bad_input(without_guard(failure.what()) + "; userdb --help tells more");
}

/// Parses the command line and does what it says.
userdb::status run(int argc, char** argv) {
    CLI::App app("Look into the table users of a messaging client's database.", "userdb");
    arguments args;
    command chosen;
    describe(app, args, chosen);
    try {
        std::vector<std::string> words = guarded(argc, argv);
        std::reverse(words.begin(), words.end()); // as the library wants them
        app.parse(words);
    } catch (const CLI::ParseError& failure) {
        return answer(app, failure);
    }
    if (args.common.database.empty()) {
        throw userdb::bad_input("--db or USERDB_DB must name the database");
    }
    try {
        return chosen();
    } catch (const sqlite::error& failure) {
        complain(args.common.database + ": " + userdb::explained(failure));
        return userdb::status::database_failed;
    }
}

/// Keeps what we open from taking the place of a standard stream that is closed: it fails then in
/// the other direction.
void occupy_standard_streams() {
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(file, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::signal(SIGPIPE, SIG_DFL); // a reader that has enough ends the program quietly
    std::ios::sync_with_stdio(false);
    occupy_standard_streams();
    const userdb::status status = run(argc, argv);
    if (!std::cout.flush()) {
        throw userdb::untold("done");
    }
    return static_cast<int>(status);
} catch (const userdb::untold& done) {
    complain(std::string(done.what()) + ", but standard output cannot be written");
    return static_cast<int>(userdb::status::done_untold);
} catch (const userdb::interrupted& interruption) {
    complain("interrupted, nothing was changed");
    std::raise(interruption.signal()); // ends the process, and tells the shell why
} catch (const userdb::bad_input& failure) {
    complain(failure.what());
    return static_cast<int>(userdb::status::bad_input);
} catch (const std::bad_alloc&) {
    complain("out of memory");
    return static_cast<int>(userdb::status::database_failed);
} catch (const std::exception& failure) {
    complain(failure.what());
    return static_cast<int>(userdb::status::database_failed);
}
