#include "base/base.shared/sqlite/transaction.h"
#include "tests/support.h"

#include <atomic>
#include <set>
#include <thread>

using sqlite::database;

namespace {

/// Random transactions on a table of numbers, cancelled at any moment, and what must be stored.
class Cancelled : public WithFile {
protected:
    Cancelled() {
        run("CREATE TABLE t (i INTEGER PRIMARY KEY)");
        run("INSERT INTO t VALUES (-1), (-2), (-3)"); // to be walked
    }

    /// Runs `body` in a transaction of one kind or another, which may be left by an exception.
    void transact(const std::function<void()>& body) {
        switch (random.below(3)) {
        case 0:
            db->as_transaction([&](database&) { body(); });
            break;
        case 1:
            handler.as_transaction(body);
            break;
        default:
            handler.begin_transaction();
            try {
                body();
            } catch (...) {
                handler.rollback_transaction();
                throw;
            }
            handler.commit_transaction();
        }
    }

    /// Runs what may be cancelled, or fail on its own.
    template <typename Work>
    static void attempt(Work work) {
        try {
            work();
        } catch (const sqlite::error& failure) {
            EXPECT_THAT(failure.code(), testing::AnyOf(SQLITE_INTERRUPT, SQLITE_ABORT_ROLLBACK))
                << failure.what();
        } catch (const std::out_of_range&) { // of its own
        }
    }

    /// Stores some numbers, some of them in transactions inside. Returns those that are stored if
    /// the transaction around it commits.
    std::set<int> store_some(int depth) {
        std::set<int> stored;
        for (size_t i = 1 + random.below(3); i > 0; --i) {
            if (depth > 0 && random.below(3) == 0) {
                attempt([&] { // this one goes on without it
                    std::set<int> inner;
                    transact([&] { inner = store_some(depth - 1); });
                    stored.merge(inner);
                });
            } else {
                auto insert = db->prepare_statement("INSERT INTO t VALUES (:i)");
                insert.bind(":i", ++last);
                db->execute(insert);
                stored.insert(last);
            }
        }
        if (random.below(8) == 0) {
            throw std::out_of_range("of its own");
        }
        return stored;
    }

    /// One transaction, by itself or inside of a walk. Expects that it is there if it did not
    /// throw, else not, and that it leaves neither a transaction nor a lock.
    void round() {
        const auto one = [this] {
            std::set<int> stored;
            transact([&] { stored = store_some(3); });
            expected.merge(stored);
        };
        attempt([&] {
            if (random.below(4) != 0) {
                return one();
            }
            for ([[maybe_unused]] const sqlite::row& row :
                 db->execute("SELECT i FROM t WHERE i < 0")) {
                one();
            }
        });
        ASSERT_NE(sqlite3_get_autocommit(db->native_handle()), 0);
        ASSERT_FALSE(handler.is_in_transaction());
        ASSERT_NO_THROW(other.execute("BEGIN IMMEDIATE"));
        other.execute("COMMIT");
        std::set<int> stored;
        for (const sqlite::row& row : other.execute("SELECT i FROM t WHERE i > 0")) {
            stored.insert(row[0].as<int>());
        }
        ASSERT_EQ(stored, std::exchange(expected, {}));
        other.execute("DELETE FROM t WHERE i > 0");
    }

    Random random;
    std::set<int> expected;
    int last = 0;
    db::DBBase handler{{"me", 1}, db};
};

#ifndef SQLITE_OMIT_PROGRESS_CALLBACK
/// By hand once with --gtest_repeat=40.
TEST_F(Cancelled, ByAProgressHandler) {
    for (const int interval : {1, 5, 100, 1000}) {
        for (const size_t kept : {0U, 16U}) {
            SCOPED_TRACE(testing::Message()
                         << "every " << interval << " steps, " << kept << " statements kept");
            db->set_statement_cache_capacity(kept);
            sqlite3_progress_handler(
                db->native_handle(), interval,
                [](void* random) { return static_cast<Random*>(random)->below(10) == 0 ? 1 : 0; },
                &random);
            random.repeat(100, [this] { round(); });
        }
    }
    EXPECT_GT(last, 0);
}
#endif

TEST_F(Cancelled, ByAnotherThread) {
    std::atomic<bool> is_done = false;
    std::thread canceller([&, delays = random]() mutable {
        while (!is_done) {
            std::this_thread::sleep_for(std::chrono::microseconds(delays.below(200)));
            sqlite3_interrupt(db->native_handle());
        }
    });
    random.repeat(200, [this] { round(); });
    is_done = true;
    canceller.join();
}

} // namespace
