#include "apps/userdb/commands.h"
#include "apps/userdb/record_json.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

const std::map<std::string, uint32_t> kinds{
    {"user", static_cast<uint32_t>(db::UserDataType::USERDATA_USER)},
    {"contact", static_cast<uint32_t>(db::UserDataType::USERDATA_CONTACT)},
    {"public-account", static_cast<uint32_t>(db::UserDataType::USERDATA_PUBLIC_ACCOUNT)},
};

const std::map<std::string, userdb::on_conflict> policies{
    {"replace", userdb::on_conflict::replace},
    {"ignore", userdb::on_conflict::ignore},
    {"fail", userdb::on_conflict::fail},
};

/// What the command line said.
struct arguments {
    userdb::options common;
    std::string input;
    std::string policy = "replace";
    std::string key_word;
    userdb::user_key key;
    std::vector<std::string> types;
    std::optional<uint32_t> source;

    [[nodiscard]] uint32_t data_type() const {
        uint32_t mask = 0;
        for (const std::string& type : types) {
            mask |= kinds.at(type);
        }
        return mask;
    }
};

using command = std::function<userdb::status()>;

/// Describes the command line; parsing it sets `chosen`.
void describe(CLI::App& app, arguments& args, command& chosen) {
    app.set_help_flag("");
    app.set_help_all_flag("-h,--help", "Print this help and exit");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--db", args.common.database, "The SQLite file that holds the table users")
        ->required();
    app.footer("Exit status: 0 done, 1 nothing found, 2 bad usage or bad input,\n"
               "3 the database cannot be opened or used.");

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
            ->check(CLI::IsMember(kinds))
            ->allow_extra_args(false);
    };
    const auto add_key = [&](CLI::App* sub) {
        sub->add_option("USER_ID", args.key.user_id)->required();
        sub->add_option("SOURCE", args.key.source, "The numeric source of the user id")->required();
    };

    CLI::App* import =
        add("import", "Store contacts: the whole file, or nothing if a line is bad", [&] {
            return userdb::import_contacts(args.common, args.input, policies.at(args.policy));
        });
    import
        ->add_option("CONTACTS.jsonl", args.input,
                     "One JSON object a line, keys named as the fields of a record; - for standard "
                     "input. Only user_id must be there. remark and group_info may be JSON objects "
                     "or arrays instead of texts. local_user_id is formed anew")
        ->required();
    import
        ->add_option("--on-conflict", args.policy, "What to do about a user that is stored already")
        ->check(CLI::IsMember(policies))
        ->capture_default_str();

    CLI::App* search = add("search", "Find contacts by name, remark name or group nick name",
                           [&] { return userdb::search(args.common, args.key_word); });
    search->add_option("KEYWORD", args.key_word, "A POSIX extended regular expression")->required();
    add_json(search);

    CLI::App* list = add("list", "List users",
                         [&] { return userdb::list(args.common, args.data_type(), args.source); });
    add_type(list);
    list->add_option("--source", args.source, "Only users of this source");
    add_json(list);

    CLI::App* get = add("get", "Print one user",
                        [&] { return userdb::get(args.common, args.key, args.data_type()); });
    add_key(get);
    add_type(get);
    add_json(get);

    add_key(
        add("delete", "Delete one user", [&] { return userdb::remove(args.common, args.key); }));
}

userdb::status run(const command& chosen, const arguments& args) {
    try {
        return chosen();
    } catch (const userdb::bad_input& failure) {
        std::cerr << "userdb: " << failure.what() << '\n';
        return userdb::status::bad_input;
    } catch (const std::exception& failure) {
        std::cerr << "userdb: " << args.common.database << ": " << failure.what() << '\n';
        return userdb::status::database_failed;
    }
}

} // namespace

int main(int argc, char** argv) try {
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
