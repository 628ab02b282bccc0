#include "tests/support.h"

#include <fstream>

using sqlite::database;

namespace {

class AccessLayer : public testing::Test {
protected:
    sqlite::result run(const std::string& sql) { return db.execute(sql); }
    void define(const std::string& name, int argc, decltype(SqliteCustomFunction::call_back) body) {
        db.add_custom_function({name, argc, std::move(body)});
    }
    /// The numbers from 1 on, one a row.
    sqlite::result numbers(int last) {
        return run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT " +
                   std::to_string(last) + ") SELECT i FROM n");
    }

    database db{sqlite::special_t::in_memory};
};

long long number_of(const sqlite::row& row) {
    return row["i"].as<long long>();
}

TEST_F(AccessLayer, ValuesComeBackAsTheyWereBound) {
    auto stmt = db.prepare_statement("SELECT :v, typeof(:v), length(CAST(:v AS BLOB))");
    EXPECT_EQ(stmt.parameter_count(), 1U);
    const auto bound = [&](auto value) {
        stmt.bind(1, value);
        const std::string by_position = all_rows(db.execute(stmt));
        stmt.clear_bindings();
        stmt.bind(":v", value);
        EXPECT_EQ(all_rows(db.execute(stmt)), by_position);
        return by_position;
    };
    for (const auto& value : {""s, "a\0b\0"s, "\xff\xfe 中"s, std::string(70000, 'x')}) {
        EXPECT_EQ(bound(value), value + "|text|" + std::to_string(value.size()));
    }
    EXPECT_EQ(bound(4294967295U), "4294967295|integer|10");
    EXPECT_EQ(bound(INT64_MIN), "-9223372036854775808|integer|20");
    EXPECT_EQ(bound("ends\0here"), "ends|text|4");
    EXPECT_EQ(bound(static_cast<const char*>(nullptr)), "NULL|null|NULL");
    EXPECT_EQ(bound(nullptr), "NULL|null|NULL");
    EXPECT_EQ(bound(std::string_view()), "|text|0");
    EXPECT_EQ(bound(-5), "-5|integer|2");
    EXPECT_EQ(bound(int64_t{1} << 40), "1099511627776|integer|13");
    EXPECT_EQ(bound(true), "1|integer|1");
    EXPECT_EQ(bound(-2.5), "-2.5|real|4");
    stmt.bind(":v", "again");
    stmt.clear_bindings();
    EXPECT_EQ(all_rows(db.execute(stmt)), "NULL|null|NULL");
}

TEST_F(AccessLayer, BindsParametersInAnyOrder) {
    auto stmt = db.prepare_statement("SELECT :a, ?, :b, :c");
    EXPECT_EQ(stmt.sql(), "SELECT :a, ?, :b, :c");
    const std::string names[] = {":c", ":b", ":c", ":a", ":b", ":b"};
    for (const std::string& name : names) {
        stmt.bind(name, name);
    }
    stmt.bind(2, 7U);
    EXPECT_EQ(all_rows(db.execute(stmt)), ":a|7|:b|:c");
    stmt.bind_no_copy(stmt.position_of(":c"), names[1]);
    EXPECT_EQ(all_rows(db.execute(stmt)), ":a|7|:b|:b");
    fails(SQLITE_RANGE, "no parameter at position 5 of 4 in: SELECT", [&] { stmt.bind(5, ""); });
    fails(SQLITE_RANGE, "no parameter at position 0 of 4", [&] { stmt.bind(0U, 1LL); });
    fails(SQLITE_RANGE, "no parameter ':d' in: SELECT :a", [&] { stmt.bind(":d", 1U); });
    fails(SQLITE_RANGE, "no parameter ':a\\0b' in", [&] { stmt.bind(":a\0b"s, ""); });
}

TEST_F(AccessLayer, ReadsWhateverAColumnHolds) {
    using values = std::tuple<std::string, long long, unsigned int, double, bool,
                              std::optional<int>, std::optional<std::string>>;
    const std::pair<const char*, values> cases[] = {
        {"NULL", {"", 0, 0, 0, false, {}, {}}},
        {"' 12ab'", {" 12ab", 12, 12, 12, true, 12, " 12ab"}},
        {"-3.75", {"-3.75", -3, 4294967293U, -3.75, true, -3, "-3.75"}},
        {"4294967301", {"4294967301", 4294967301, 5, 4294967301, true, 5, "4294967301"}},
        {"9e99", {"9.0e+99", INT64_MAX, 4294967295U, 9e99, true, -1, "9.0e+99"}},
        {"x'00ff31'", {"\0\xff\x31"s, 0, 0, 0, false, 0, "\0\xff\x31"s}},
    };
    for (const auto& [literal, expected] : cases) {
        SCOPED_TRACE(literal);
        const auto res = run("SELECT "s + literal + " AS v");
        const sqlite::row row = *res.begin();
        const sqlite::field field = row["v"];
        EXPECT_EQ(field.column_name(), "v");
        EXPECT_EQ(field.is_null(), literal == "NULL"s);
        EXPECT_EQ(static_cast<bool>(field), !field.is_null());
        values read{"before", 1, 1, 1, true, 1, "before"};
        std::apply(
            [&](auto&... value) { ((value = field.as<std::decay_t<decltype(value)>>()), ...); },
            read);
        EXPECT_EQ(read, expected);
        read = {"before", 1, 1, 1, true, 1, "before"};
        std::apply([&](auto&... value) { row.read({0, 0, 0, 0, 0, 0, 0}, value...); }, read);
        EXPECT_EQ(read, expected);
    }
}

TEST_F(AccessLayer, BlobsAndOtherNumbersComeBackAsTheyWereBound) {
    using sqlite::value_type;
    auto stmt = db.prepare_statement("SELECT :v AS v");
    EXPECT_THAT(stmt.column_names(), testing::ElementsAre("v"));
    const auto expect_back = [&](auto value, value_type type, const auto& bound) {
        stmt.bind(":v", bound);
        const auto res = db.execute(stmt);
        const sqlite::field field = (*res.begin())[0];
        EXPECT_EQ(field.as<decltype(value)>(), value);
        EXPECT_EQ(field.type(), type);
        EXPECT_EQ(field.as<std::optional<decltype(value)>>(), std::optional(value));
    };
    const auto same = [&](auto value, value_type type) { expect_back(value, type, value); };
    const sqlite::blob bytes{std::byte{0}, std::byte{0xFF}, std::byte{0}};
    same(bytes, value_type::blob);
    same(sqlite::blob(), value_type::blob);
    expect_back(bytes, value_type::blob, std::span<const std::byte>(bytes));
    expect_back(sqlite::blob(), value_type::blob, std::span<const std::byte>());
    expect_back(sqlite::blob{std::byte{'a'}}, value_type::text, "a"s);
    same(2.5F, value_type::real);
    same(short{-3}, value_type::integer);
    same(9223372036854775807UL, value_type::integer);
    expect_back(7ULL, value_type::integer, std::optional(7ULL));
    expect_back("x"s, value_type::text, std::optional("x"s));
    expect_back(std::string_view("a\0b", 3), value_type::text, "a\0b"s);
    stmt.bind(":v", std::optional<int>());
    EXPECT_EQ(all_rows(db.execute(stmt)), "NULL");
    EXPECT_EQ((*db.execute(stmt).begin())[0].as<std::optional<sqlite::blob>>(), std::nullopt);
    stmt.bind(":v", 1);
    fails(SQLITE_RANGE, "bind ':v'", [&] { stmt.bind(":v", 9223372036854775808ULL); });
    EXPECT_EQ(all_rows(db.execute(stmt)), "NULL") << "nothing is left of what was refused";
}

TEST_F(AccessLayer, ReadsATextWithoutACopyWhileItsRowIsThere) {
    const auto res =
        run("SELECT 'a text that is too long for a short string' UNION ALL SELECT 'b'");
    auto row = res.begin();
    const std::string_view text = (*row)[0].as<std::string_view>(); // the field is gone already
    EXPECT_EQ(text, "a text that is too long for a short string");
    EXPECT_EQ((*++row)[0].as<std::string_view>(), "b");
}

TEST_F(AccessLayer, BindsAllOrNothingAndResets) {
    auto stmt = db.prepare_statement("SELECT ?1, ?2, ?3 UNION ALL SELECT 0, 0, 0");
    EXPECT_EQ(db.prepare_statement("SELECT ?3").parameter_count(), 3U);
    stmt.bind_all(1, "two", std::optional<int>());
    fails(SQLITE_RANGE, "cannot bind 2 values to 3 parameters, in: SELECT",
          [&] { stmt.bind_all(4, 5); });
    const auto res = db.execute(stmt);
    EXPECT_NE(sqlite3_next_stmt(db.native_handle(), nullptr), nullptr);
    stmt.reset();
    EXPECT_TRUE(res.begin() == res.end());
    EXPECT_EQ(all_rows(db.execute(stmt)), "1|two|NULL;0|0|0") << "what is bound stays";
    EXPECT_FALSE(db.in_transaction());
    run("BEGIN");
    EXPECT_TRUE(db.in_transaction());
}

TEST_F(AccessLayer, AnIndexMayUseADeterministicFunction) {
    const auto answer = [](sqlite3_context* context, int, auto) { sqlite3_result_int(context, 1); };
    run("CREATE TABLE t (i)");
    run("PRAGMA trusted_schema = ON"); // which is off in some builds of SQLite
    db.add_custom_function({"f", 1, answer});
    fails(SQLITE_ERROR, "non-deterministic", [&] { run("CREATE INDEX x ON t (f(i))"); });
    db.add_custom_function({"f", 1, answer, true});
    EXPECT_NO_THROW(run("CREATE INDEX x ON t (f(i))"));
}

TEST_F(AccessLayer, ReadsColumnsFoundByTheirNames) {
    const auto res = run("SELECT 1 AS Aa, 2 AS b, 3 AS C, 4 AS c");
    const sqlite::row row = *res.begin();
    long long first = 0;
    std::string second;
    const std::vector<size_t> guesses[] = {{}, {3, 0}, {2, 0}, {1, 2}, {9, 1, 0, 0}};
    for (std::vector<size_t> positions : guesses) { // what was there is only tried first
        row.find_columns({"c", "aA"}, positions);
        row.read(positions, first, second);
        EXPECT_EQ(std::to_string(first) + second, "41") << "an exact name comes first";
    }
    EXPECT_EQ(row["C"].as<int>() + row["B"].as<int>(), 5);
    std::vector<size_t> none;
    const std::string no_d = "no column 'd' in the result of: SELECT 1 AS Aa";
    fails(SQLITE_RANGE, no_d, [&] { row.find_columns({"d"}, none); });
    fails(SQLITE_RANGE, no_d, [&] { (void)row["d"]; });
    fails(SQLITE_MISUSE, "read 1 columns into 2 values", [&] { row.read({0}, first, second); });
    fails(SQLITE_RANGE, "no column at position 4 of 4", [&] { row.read({4}, first); });
    fails(SQLITE_RANGE, "no column at position 4 of 4", [&] { (void)row[4]; });
    const sqlite::field field = row[1];
    ++res.begin();
    const std::string no_row = "no current row to read column 'b'";
    fails(SQLITE_RANGE, no_row, [&] { row.read({1}, first); });
    fails(SQLITE_RANGE, no_row, [&] { (void)field.is_null(); });
}

TEST_F(AccessLayer, NothingIsReadWhereThereIsNoRow) {
    const auto res = run("SELECT 1 AS a");
    sqlite::row row = *res.begin();
    sqlite::field field = row[0];
    const sqlite::row moved_row = std::move(row);
    const sqlite::field moved_field = std::move(field);
    const auto expect_nothing = [](const auto& read) {
        fails(SQLITE_RANGE, " in the result of: ", read);
    };
    for (const sqlite::row& none : {*res.end(), row}) { // NOLINT(bugprone-use-after-move)
        int value = 0;
        std::vector<size_t> positions;
        expect_nothing([&] { none.read({0}, value); });
        expect_nothing([&] { static_cast<void>(none[0]); });
        expect_nothing([&] { none.find_columns({"a"}, positions); });
    }
    expect_nothing([&] { static_cast<void>(field.as<int>()); }); // NOLINT(bugprone-use-after-move)
    expect_nothing([&] { static_cast<void>(field.is_null()); });
    expect_nothing([&] { static_cast<void>(field.column_name()); });
}

TEST_F(AccessLayer, WalksEachRowOnce) {
    const auto three = numbers(3);
    auto it = three.begin();
    const auto other = three.begin(); // steps nothing
    const sqlite::row row = *it;
    EXPECT_EQ(number_of(row), 1);
    ++it;
    EXPECT_EQ(number_of(row), 2) << "a row shows the current row";
    EXPECT_TRUE(it == other && it != three.end());
    it++;
    EXPECT_EQ(number_of(*other), 3);
    std::advance(it, 2); // at its end an iterator steps no more
    EXPECT_TRUE(it == three.end() && other == three.end() && three.begin() == three.end());

    const auto walked = numbers(2);
    const auto copy = walked;
    auto walker = walked.begin();
    it = walker;
    EXPECT_TRUE(it == walker && three.begin() == three.end());
    walker = three.begin();
    EXPECT_TRUE(walker == walked.end());
    EXPECT_EQ(number_of(*it), 1) << "assigning from an ended iterator ends no other result";
    walker.swap(it);
    EXPECT_TRUE(it == three.end());
    EXPECT_EQ(walker->operator[](0).as<long long>(), 1);
    std::advance(walker, 2);
    EXPECT_TRUE(copy.begin() == copy.end()) << "a copy must not step what has ended";
}

TEST_F(AccessLayer, FunctionsFailTheirStepWhichEndsTheWalk) {
    define("fail_at", -1, [](sqlite3_context* context, int argc, sqlite3_value** value) {
        if (sqlite3_value_int(value[0]) == 3) {
            throw std::runtime_error("third row");
        }
        sqlite3_result_int(context, argc);
    });
    const auto res = run("WITH n(x) AS (VALUES (1), (2), (3), (4)) SELECT fail_at(x) FROM n");
    auto it = res.begin();
    ++it;
    fails(SQLITE_ERROR, "third row, in: WITH n", [&] { ++it; });
    EXPECT_TRUE(it == res.end());
    EXPECT_NO_THROW(++it);
    EXPECT_EQ(all_rows(run("SELECT fail_at(2), fail_at(2, 2)")), "1|2");

    const std::pair<int, int> codes[] = {{SQLITE_CONSTRAINT_UNIQUE, SQLITE_CONSTRAINT_UNIQUE},
                                         {SQLITE_OK, SQLITE_ERROR}, // those of no failure
                                         {SQLITE_ROW, SQLITE_ERROR},
                                         {SQLITE_DONE, SQLITE_ERROR}};
    for (const auto& [thrown, code] : codes) {
        define("fail", 0, [code = thrown](auto...) { throw sqlite::error(code, "told"); });
        fails(code, "told, in: SELECT fail()", [&] { run("SELECT fail()"); });
    }
    define("fail", 0, [](auto...) { throw 1; });
    fails(SQLITE_ERROR, "no std::exception", [&] { run("SELECT fail()"); });
}

TEST_F(AccessLayer, AStatementRunsAgain) {
    run("CREATE TABLE t (i INTEGER PRIMARY KEY)");
    auto insert = db.prepare_statement("INSERT INTO t VALUES (:i)");
    for (const unsigned int i : {1U, 2U}) {
        insert.bind(":i", i);
        db.execute(insert);
        fails(SQLITE_CONSTRAINT_PRIMARYKEY, "t.i, in: INSERT", [&] { db.execute(insert); });
    }
    auto select = db.prepare_statement("SELECT i FROM t WHERE i >= :i ORDER BY i");
    select.bind(":i", 1U);
    const auto abandoned = db.execute(select);
    const auto it = abandoned.begin();
    select.bind(":i", 2U); // ends the run under way
    EXPECT_TRUE(it == abandoned.end());
    fails(SQLITE_RANGE, "no current row to read column 'i'", [&] { number_of(*it); });
    EXPECT_EQ(number_of(*db.execute(select).begin()), 2);
    EXPECT_EQ(number_of(*db.execute(select).begin()), 2) << "half walked, then executed again";

    auto copy = select;
    copy.swap(insert);
    insert.bind(":i", 1U);
    EXPECT_EQ(all_rows(db.execute(select)), "1;2") << "copies share their bindings";
}

TEST_F(AccessLayer, CountsWhatAStatementChanged) {
    run("PRAGMA page_size = 8192");
    run("CREATE TABLE t (i)");
    EXPECT_EQ(db.last_insert_rowid(), 0);
    EXPECT_EQ(run("INSERT INTO t VALUES (1), (2), (3)").row_modification_count(), 3U);
    EXPECT_EQ(db.last_insert_rowid(), 3);
    EXPECT_EQ(run("CREATE TABLE u (i)").row_modification_count(), 0U);
    EXPECT_EQ(run("SELECT i FROM t").row_modification_count(), 0U);
    EXPECT_EQ(run("UPDATE t SET i = 0 WHERE i > 9").row_modification_count(), 0U);
    EXPECT_EQ(db.changes(), 0U);
    EXPECT_EQ(db.size(), 3U * 8192);
}

TEST_F(AccessLayer, ErrorsNameTheStatement) {
    fails(SQLITE_ERROR, "near \"SELEC\": syntax error, in: SELEC 1", [&] { run("SELEC 1"); });
    fails(SQLITE_MISUSE, "without a statement: -- no", [&] { run("-- no"); });
    fails(SQLITE_MISUSE, "a NUL byte in it: SELECT", [&] { run("SELECT 1\0;"s); });
    EXPECT_EQ(all_rows(run("SELECT 1; -- and\n ; /* no * more */ /*")), "1");
    fails(SQLITE_ERROR, "syntax error, in: SELEC 1" + repeated("é", 97) + "...",
          [&] { run("SELEC\t \n\f\r1" + repeated("é", 2000)); });
    fails(SQLITE_ERROR, "in: SELEC" + repeated("\x80", 198) + "...",
          [&] { run("SELEC" + repeated("\x80", 2000)); }); // characters without a start
    database other(sqlite::special_t::in_memory);
    auto stmt = db.prepare_statement("SELECT :a");
    fails(SQLITE_MISUSE, "another connection: SELECT :a", [&] { other.execute(stmt); });
    const auto kept = std::move(stmt);
    EXPECT_NO_THROW(stmt.clear_bindings());
    fails(SQLITE_RANGE, "no parameter ':a'", [&] { stmt.bind(":a", 1U); });
}

TEST_F(AccessLayer, OpeningFailsClearlyAndModesHold) {
    const scratch_directory directory;
    const std::string file = directory.file("a.db");
    const std::string missing = directory.file("no/such.db");
    fails(SQLITE_CANTOPEN, missing, [&] { database{missing}; });
    fails(SQLITE_CANTOPEN, file, [&] { database(file, sqlite::read_write); });
    fails(SQLITE_CANTOPEN, "NUL", [&] { database{"a\0b"s}; });

    database{file}.execute("CREATE TABLE t (i)");
    database reader(file, sqlite::read_only, sqlite::shared_cache);
    EXPECT_EQ(all_rows(reader.execute("PRAGMA busy_timeout")), "5000");
    fails(SQLITE_READONLY, "DELETE FROM t", [&] { reader.execute("DELETE FROM t"); });
    EXPECT_EQ(reader.as_transaction([](database& db) { db.execute("SELECT * FROM t"); }), 0U);

    std::ofstream(file) << std::string(5000, 'x');
    fails(SQLITE_NOTADB, "not a database", [&] { database{file}.execute("SELECT * FROM t"); });
}

/// In a process of its own, since the setting is one of all connections.
TEST(AccessLayerDeathTest, OpensNoConnectionThatHasNoMutex) {
    const auto open_without_mutexes = [] {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_SINGLETHREAD);
        fails(SQLITE_MISUSE, "':memory:': SQLite is built or configured single-threaded",
              in_memory);
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(open_without_mutexes(), testing::ExitedWithCode(0), "");
}

TEST_F(AccessLayer, EverythingOutlivesTheDatabase) {
    auto captured = std::make_shared<int>(7);
    std::optional<database> dying(std::in_place, sqlite::special_t::in_memory);
    dying->add_custom_function({"seven", 0, [captured](sqlite3_context* context, auto...) {
                                    sqlite3_result_int(context, *captured);
                                }});
    dying->set_statement_cache_capacity(2);
    dying->execute("SELECT 1"); // is kept
    std::optional statement(dying->prepare_statement("SELECT :v"));
    std::optional res(dying->execute("SELECT seven() AS i UNION ALL SELECT 1 + seven()"));
    dying.reset();
    EXPECT_EQ(statement->parameter_count(), 1U);
    statement.reset();
    auto it = res->begin();
    ++it;
    std::optional field((*it)["i"]);
    it = {};
    res.reset();
    EXPECT_EQ(field->as<std::string>(), "8");
    EXPECT_EQ(captured.use_count(), 2);
    field.reset();
    EXPECT_EQ(captured.use_count(), 1) << "the connection closes with its last user";
}

TEST_F(AccessLayer, CapturesAreDestroyedOnce) {
    auto captured = std::make_shared<int>();
    const auto holder = [captured](auto...) { (void)captured; };
    const long held = captured.use_count(); // by `captured` and `holder`
    define("f", 1, holder);
    define("f", 2, holder);
    define("f", 1, holder);
    EXPECT_EQ(captured.use_count(), held + 2) << "a replaced function is gone";
    fails(SQLITE_MISUSE, "fff", [&] { define(std::string(300, 'f'), 1, holder); });
    fails(SQLITE_MISUSE, "no callback", [&] { define("f", 1, nullptr); });
    fails(SQLITE_MISUSE, "NUL", [&] { define("f\0g"s, 1, holder); });
    const auto running = numbers(2);
    fails(SQLITE_BUSY, "active statements", [&] { define("f", 2, holder); });
    EXPECT_EQ(captured.use_count(), held + 2) << "a refused function is gone";
}

} // namespace
