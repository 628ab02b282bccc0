#include "tests/support.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

using namespace std::string_literals;

namespace {

/// One run of userdb: its arguments, its exit status, and a part of what it writes.
struct step {
    std::string arguments;
    int status;
    std::string said;
    std::string input = {};
};

class Program : public testing::Test {
protected:
    /// Runs userdb on the test's database; gives what it wrote, to either stream.
    std::string userdb(const step& run) {
        write("in", run.input);
        const std::string command = USERDB_PROGRAM " --db '" + database + "' <'" +
                                    directory.file("in") + "' >'" + directory.file("out") +
                                    "' 2>&1 " + run.arguments;
        const int status = std::system(command.c_str());
        const std::string said = read("out");
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == run.status)
            << run.arguments << said;
        EXPECT_TRUE(contains(said, run.said)) << run.arguments << "\n" << said;
        return said;
    }
    void session(const std::vector<step>& runs) {
        for (const step& run : runs) {
            userdb(run);
        }
    }

    void write(const std::string& name, const std::string& content) const {
        std::ofstream(directory.file(name), std::ios::binary) << content;
    }
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ostringstream content;
        content << std::ifstream(directory.file(name), std::ios::binary).rdbuf();
        return content.str();
    }

    scratch_directory directory;
    std::string database = directory.file("users.db");
    std::string import_examples = "import "s + EXAMPLE_CONTACTS;
};

TEST_F(Program, ShowsTheExampleContacts) {
    session({
        {import_examples, 0, "stored 21, ignored 0, read 21\n"},
        {"search captain", 0, "NICK NAMES\nu1004  "},
        {"search captain --json", 0, R"({"user_id":"u1004")"},
        {"search nobody", 1, "nothing found"},
        {"list --type user --type public-account", 0, "p2001    3       public-account "},
        {"list --source 3 --type contact --json", 0, R"({"user_id":"p2002",)"},
        {"list --source 2", 0, "NICK NAMES\nu1016    2 "},
        {"list --source 0", 1, "nothing found"},
        {"get u1001 1 --type user", 1, ""},
        {"get --type user --type contact u1001 1 --json", 0, R"({"user_id":"u1001",)"},
        {"get me:1 x:2 u1016:2", 0, "not found: x:2\nUSER ID"},
        {"get me:1 u1016:2", 0, "\nu1016  "},
        {"get x:2", 1, "not found: x:2"},
    });
    const std::string list = userdb({"search noodle", 0, ""});
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 4) << "a line a user";
}

TEST_F(Program, ChangesTheExampleContacts) {
    session({
        {import_examples, 0, ""},
        {"set star me 1 1", 0, "changed 1"},
        {"set attention me 1 1", 0, ""},
        {"set data-type me 1 contact,user", 0, ""},
        {"set remark me 1 '{\"remark_name\":\"myself\"}'", 0, ""},
        {"search myself --json", 0,
         R"("is_star":1,"is_attention":1,"user_type":0,"user_version":16)"},
        {"set star nobody 1 1", 1, ""},
        {"update -", 2, "standard input:2: key 'x': unknown",
         "{\"user_id\":\"me\",\"user_source\":1}\n{\"x\":1}"},
        {"update -", 0, "input:1: not found: q:0\nupdated 1, not found 1, read 2",
         "{\"user_id\":\"q\"}\n{\"user_id\":\"me\",\"user_source\":1}"},
        {"update -", 1, "updated 0", R"({"user_id":"q"})"},
        {"get me 1 --json", 0, R"("user_name":"","name_spell":"")"},
        {"delete me 1", 0, "deleted 1"},
        {"delete me 1", 1, ""},
        {"get me 1", 1, ""},
    });
}

TEST_F(Program, WhatIsExportedGoesInAgain) {
    const std::string odd = R"({"user_id":"\u0000\"\ud83d\ude00","user_source":4294967295,)"
                            R"("user_version":-9223372036854775808,"group_info":" kept ",)"
                            R"("remark":[ {"b" : 1, "a":[]} ]})";
    session({{import_examples, 0, ""}, {"import -", 0, "", odd}});
    const std::string all = userdb({"export", 0, R"("remark":"[{\"b\":1,\"a\":[]}]")"});
    EXPECT_TRUE(contains(all, R"("user_id":"\u0000\"😀")") && contains(all, R"(":" kept ")"));
    EXPECT_EQ(userdb({"list --json", 0, ""}), all);
    std::filesystem::remove(database);
    userdb({"import -", 0, "stored 22", all});
    EXPECT_EQ(userdb({"export", 0, ""}), all);
}

/// A complaint of each kind; the fuzz corpus has more lines that must be refused.
TEST_F(Program, ABadLineStoresNothing) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "no JSON"},
        {"{\"user_id\":\"\xff\"}", "no JSON"},
        {"[1]", "no JSON object"},
        {"{}", "key 'user_id': missing"},
        {R"({"user_id":7})", "key 'user_id': must be a text"},
        {R"({"user_id":"a","user_id":"b"})", "key 'user_id': given twice"},
        {R"({"user_id":"a","gender":"1"})", "key 'gender': must be a whole number from 0"},
        {R"({"user_id":"a","gender":4294967296})",
         "key 'gender': must be a whole number from 0 to 4294967295"},
        {R"({"user_id":"a","user_version":9223372036854775808})",
         "key 'user_version': must be a whole number from -9"},
        {R"({"user_id":"a","remark":null})", "key 'remark': must be a text, an object"},
        {R"({"user_id":"a","extra":{}})", "key 'extra': must be a text"},
        {R"({"user_id":"a","remark":)" + std::string(200, '['), "key 'remark': nested more than"},
        {R"({"user_id":"a","remark":{"x":1e400}})", "key 'remark': a number too large"},
        {R"({"user_id":"a","\u001b[2J":1})", "key '\ufffd[2J': unknown"},
    };
    const std::string file = directory.file("bad.jsonl");
    for (const auto& [line, complaint] : cases) {
        write("bad.jsonl", "{\"user_id\":\"good\"}\n" + line + "\n");
        userdb({"import " + file, 2, file + ":2: " + complaint});
        userdb({"list", 1, "nothing found"});
    }
}

TEST_F(Program, ConflictsGoAsTold) {
    const std::string old = R"({"user_id":"a","user_name":"old"})";
    const std::string both = "{\"user_id\":\"b\"}\n{\"user_id\":\"a\",\"user_name\":\"new\"}";
    session({
        {"import -", 0, "", old},
        {"import - --on-conflict fail", 2, "standard input:2: key 'user_id'", both},
        {"get b 0", 1, ""},
        {"import - --on-conflict ignore", 0, "stored 1, ignored 1, read 2\n", both},
        {"get a 0", 0, "old"},
        {"import -", 0, "stored 2, ignored 0, read 2\n", both},
        {"get a 0", 0, "new"},
    });
}

TEST_F(Program, AlignsWideCharactersAndHidesControls) {
    userdb({"import -", 0, "stored 3",
            R"({"user_id":"a","user_source":7,"user_name":"小雨","data_type":3,)"
            R"("remark":{"remark_name":"x","phone":"y"},)"
            R"("group_info":[{"nick_name":"n"},"stray",{"nick_name":"m"}]})"
            "\n"
            R"({"user_id":"b","user_name":"é\u001b[\u0000","remark":"{broken"})"
            "\n"
            R"({"user_id":"c","remark":{"remark_name":"z"}})"});
    sqlite::database(database).execute(
        "UPDATE users SET user_name = CAST(x'63e5' AS TEXT) WHERE user_id = 'c'");
    userdb({"list", 0,
            "USER ID  SOURCE  KIND           NAME  REMARK NAME  NICK NAMES\n"
            "a        7       contact, user  小雨  x            n, m\n"
            "b        0                      é\ufffd[\ufffd\n"
            "c        0                      c\ufffd    z\n"});
    userdb({"export", 0, "written as U+FFFD: c:0"});
}

TEST_F(Program, TellsUsageFromDatabaseTrouble) {
    for (const char* arguments : {"list", "search x", "get a 1", "get a:1", "export", "delete a 1",
                                  "set star a 1 1", "update -"}) {
        userdb({arguments, 3, "users.db"});
    }
    userdb({"import /no/such/file", 2, "No such file"});
    EXPECT_FALSE(std::filesystem::exists(database)) << "reading creates no file";
    userdb({"import - </", 2, "cannot read standard input"});
    write("users.db", std::string(5000, 'x'));
    userdb({"import -", 3, "not a database", R"({"user_id":"a"})"});
    std::filesystem::remove(database);
    write("users.db", "");
    userdb({"list", 3, "no table users"});
    userdb({"--db '' list", 2, ""});
    for (const char* arguments :
         {"", "serach x", "get a", "get a -1", "get a 4294967296", "get a 1 b:1", "list --type x",
          "import /", "delete a 0x1", "delete a ''", "list --source ''", "import - >/dev/full",
          "import - --on-conflict x", "set star a 1 2", "set data-type a 1 friend",
          "set data-type a 1 ''", "set data-type a 1 user,", "set name a 1 x",
          "list --source 0x1"}) {
        EXPECT_NE(userdb({arguments, 2, ""}), "");
    }
    userdb({"--help", 0, "Exit status"});
    userdb({"--version", 0, "userdb "});
}

} // namespace
