#include "tests/support.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <thread>

namespace {

using seconds = std::chrono::duration<double>;

/// A userdb that is killed while it imports new users over old ones. The parameter is the journal
/// mode of the file with the old ones; empty, there is no file before the import.
class Killed : public testing::TestWithParam<std::string> {
protected:
    Killed() {
        std::ofstream lines(directory.file("new"));
        for (int i = 0; i < 250; ++i) {
            lines << R"({"user_name":"new","user_id":")" << i << "\"}\n";
        }
        if (!GetParam().empty()) {
            const auto old = std::make_shared<sqlite::database>(directory.file("old"));
            old->execute("PRAGMA journal_mode = " + GetParam());
            old->execute("PRAGMA default_cache_size = 5"); // pages go out long before the commit
            const db::DBUser users({"me", 1}, old);
            old->execute("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT 250)"
                         " INSERT INTO users (local_user_id, user_id, user_name, extra)"
                         " SELECT i || ':0', i, 'old', hex(zeroblob(200)) FROM n");
        }
    }

    /// Imports into a new copy of the file, and kills that after `life`. Whether it was cut short.
    bool import_is_killed(std::optional<seconds> life) {
        file = directory.file(std::to_string(++files));
        if (!GetParam().empty()) {
            std::filesystem::copy(directory.file("old"), file);
        }
        const pid_t child = fork();
        if (child == 0) {
            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
            const std::string input = directory.file("new");
            execl(USERDB_PROGRAM, "userdb", "--db", file.c_str(), "import", input.c_str(), nullptr);
            _exit(127);
        }
        if (life) {
            std::this_thread::sleep_for(*life);
            kill(child, SIGKILL);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << status;
        return WIFSIGNALED(status);
    }

    /// The names in the sound file, and how many users have them.
    std::string content() {
        const auto connection = std::make_shared<sqlite::database>(file); // undoes what it must
        const db::DBUser users({"me", 1}, connection); // the kill can have come before the table
        EXPECT_EQ(shown(connection->execute("PRAGMA integrity_check")), "ok");
        return shown(connection->execute("SELECT user_name, count(*) FROM users GROUP BY 1"));
    }

    scratch_directory directory;
    std::string file;
    int files = 0;
};

/// The environment's USERSTORE_KILLS is the number of kills of each kind of file.
TEST_P(Killed, AnImportIsThereWholeOrNotAtAll) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(import_is_killed({}));
    const seconds whole = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(content(), "new|250");

    const char* wanted = std::getenv("USERSTORE_KILLS");
    const int kills = wanted != nullptr ? std::stoi(wanted) : 10;
    std::mt19937 random(std::random_device{}());
    int killed = 0;
    for (int i = 0; i < kills && !HasFailure(); ++i) {
        // one in each of as many equal parts of the time that an import takes
        const seconds life = whole * (i + std::uniform_real_distribution()(random)) / kills;
        killed += import_is_killed(life) ? 1 : 0;
        const std::string found = content();
        EXPECT_TRUE(found == (GetParam().empty() ? "" : "old|250") || found == "new|250")
            << found << " after " << life.count() << " s";
    }
    std::cout << killed << " of " << kills << " killed, in " << whole.count() << " s each\n";
    EXPECT_GT(killed, 0);
}

INSTANTIATE_TEST_SUITE_P(Files, Killed, testing::Values("", "DELETE", "WAL"),
                         [](const auto& test) { return test.param.empty() ? "None" : test.param; });

} // namespace
