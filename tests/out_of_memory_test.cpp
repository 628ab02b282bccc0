#include "tests/support.h"

#include <cstdlib>

using db::DBUser;
using db::UserRow;
using sqlite::database;

namespace {

/// Who asks for memory, as bits.
enum source { of_sqlite = 1, of_cpp = 2, of_expressions = 4 };

/// Which allocation fails, and how many blocks of SQLite and C++ are alive. Allocates nothing.
struct {
    bool refuses(source asking) {
        if ((targets & asking) == 0) {
            return false;
        }
        const bool now = left > 0 ? --left == 0 : for_ever;
        hit = hit || now;
        return now;
    }
    void* counted(void* block) {
        alive += block != nullptr ? 1 : 0;
        return block;
    }

    int targets = 0;
    int left = 0; // allocations of the targets up to the one that fails
    bool for_ever = false;
    bool hit = false;
    long alive = 0;
} constinit memory;

sqlite3_mem_methods original;

/// Before SQLite's first use, and without the cache that would hide most allocations.
const bool sqlite_is_counted = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &original);
    sqlite3_mem_methods methods = original;
    methods.xMalloc = [](int size) {
        return memory.refuses(of_sqlite) ? nullptr : memory.counted(original.xMalloc(size));
    };
    methods.xRealloc = [](void* block, int size) {
        return memory.refuses(of_sqlite) ? nullptr : original.xRealloc(block, size);
    };
    methods.xFree = [](void* block) {
        original.xFree(block);
        --memory.alive;
    };
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK &&
           sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;
}();

} // namespace

// Those for arrays call these. Inlined, these look to GCC like memory of malloc that is deleted.
[[gnu::noinline]] void* operator new(size_t size) {
    void* block = memory.refuses(of_cpp) ? nullptr : memory.counted(std::malloc(size));
    return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    memory.alive -= block != nullptr ? 1 : 0;
    std::free(block);
}
void operator delete(void* block, size_t /*size*/) noexcept {
    operator delete(block);
}

static int compiled = 0; // expressions so far

/// What the engine calls in this program.
extern "C" int counted_regcomp(regex_t* expression, const char* pattern, int flags) {
    ++compiled;
    return memory.refuses(of_expressions) ? REG_ESPACE : regcomp(expression, pattern, flags);
}

namespace {

/// A store in a file, and what an operation gave.
struct World {
    explicit World(const std::string& file) : path(file), db(std::make_shared<database>(file)) {
        // UTF-16 must be converted, which takes memory, wherever a text is read.
        run("PRAGMA encoding = 'UTF-16'");
        run("PRAGMA synchronous = OFF");
        users.emplace(std::pair("me", 1), db);
        kept.emplace(db->prepare_statement("SELECT upper(remark) FROM users WHERE :a > 0"));
    }
    sqlite::result run(const std::string& sql) { return db->execute(sql); }
    /// A contact whose key is formed already and whose texts own memory.
    UserRow& whole(const std::string& id, const std::string& name = "the user name of ") {
        given = contact(id, name + id);
        given.user_source = 1;
        given.local_user_id = id + ":1";
        given.remark = R"({"remark_name":"the remark name of )" + id + R"("})";
        given.group_info = R"([{"nick_name":"the nick name of )" + id + R"("}])";
        return given;
    }
    uint32_t add(const std::string& id) { return users->Insert(whole(id)); }
    /// All that is stored, and what the operation gave.
    std::string told() {
        return std::to_string(number) + text + testing::PrintToString(rows) +
               all_rows(run("SELECT * FROM users")) + all_rows(run("PRAGMA user_version")) +
               all_rows(run("SELECT name FROM sqlite_master"));
    }

    std::string path, text;
    std::shared_ptr<database> db;
    std::optional<DBUser> users;
    std::optional<sqlite::statement> kept;
    UserRow given;
    std::vector<UserRow> rows{1};
    uint64_t number = 0;
};

constexpr auto contacts = db::UserDataType::USERDATA_CONTACT;
const char* const each = "(user name of one|remark name of two|nick name of three)";

// clang-format off
struct Operation {
    const char* name;
    void (*run)(World&);
    friend void PrintTo(const Operation& one, std::ostream* out) { *out << one.name; }
} const operations[] = {
    {"Open", [](World& w) { w.text = all_rows(database(w.path).execute("PRAGMA page_size")); }},
    {"Reads", [](World& w) {
        auto stmt = w.db->prepare_statement("SELECT :s AS s, :c, :u AS u, :l");
        stmt.bind(":s", std::string(50, 's'));
        stmt.bind(":c", "some characters");
        stmt.bind(":u", 1234567890U);
        stmt.bind(":l", 1LL << 40);
        w.kept->bind(":a", "text");
        const auto res = w.db->execute(stmt);
        const std::string first = (*res.begin())["u"].as<std::string>();
        w.text = first + (*res.begin())[0].column_name() + all_rows(res) +
                 all_rows(w.db->execute(*w.kept)) + std::to_string(w.db->size()) +
                 all_rows(w.run("SELECT * FROM users ORDER BY remark"));
    }},
    {"Transactions", [](World& w) {
        w.users->as_transaction([&] {
            w.add("four");
            w.users->begin_transaction();
            w.add("five");
            w.users->CreateTable(); // what rolls back must be compiled anew
            w.run("CREATE TABLE other (i)");
            w.users->rollback_transaction();
            w.db->as_transaction([&](database&) { w.add("six"); });
            w.users->db_set_user_data_version("7");
        });
    }},
    {"LostTransaction", [](World& w) {
        const auto lose = [&](database& db) {
            db.as_transaction([&](database&) { w.add("four"); });
            w.users->CreateTable();
            throw 1;
        };
        try {
            w.db->as_transaction(lose);
        } catch (int) { // as it should
        }
        w.db->as_transaction([&](database&) { // none inside of the one that is lost
#ifdef SQLITE_TXN_WRITE // since SQLite 3.34
            EXPECT_EQ(sqlite3_txn_state(w.db->native_handle(), "main"), SQLITE_TXN_WRITE);
#endif
            w.add("five");
        });
    }},
    {"NewStore", [](World& w) { w.rows = DBUser({"me", 2}, in_memory()).GetAll(); }},
    {"Logging", [](World& w) {
        base::log::set_sink([](auto, auto& tag, auto& text) { (void)(tag + text); });
        const DBUser passing({"me", 2}, w.db);
        w.number = w.users->UpdateRemarkByIdAndSource("a new remark", "one", 1, *w.users);
    }},
    {"CreateTable", [](World& w) { w.users->CreateTable(); }},
    {"Insert", [](World& w) { w.number = w.add("four"); }},
    {"Replace", [](World& w) { w.number = w.users->InsertOrReplace(w.whole("two", "new ")); }},
    {"Update", [](World& w) { w.number = w.users->Update(w.whole("two", "new ")); }},
    {"Delete", [](World& w) { w.number = w.users->DelUserByUserIdAndSource("two", 1); }},
    {"Get", [](World& w) { w.number = w.users->GetUserByUserIdAndSource("two", 1, w.rows[0]); }},
    {"Batch", [](World& w) { w.rows = w.users->GetUserRowsByUserIds({{"one", 1}, {"two", 1}}); }},
    {"ListOfSource", [](World& w) { w.rows = w.users->GetUsersByDataTypeAndSource(contacts, 1); }},
    {"ListAll", [](World& w) { w.rows = w.users->GetAll(); }},
    {"LongTexts", [](World& w) { // the engine compiles anew, a phrase finds its borders
        w.text = all_rows(w.run("WITH t(ab) AS (SELECT replace(printf('%.5000c', 'x'), 'x', 'ab'))"
                             "SELECT USER_REGEX(ab || 'q', '', '', '(a|x)[^c]{29}q'),"
                             "USER_REGEX(ab, '', '', substr(ab, 1, 1000) || 'b') FROM t"));
    }},
    {"HealingSearch", [](World& w) {
        const DBUser other({"me", 2}, w.db);
        w.rows = w.users->SearchUserRowsWithKeyWord(each);
    }},
    {"KeptStatements", [](World& w) {
        w.db->set_statement_cache_capacity(1);
        UserRow row;
        w.users->GetUserByUserIdAndSource("one", 1, row);
        w.users->GetUserByUserIdAndSource("two", 1, row);
        w.number = w.users->DelUserByUserIdAndSource("two", 1);
        w.db->set_statement_cache_capacity(0);
        w.rows[0] = std::move(row);
    }},
    {"Index", [](World& w) { w.users->CreateUserIdIndex(); }},
};
// clang-format on

#ifdef RE_SYNTAX_POSIX_EXTENDED
constexpr int of_engine = of_expressions;
#else
constexpr int of_engine = 0; // others tell nobody whether an expression is too large
#endif
constexpr std::pair<int, bool> cases[] = {
    {of_sqlite, false}, {of_sqlite, true},  {of_cpp, false},
    {of_cpp, true},     {of_engine, false}, {of_sqlite | of_cpp | of_engine, true}};

class OutOfMemory : public testing::TestWithParam<Operation> {
protected:
    OutOfMemory() {
        World w(directory.file("template"));
        for (const char* id : {"one", "two", "three"}) {
            w.add(id);
        }
    }
    World fresh_world() {
        std::filesystem::copy_file(directory.file("template"), directory.file("copy"),
                                   std::filesystem::copy_options::overwrite_existing);
        return World(directory.file("copy"));
    }
    /// Whether the operation gets through. If not, it is for want of memory.
    static bool done(World& w) {
        bool through = true;
        try {
            GetParam().run(w);
        } catch (const sqlite::error& failure) {
            memory.targets = 0;
            through = false;
            const int code = failure.code(); // the last: a body went on after its inner one failed
            EXPECT_THAT(code,
                        testing::AnyOf(SQLITE_NOMEM, SQLITE_IOERR_NOMEM, SQLITE_ABORT_ROLLBACK))
                << failure.what();
        } catch (const std::bad_alloc&) {
            through = false;
        }
        memory.targets = 0;
        base::log::set_sink({});
        logInited = false;
        return through;
    }
    void fail(int targets, int nth, bool for_ever) {
        World w = fresh_world();
        memory = {targets, nth, for_ever, false, memory.alive};
        if (!done(w)) {
            EXPECT_EQ(w.told(), before) << "a failed operation leaves nothing behind";
            EXPECT_TRUE(done(w)) << "it works once there is memory";
        }
        EXPECT_EQ(w.told(), after);
        w.kept.reset();
        EXPECT_EQ(sqlite3_next_stmt(w.db->native_handle(), nullptr), nullptr) << "one is left";
    }

    scratch_directory directory;
    std::string before, after; // what a world tells without a fault
};

TEST_P(OutOfMemory, LeavesTheOldOrTheNewAndNothingElse) {
    ASSERT_TRUE(sqlite_is_counted);
    {
        World w = fresh_world();
        before = w.told();
        ASSERT_TRUE(done(w));
        after = w.told();
    }
    int faults = 0;
    for (const auto& [targets, for_ever] : cases) {
        for (int nth = 1; nth == 1 || memory.hit; ++nth, ++faults) {
            const long alive = memory.alive;
            fail(targets, nth, for_ever);
            EXPECT_EQ(memory.alive, alive) << "leaked";
            ASSERT_FALSE(HasFailure()) << "targets " << targets << " from " << nth << for_ever;
        }
    }
    RecordProperty("faults", faults);
}

INSTANTIATE_TEST_SUITE_P(During, OutOfMemory, testing::ValuesIn(operations),
                         [](const auto& info) { return info.param.name; });

TEST(Expressions, AreCompiledAnewForMemoryAloneNotForEachRow) {
    const scratch_directory directory;
    World w(directory.file("a.db"));
    const auto compiled_by = [&](const std::string& key_word) {
        const int before = compiled;
        w.users->SearchUserRowsWithKeyWord(key_word);
        return compiled - before;
    };
    for (int i = 0; i < 50; ++i) {
        w.add(std::string(200, 'a') + std::to_string(i));
    }
    EXPECT_EQ(compiled_by("aaa"), 0) << "a phrase needs no engine";
    EXPECT_EQ(compiled_by("(.*)\\1"), 0) << "refused";
    EXPECT_EQ(compiled_by("aa[ab]"), 3);
    EXPECT_EQ(compiled_by("aa[ab]"), 0);
    EXPECT_EQ(compiled_by("a[^b]{30}[~]") > 3, of_engine != 0) << "its many states are given back";
}

} // namespace
