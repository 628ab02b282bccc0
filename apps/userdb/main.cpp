#include "apps/userdb/commands.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/record_json.h"
#include "apps/userdb/table.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

uint32_t source_of(const std::string& text) {
    uint32_t source = 0;
    const char* end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, source);
    if (failure != std::errc() || stop != end) {
        throw userdb::bad_input("the source '" + text +
                                "' must be a whole number from 0 to 4294967295");
    }
    return source;
}

/// What the command line said.
struct arguments {
    userdb::options common;
    std::string input;
    std::string policy = "replace";
    std::string key_word;
    std::string field;
    std::string value;
    std::string user_id;
    std::string source;
    std::optional<std::string> only_source;
    std::vector<std::string> users;
    std::vector<std::string> types;

    [[nodiscard]] uint32_t data_type() const {
        uint32_t mask = 0;
        for (const std::string& type : types) {
            mask |= userdb::data_type_of(type);
        }
        return mask;
    }
    [[nodiscard]] userdb::user_key key() const { return {user_id, source_of(source)}; }
};

const std::map<std::string, userdb::on_conflict> policies{
    {"replace", userdb::on_conflict::replace},
    {"ignore", userdb::on_conflict::ignore},
    {"fail", userdb::on_conflict::fail},
};

/// Two arguments without a colon in the second are one user, else each is one.
userdb::status get(const arguments& args) {
    const std::vector<std::string>& users = args.users;
    if (users.size() == 2 && users[1].find(':') == std::string::npos) {
        return userdb::get(args.common, {users[0], source_of(users[1])}, args.data_type());
    }
    if (!args.types.empty()) {
        throw userdb::bad_input("--type goes with one USER_ID SOURCE");
    }
    std::vector<userdb::user_key> keys;
    for (const std::string& user : users) {
        const size_t colon = user.rfind(':');
        if (colon == std::string::npos) {
            throw userdb::bad_input("'" + user + "' must be USER_ID:SOURCE");
        }
        keys.push_back({user.substr(0, colon), source_of(user.substr(colon + 1))});
    }
    return userdb::get_all_of(args.common, keys);
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
    app.add_option("--db", args.common.database,
                   "The SQLite file that holds the table users (required)")
        ->option_text("FILE")
        ->required();
    app.footer("Environment:\n"
               "  NO_COLOR  If not empty, the head of a table is not bold on a terminal\n"
               "\n"
               "Exit status:\n"
               "  0  Done\n"
               "  1  Nothing found\n"
               "  2  Bad usage or bad input\n"
               "  3  The database cannot be opened or used\n"
               "  4  Done, but standard output cannot be written");

    const auto add = [&](const char* name, const char* what, command run) {
        CLI::App* sub = app.add_subcommand(name, what);
        sub->callback([&chosen, run = std::move(run)] { chosen = run; });
        return sub;
    };
    const auto add_json = [&](CLI::App* sub) {
        sub->add_flag("--json", args.common.json,
                      "Print one JSON object a line, as import takes it, not a table");
    };
    const auto add_type = [&](CLI::App* sub) {
        sub->add_option("--type", args.types, "Only users of this kind; repeated, of any of them")
            ->option_text("user|contact|public-account")
            ->check(CLI::IsMember({"user", "contact", "public-account"}))
            ->allow_extra_args(false);
    };
    const auto add_key = [&](CLI::App* sub) {
        sub->add_option("USER_ID", args.user_id, "Put -- before one that begins with -")
            ->required();
        sub->add_option("SOURCE", args.source, "The numeric source of the user id")->required();
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
        ->add_option("--on-conflict", args.policy,
                     "What to do about a user that is stored already: replace the record, ignore "
                     "the line, or store nothing of the file; replace if not given")
        ->option_text("replace|ignore|fail")
        ->check(CLI::IsMember(policies));

    add("export", "Print every user as one JSON object a line, as import takes it",
        [&] { return userdb::export_users(args.common); });

    CLI::App* search = add("search", "Find contacts by name, remark name or group nick name",
                           [&] { return userdb::search(args.common, args.key_word); });
    search->add_option("KEYWORD", args.key_word, "A POSIX extended regular expression")->required();
    add_json(search);

    CLI::App* list = add("list", "List users", [&] {
        const auto source =
            args.only_source ? std::optional(source_of(*args.only_source)) : std::nullopt;
        return userdb::list(args.common, args.data_type(), source);
    });
    add_type(list);
    list->add_option("--source", args.only_source, "Only users of this source")
        ->option_text("SOURCE");
    add_json(list);

    CLI::App* get_users = add("get", "Print one user, or many and say which are not stored",
                              [&] { return get(args); });
    get_users
        ->add_option(
            "USER", args.users,
            "USER_ID SOURCE, or any number of USER_ID:SOURCE; put -- before one that begins with -")
        ->option_text("...")
        ->required();
    add_type(get_users);
    add_json(get_users);

    add_input(add("update",
                  "Rewrite the stored record of each user in a file, but for device_id and "
                  "is_anonymous: the whole file, or nothing if a line is bad. Each line reads the "
                  "whole table unless the database has the index that the command index makes: "
                  "make it first for more than some hundred lines",
                  [&] { return userdb::update(args.common, args.input); }));

    add("index",
        "Make an index by which update and set find their users at once; import gets slower and "
        "the "
        "file larger",
        [&] { return userdb::create_index(args.common); });

    CLI::App* set = add("set", "Change one field of one user and raise user_version by 1", [&] {
        return userdb::set(args.common, args.field, args.key(), args.value);
    });
    set->add_option("FIELD", args.field, "What to change")
        ->option_text("star|attention|remark|data-type")
        ->required()
        ->check(CLI::IsMember({"star", "attention", "remark", "data-type"}));
    add_key(set);
    set->add_option("VALUE", args.value,
                    "0 or 1 for star and attention, a text for remark, a number or kinds joined by "
                    "commas (contact,user) for data-type")
        ->required();

    add_key(
        add("delete", "Delete one user", [&] { return userdb::remove(args.common, args.key()); }));
}

userdb::status run(const command& chosen, const arguments& args) {
    try {
        const userdb::status status = chosen();
        if (!std::cout.flush()) {
            std::cerr << "userdb: done, but cannot write standard output\n";
            return userdb::status::done_untold;
        }
        return status;
    } catch (const userdb::interrupted& interruption) {
        std::cerr << "userdb: interrupted, nothing was stored\n";
        std::raise(interruption.signal()); // ends the process, and tells the shell why
        return userdb::status::bad_input;
    } catch (const userdb::bad_input& failure) {
        std::cerr << "userdb: " << userdb::printable_text(failure.what()) << '\n';
        return userdb::status::bad_input;
    } catch (const std::exception& failure) {
        std::cerr << "userdb: "
                  << userdb::printable_text(args.common.database + ": " + failure.what()) << '\n';
        return userdb::status::database_failed;
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::signal(SIGPIPE, SIG_DFL); // a reader that has enough ends the program quietly
    CLI::App app("Look into the table users of a messaging client's database.", "userdb");
    arguments args;
    command chosen;
    describe(app, args, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& failure) {
        return app.exit(failure) == 0 ? 0 : static_cast<int>(userdb::status::bad_input);
    }
    return static_cast<int>(run(chosen, args));
} catch (const std::exception& failure) {
    std::cerr << "userdb: " << failure.what() << '\n';
    return static_cast<int>(userdb::status::bad_input);
}
