#include "tests/support.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

using namespace std::string_literals;

namespace {

class Program : public testing::Test {
protected:
    /// Runs userdb on the test's database; fills `out` and `err`, and gives the exit status.
    int userdb(const std::string& arguments, const std::string& input = "") {
        write("in", input);
        const std::string command = "'"s + USERDB_PROGRAM + "' --db '" +
                                    directory.file("users.db") + "' " + arguments + " <'" +
                                    directory.file("in") + "' >'" + directory.file("out") +
                                    "' 2>'" + directory.file("err") + "'";
        const int status = std::system(command.c_str());
        out = read("out");
        err = read("err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
    std::string out;
    std::string err;
};

TEST_F(Program, StoresTheExampleContactsAndFindsThem) {
    ASSERT_EQ(userdb("import "s + EXAMPLE_CONTACTS), 0) << err;
    EXPECT_EQ(out, "stored 21, ignored 0, read 21\n");
    EXPECT_EQ(err, "") << "no progress where no terminal is";
    struct {
        const char* key_word;
        const char* user_id;
    } const searches[] = {{"winterbourne", "u1001"},
                          {"plumber", "u1014"},
                          {"captain", "u1004"},
                          {"小雨", "u1003"},
                          {"\"o'malley\"", "u1015"}};
    for (const auto& search : searches) {
        EXPECT_EQ(userdb("search "s + search.key_word), 0);
        EXPECT_TRUE(contains(out, search.user_id)) << out;
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2) << "the heading and one user";
    }
    EXPECT_EQ(userdb("search nobody"), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(userdb("list --type user --type public-account --json"), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
    EXPECT_EQ(userdb("list --source 3 --type contact --json"), 0);
    EXPECT_TRUE(out.starts_with(R"({"user_id":"p2002",)")) << out;
    EXPECT_EQ(userdb("list --source 7"), 1);
    EXPECT_EQ(userdb("get u1001 1 --type user"), 1);
    EXPECT_EQ(userdb("get u1001 1 --type user --type contact"), 0);
    EXPECT_EQ(userdb("delete u1001 1"), 0);
    EXPECT_EQ(userdb("delete u1001 1"), 1);
    EXPECT_EQ(userdb("get u1001 1"), 1);
}

TEST_F(Program, JsonGoesInAsItCameOut) {
    ASSERT_EQ(userdb("import "s + EXAMPLE_CONTACTS), 0);
    ASSERT_EQ(userdb("import -",
                     R"({"user_id":"\u0000\"\ud83d\ude00","user_source":4294967295,)"
                     R"("user_version":-9223372036854775808,"remark":[ {"b" : 1, "a":[]} ],)"
                     R"("group_info":" kept "})"),
              0)
        << err;
    ASSERT_EQ(userdb("list --json"), 0);
    const std::string all = out;
    EXPECT_TRUE(contains(all, R"("user_id":"\u0000\"😀")")) << all;
    EXPECT_TRUE(contains(all, R"("remark":"[{\"b\":1,\"a\":[]}]")"));
    EXPECT_TRUE(contains(all, R"("group_info":" kept ")"));
    write("all.jsonl", all);
    std::filesystem::remove(directory.file("users.db"));
    ASSERT_EQ(userdb("import '" + directory.file("all.jsonl") + "'"), 0);
    ASSERT_EQ(userdb("list --json"), 0);
    EXPECT_EQ(out, all);
}

TEST_F(Program, ABadLineStoresNothing) {
    struct {
        std::string line;
        const char* complaint;
    } const cases[] = {
        {"", "no JSON"},
        {"{\"user_id\":", "no JSON"},
        {"[1]", "no JSON object"},
        {"{}", "key 'user_id': missing"},
        {R"({"user_id":"a","name":"x"})", "key 'name': unknown"},
        {R"({"user_id":7})", "key 'user_id': must be a text"},
        {R"({"user_id":"a","user_id":"b"})", "key 'user_id': given twice"},
        {R"({"user_id":"a","gender":"1"})", "key 'gender': must be a whole number"},
        {R"({"user_id":"a","gender":-1})", "key 'gender': must be a whole number"},
        {R"({"user_id":"a","gender":1.0})", "key 'gender': must be a whole number"},
        {R"({"user_id":"a","gender":4294967296})", "from 0 to 4294967295"},
        {R"({"user_id":"a","user_version":9223372036854775808})", "to 9223372036854775807"},
        {R"({"user_id":"a","remark":null})", "key 'remark': must be a text, an object"},
        {R"({"user_id":"a","extra":{}})", "key 'extra': must be a text"},
        {R"({"user_id":"a","remark":)" + std::string(200, '['), "nested more than"},
        {"{\"user_id\":\"\xff\"}", "no JSON"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        write("bad.jsonl", "{\"user_id\":\"good\"}\n" + c.line + "\n");
        EXPECT_EQ(userdb("import '" + directory.file("bad.jsonl") + "'"), 2);
        EXPECT_TRUE(contains(err, "bad.jsonl:2: ") && contains(err, c.complaint)) << err;
        EXPECT_EQ(userdb("list"), 1) << "nothing of the file is stored";
    }
}

TEST_F(Program, ConflictsGoAsTold) {
    const auto name_after = [&](const std::string& policy, int status) {
        std::filesystem::remove(directory.file("users.db"));
        userdb("import -", R"({"user_id":"a","user_name":"old"})");
        EXPECT_EQ(userdb("import - " + policy,
                         "{\"user_id\":\"b\"}\n{\"user_id\":\"a\",\"user_name\":\"new\"}"),
                  status);
        const std::string said = out + err;
        userdb("list --json");
        return said + out;
    };
    const std::string replaced = name_after("", 0);
    EXPECT_TRUE(contains(replaced, "stored 2, ignored 0, read 2\n") &&
                contains(replaced, "\"new\""));
    const std::string ignored = name_after("--on-conflict ignore", 0);
    EXPECT_TRUE(contains(ignored, "stored 1, ignored 1, read 2\n") && contains(ignored, "\"old\""));
    const std::string failed = name_after("--on-conflict fail", 2);
    EXPECT_TRUE(contains(failed, "standard input:2: key 'user_id'") && contains(failed, "\"old\""));
    EXPECT_FALSE(contains(failed, "\"b\"")) << "the whole file is one transaction";
}

TEST_F(Program, AlignsWideCharactersAndHidesControls) {
    userdb("import -",
           "{\"user_id\":\"a\",\"user_name\":\"\u5c0f\u96e8\",\"remark\":{\"remark_name\":\"x\"}}\n"
           "{\"user_id\":\"b\",\"user_name\":\"e\u0301\\u001b[2J\\n\",\"remark\":{\"remark_name\":"
           "\"y\"}}");
    ASSERT_EQ(userdb("list"), 0);
    EXPECT_EQ(out, "USER ID  SOURCE  KIND  NAME    REMARK NAME  NICK NAMES\n"
                   "a        0             \u5c0f\u96e8    x\n"
                   "b        0             e\u0301\ufffd[2J\ufffd  y\n");
}

TEST_F(Program, TellsUsageFromDatabaseTrouble) {
    EXPECT_EQ(userdb("list"), 3);
    EXPECT_TRUE(contains(err, "users.db")) << err;
    EXPECT_FALSE(std::filesystem::exists(directory.file("users.db"))) << "reading creates no file";
    write("users.db", std::string(5000, 'x'));
    EXPECT_EQ(userdb("import -", "{\"user_id\":\"a\"}"), 3);
    std::filesystem::remove(directory.file("users.db"));
    for (const char* arguments :
         {"", "serach x", "get a", "get a -1", "get a 4294967296", "list --type x",
          "import /no/such/file", "import /", "import - --on-conflict x"}) {
        EXPECT_EQ(userdb(arguments), 2) << arguments;
        EXPECT_FALSE(err.empty());
    }
    EXPECT_EQ(userdb("--help"), 0);
    EXPECT_TRUE(contains(out, "--on-conflict") && contains(out, "Exit status")) << out;
}

} // namespace
