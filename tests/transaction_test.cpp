#include "base/base.shared/sqlite/transaction.h"
#include "tests/support.h"

#include <thread>

using sqlite::database;

namespace {

/// A table of numbers, and a time-out that each transaction must leave as it is.
class Transactions : public WithFile {
protected:
    Transactions() {
        run("PRAGMA busy_timeout = 20");
        run("CREATE TABLE t (i INTEGER PRIMARY KEY)");
    }

    void add(int i) { run("INSERT INTO t VALUES (" + std::to_string(i) + ")"); }
    /// Runs `body` in a transaction that fails then.
    void lose(const std::function<void()>& body) {
        const auto failing = [&](database&) {
            body();
            throw std::out_of_range("the first");
        };
        EXPECT_THROW(db->as_transaction(failing), std::out_of_range);
    }
    void add_and_lose(int i) {
        lose([=, this] { add(i); });
    }
    void begin_and_add(db::DBBase& handler, int i) {
        handler.begin_transaction();
        add(i);
    }
    /// What others see. Expects that nothing is open and nothing locked.
    std::string stored() {
        EXPECT_NE(sqlite3_get_autocommit(db->native_handle()), 0) << "a transaction is open";
        EXPECT_FALSE(base.is_in_transaction());
        EXPECT_EQ(timeout(), "20");
        EXPECT_NO_THROW(other.as_transaction([](database&) {})) << "a lock is held";
        return others_see("SELECT i FROM t");
    }

    db::DBBase base{{"me", 1}, db};
};

TEST_F(Transactions, CommitOrLeaveNothingAndNestAsSavepoints) {
    add_and_lose(4);
    EXPECT_EQ(stored(), "");
    const uint32_t changed = db->as_transaction([&](database&) {
        add(3);
        EXPECT_EQ(db->as_transaction([&](database&) { add(5); }), 1U);
        add_and_lose(7);
        run("SAVEPOINT nested"); // the application's own, between two of ours
        db->as_transaction([&](database&) {
            add(8);
            add_and_lose(9);
        });
    });
    EXPECT_EQ(changed, 3U) << "rows that a savepoint took back do not count";
    run("BEGIN");
    db->as_transaction([&](database&) { add(7); });
    run("ROLLBACK");
    EXPECT_EQ(stored(), "3;5;8");
}

TEST_F(Transactions, TellWhatHasEndedThem) {
    const std::string rolled_back = "the open transaction has been rolled back already";
    const std::string ended = "the transaction was ended inside of it";
    sqlite3* const handle = db->native_handle();
    db->add_custom_function({"no_memory", 0, [](sqlite3_context* context, auto...) {
                                 sqlite3_result_error_nomem(context);
                             }});
    const struct {
        const char* label;
        int code;
        std::string left;
        std::function<void()> end;
    } cases[] = {
        {"a failed statement", SQLITE_ABORT_ROLLBACK, "",
         [&] {
             const auto sql = "INSERT OR ROLLBACK INTO t VALUES (1)";
             fails(SQLITE_CONSTRAINT_PRIMARYKEY, sql, [&] { run(sql); });
         }},
        {"a row that fails in a walk", SQLITE_ABORT_ROLLBACK, "",
         [&] {
             add(2);
             const auto walked = db->execute("SELECT CASE i WHEN 2 THEN no_memory() END FROM t");
             auto row = walked.begin();
             fails(SQLITE_NOMEM, "out of memory", [&] { ++row; });
         }},
        {"COMMIT", SQLITE_MISUSE, "1", [&] { run("COMMIT"); }},
        {"ROLLBACK", SQLITE_MISUSE, "", [&] { run("ROLLBACK"); }},
// SQLite 3.24 lets such a COMMIT succeed.
#if SQLITE_VERSION_NUMBER >= 3040000 && !defined(SQLITE_OMIT_PROGRESS_CALLBACK)
        {"cancelled behind its effect", SQLITE_MISUSE, "1",
         [&] {
             const auto is_ended = [](void* db) {
                 return sqlite3_get_autocommit(static_cast<sqlite3*>(db));
             };
             sqlite3_progress_handler(handle, 1, is_ended, handle);
             fails(SQLITE_INTERRUPT, "COMMIT", [&] { run("COMMIT"); });
             sqlite3_progress_handler(handle, 0, nullptr, nullptr);
         }},
#endif
        {"past the layer", SQLITE_MISUSE, "1",
         [&] { sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr); }},
    };
    for (const auto& [label, code, left, end] : cases) {
        SCOPED_TRACE(label);
        const std::string text = code == SQLITE_MISUSE ? ended : rolled_back;
        fails(code, text, [&, end = end, code = code] {
            db->as_transaction([&](database&) {
                add(1);
                fails(code, text, [&] { db->as_transaction([&](database&) { end(); }); });
                fails(code, text, [&] { add(3); });
                fails(code, text, [&] { db->as_transaction([](database&) {}); });
            });
        });
        EXPECT_EQ(stored(), left);
        run("DELETE FROM t");
    }
    fails(SQLITE_ABORT_ROLLBACK, rolled_back, [&] {
        sqlite::transaction outermost(*db);
        db->as_transaction([&](database&) {
            run("SAVEPOINT s");
            const auto release = [&](database&) { run("RELEASE s"); };
            fails(SQLITE_MISUSE, ended, [&] { db->as_transaction(release); });
        });
    });
    EXPECT_EQ(stored(), "");
}

TEST_F(Transactions, EndInnerBeforeOuterAndOuterWithInner) {
    sqlite::transaction outer(*db);
    add(1);
    sqlite::transaction inner(*db);
    add(2);
    EXPECT_TRUE(inner.is_innermost() && !outer.is_innermost());
    fails(SQLITE_MISUSE, "while an inner", [&] { outer.commit(); });
    inner.rollback();
    EXPECT_TRUE(inner.is_over() && outer.is_innermost());
    sqlite::transaction next(*db);
    add(3);
    fails(SQLITE_MISUSE, "is over", [&] { inner.commit(); });
    outer.rollback();
    EXPECT_TRUE(next.is_over() && next.changes() == 1);
    fails(SQLITE_MISUSE, "is over", [&] { next.commit(); });
    next.rollback();
    std::thread([&] { add(4); }).join(); // would wait for ever for a lock that is still held
    EXPECT_EQ(stored(), "4");
}

TEST_F(Transactions, OfHandlersAreOpenUntilTheOutermostEnds) {
    EXPECT_NO_THROW(base.rollback_transaction());
    fails(SQLITE_MISUSE, "no open transaction", [&] { base.commit_transaction(); });
    begin_and_add(base, 1);
    begin_and_add(base, 2);
    base.rollback_transaction();
    EXPECT_TRUE(base.is_in_transaction());
    base.commit_transaction();
    EXPECT_EQ(stored(), "1");
    {
        db::DBBase dying({"me", 1}, db);
        begin_and_add(dying, 3);
        begin_and_add(base, 4);
        fails(SQLITE_MISUSE, "an open one inside", [&] { dying.rollback_transaction(); });
        fails(SQLITE_MISUSE, "an open one inside", [&] { dying.commit_transaction(); });
        base.rollback_transaction();
        begin_and_add(dying, 4);
    }
    begin_and_add(base, 5);
    run("ROLLBACK");
    EXPECT_FALSE(base.is_in_transaction()) << "asked of SQLite";
    fails(SQLITE_MISUSE, "ended inside", [&] { base.commit_transaction(); });
    EXPECT_EQ(stored(), "1");
}

TEST_F(Transactions, OfABodyEndWhatItBeganAndNothingElse) {
    const auto ended = "as_transaction ends its transaction itself";
    base.as_transaction([&] {
        begin_and_add(base, 1);
        base.commit_transaction();
        fails(SQLITE_MISUSE, ended, [&] { base.commit_transaction(); });
        fails(SQLITE_MISUSE, ended, [&] { base.rollback_transaction(); });
        const auto break_off = [&] {
            begin_and_add(base, 2);
            throw std::logic_error("x");
        };
        EXPECT_THROW(base.as_transaction(break_off), std::logic_error);
    });
    const auto leave_open = [&] { begin_and_add(base, 3); };
    fails(SQLITE_MISUSE, "left a transaction", [&] { base.as_transaction(leave_open); });
    EXPECT_EQ(stored(), "1");
}

TEST_F(Transactions, TakeThoseOfHandlersWithThem) {
    const auto leave_two = [&] {
        begin_and_add(base, 1);
        begin_and_add(base, 2);
    };
    lose(leave_two);
    EXPECT_EQ(stored(), "");
    fails(SQLITE_MISUSE, "is over", [&] { base.commit_transaction(); });
    EXPECT_NO_THROW(base.rollback_transaction());
    fails(SQLITE_MISUSE, "no open transaction", [&] { base.commit_transaction(); });
    lose(leave_two); // nobody ends these
    begin_and_add(base, 3);
    base.commit_transaction();
    fails(SQLITE_MISUSE, "no open transaction", [&] { base.commit_transaction(); });
    EXPECT_EQ(stored(), "3");

    begin_and_add(base, 1);
    lose([&] { base.begin_transaction(); });
    fails(SQLITE_MISUSE, "is over", [&] { base.commit_transaction(); }); // not the outer one
    EXPECT_TRUE(base.is_in_transaction());
    base.commit_transaction();
    EXPECT_EQ(stored(), "1;3");
}

TEST_F(Transactions, LeaveAnotherTimeoutAndAHandlerAlone) {
    for (const char* set_inside : {"30", "40"}) {
        sqlite::transaction inside(*db);
        EXPECT_EQ(timeout(), "0");
        run("PRAGMA busy_timeout = "s + set_inside);
        set_inside == "30"s ? inside.commit() : inside.rollback();
        EXPECT_EQ(timeout(), set_inside);
    }
    int asked = 0;
    const auto give_up = [](void* asked, int) { return 0 * ++*static_cast<int*>(asked); };
    sqlite3_busy_handler(db->native_handle(), give_up, &asked);
    db->as_transaction([](database&) {});
    sqlite::transaction{*db}.rollback();
    other.as_transaction([&](database&) { EXPECT_THROW(add(9), sqlite::error); });
    EXPECT_EQ(asked, 1);
}

} // namespace
