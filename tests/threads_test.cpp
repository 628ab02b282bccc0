#include "tests/support.h"

#include <atomic>
#include <list>
#include <regex>
#include <sstream>
#include <thread>

using db::DBUser;
using sqlite::database;

namespace {

constexpr int thread_count = 4;

/// Runs `work(0)`, `work(1)` and so on, each on a thread of its own.
void on_threads(const std::function<void(int)>& work) {
    std::list<std::thread> threads;
    for (int t = 0; t < thread_count; ++t) {
        threads.emplace_back([&work, t] { EXPECT_NO_THROW(work(t)) << "thread " << t; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Through one handler: stores users of this thread, and changes one whom all threads change. Holds
/// the lock around each operation.
template <typename Lock>
void work_on_users(DBUser& users, int thread, int rounds, Lock& lock) {
    for (int i = 0; i < rounds; ++i) {
        const std::string id = std::to_string(thread) + "." + std::to_string(i);
        db::UserRow row = contact(id, "<" + id + ">");
        const auto hold = [&](auto run) {
            const std::lock_guard guard(lock);
            return run();
        };
        EXPECT_EQ(hold([&] { return users.Insert(row); }), 1U);
        EXPECT_EQ(hold([&] { return users.SearchUserRowsWithKeyWord(row.user_name); }).size(), 1U);
        EXPECT_EQ(hold([&] { return users.DelUserByUserIdAndSource("nobody", 0); }), 0U);
        hold([&] { return DBUser::UpdateIsStartByIdAndSource(true, "all", 0, users); });
        users.as_transaction([&] { // reads first: a late write lock would fail
            EXPECT_EQ(users.GetUserByUserIdAndSource("all", 0, row), 1U);
            row.gender += 1;
            EXPECT_EQ(users.Update(row), 1U);
        });
    }
}

/// Makes the user whom all threads change, lets `work` run, and counts what is there after it.
void nothing_is_lost(const std::shared_ptr<database>& db, int rounds,
                     const std::function<void(int)>& work) {
    db->execute("INSERT INTO users (local_user_id, user_id) VALUES ('all:0', 'all')");
    on_threads(work);
    const std::string all = std::to_string(thread_count * rounds);
    EXPECT_EQ(all_rows(db->execute("SELECT (SELECT count(*) - 1 FROM users), user_version, gender"
                                   " FROM users WHERE user_id = 'all'")),
              all + "|" + all + "|" + all);
}

TEST(Threads, StoresOnConnectionsOfTheirOwnWaitForEachOther) {
    for (const std::string mode : {"DELETE", "WAL"}) {
        SCOPED_TRACE(mode);
        const scratch_directory directory;
        const auto open = [&] { return std::make_shared<database>(directory.file("users.db")); };
        all_rows(open()->execute("PRAGMA journal_mode = " + mode));
        on_threads([&](int) { DBUser({"me", 1}, open()); }); // one of them makes the table
        nothing_is_lost(open(), 10, [&](int thread) {
            DBUser users({"me", 1}, open());
            std::mutex unshared;
            work_on_users(users, thread, 10, unshared);
        });
    }
}

TEST(Threads, StoresShareAConnectionUnderItsLock) {
    const auto shared = in_memory();
    std::list<DBUser> stores; // all live until the end: USER_REGEX is the last one's
    for (int t = 0; t < thread_count; ++t) {
        stores.emplace_back(std::pair("me", 1), shared);
    }
    nothing_is_lost(shared, 40, [&](int thread) {
        work_on_users(*std::next(stores.begin(), thread), thread, 40, *shared);
    });
}

TEST(Threads, ShareAConnectionThatKeepsStatements) {
    database shared(sqlite::special_t::in_memory);
    on_threads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            auto select = shared.prepare_statement("SELECT :i");
            select.bind(":i", i * thread);
            EXPECT_EQ(all_rows(shared.execute(select)), std::to_string(i * thread));
            shared.set_statement_cache_capacity(static_cast<size_t>(i % 3));
        }
    });
}

TEST(Threads, LogWholeLinesWhileTheSinkIsReplaced) {
    const logging_to standard_error({});
    std::atomic<bool> is_over = false;
    std::thread replacer([&] {
        while (!is_over) {
            base::log::set_sink({});
        }
    });
    testing::internal::CaptureStderr();
    on_threads([](int) {
        for (int i = 0; i < 100; ++i) {
            base::log::printer(base::log::level::INFO, "some/file.cpp", 7) << "two\nlines\n";
        }
    });
    std::istringstream written(testing::internal::GetCapturedStderr());
    is_over = true;
    replacer.join();
    const std::regex format(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} I some/file.cpp:7 two\\nlines)");
    int count = 0;
    for (std::string line; std::getline(written, line); ++count) {
        ASSERT_TRUE(std::regex_match(line, format)) << line;
    }
    EXPECT_EQ(count, thread_count * 100);
}

} // namespace
