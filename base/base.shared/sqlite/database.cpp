#include "base/base.shared/sqlite/database.h"

#include "base/base.shared/sqlite/connection.h"
#include "base/base.shared/sqlite/detail.h"
#include "base/base.shared/sqlite/transaction.h"

#include <exception>
#include <limits>
#include <new>
#include <sqlite3.h>
#include <string_view>
#include <utility>

namespace sqlite {

static_assert(SQLITE_VERSION_NUMBER >= 3024000, "userstore needs SQLite 3.24 or newer");
static_assert(read_only == SQLITE_OPEN_READONLY);
static_assert(read_write == SQLITE_OPEN_READWRITE);
static_assert(read_write_create == (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE));
static_assert(shared_cache == SQLITE_OPEN_SHAREDCACHE);
static_assert(private_cache == SQLITE_OPEN_PRIVATECACHE);

namespace {

constexpr int busy_timeout_ms = 5000;

using function_body = decltype(SqliteCustomFunction::call_back);

/// The one door through which SQLite calls C++ code: no exception passes it.
void call_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    try {
        const auto& body = *static_cast<function_body*>(sqlite3_user_data(context));
        body(context, argc, argv);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    } catch (const error& failure) {
        const int primary = failure.code() & 0xff;
        sqlite3_result_error(context, failure.what(), -1);
        sqlite3_result_error_code(
            context, SQLITE_OK < primary && primary < SQLITE_ROW ? failure.code() : SQLITE_ERROR);
    } catch (const std::exception& failure) {
        sqlite3_result_error(context, failure.what(), -1);
    } catch (...) {
        sqlite3_result_error(context, "the function threw something that is no std::exception", -1);
    }
}

void destroy_function(void* body) {
    delete static_cast<function_body*>(body);
}

} // namespace

database::database(const std::string& path, const access_mode& mode, const cache_type& cache) {
    if (path.find('\0') != std::string::npos) {
        throw error(SQLITE_CANTOPEN, "cannot open a database: its path has a NUL byte in it");
    }
    m_connection = std::make_shared<detail::connection>();
    const int flags = static_cast<int>(mode) | static_cast<int>(cache) | SQLITE_OPEN_FULLMUTEX;
    const int code = sqlite3_open_v2(path.c_str(), &m_connection->db, flags, nullptr);
    db = m_connection->db; // also of a failed open, for its message
    if (code != SQLITE_OK) {
        const int extended_code = db != nullptr ? sqlite3_extended_errcode(db) : code;
        detail::fail(db, extended_code, "open the database '" + path + "'", {});
    }
    if (sqlite3_db_mutex(db) == nullptr) { // the one lock of all that the connection does
        throw error(SQLITE_MISUSE, "cannot open the database '" + path +
                                       "': SQLite is built or configured single-threaded");
    }
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, busy_timeout_ms);
}

database::database(const special_t& /*special*/, const access_mode& mode, const cache_type& cache)
    : database(":memory:", mode, cache) {}

database::~database() {
    close();
}

statement database::prepare_statement(const std::string& sql) const {
    return statement(create_statement(sql));
}

statement database::prepare_uncached_statement(const std::string& sql) const {
    return statement(compile(sql, false));
}

result database::execute(const std::string& sql) {
    return execute(prepare_statement(sql));
}

result database::execute(const statement& stmt) {
    const auto held = detail::hold(db);
    sqlite3_stmt* handle = stmt.stmt.get();
    if (sqlite3_db_handle(handle) != db) {
        throw error(SQLITE_MISUSE,
                    "cannot execute a statement of another connection: " + detail::shown(handle));
    }
    m_connection->require_intact();
    detail::abandon_run(handle);
    const int total_before = sqlite3_total_changes(db);
    const bool has_row = detail::step(stmt.stmt);
    result res(stmt.stmt);
    // Without this test a statement like CREATE TABLE would show the count of the one before it.
    if (!has_row && sqlite3_stmt_readonly(handle) == 0 &&
        sqlite3_total_changes(db) != total_before) {
        res.m_modified = changes();
    }
    return res;
}

void database::lock() {
    sqlite3_mutex_enter(sqlite3_db_mutex(db));
    m_mut.lock();
}

void database::unlock() {
    m_mut.unlock();
    sqlite3_mutex_leave(sqlite3_db_mutex(db));
}

uint32_t database::as_transaction(const std::function<void(database&)>& body) {
    transaction scope(*this);
    body(*this);
    scope.commit();
    return scope.changes();
}

bool database::in_transaction() const {
    const auto held = detail::hold(db);
    return m_connection->has_transaction();
}

int64_t database::last_insert_rowid() const {
    const auto held = detail::hold(db);
    return sqlite3_last_insert_rowid(db);
}

size_t database::size() const {
    const auto held = detail::hold(db);
    const auto number = [this](const char* pragma) {
        const std::shared_ptr<sqlite3_stmt> stmt = create_statement(pragma);
        detail::step(stmt);
        return static_cast<size_t>(sqlite3_column_int64(stmt.get(), 0));
    };
    return number("PRAGMA page_count") * number("PRAGMA page_size");
}

uint32_t database::changes() const {
    const auto held = detail::hold(db);
    return static_cast<uint32_t>(sqlite3_changes(db));
}

void database::add_custom_function(SqliteCustomFunction function) {
    const auto held = detail::hold(db);
    const std::string tried = "add the function '" + function.name + "'";
    if (function.call_back == nullptr) {
        throw error(SQLITE_MISUSE, "cannot " + tried + ": it has no callback");
    }
    if (function.name.find('\0') != std::string::npos) {
        throw error(SQLITE_MISUSE, "cannot " + tried + ": its name has a NUL byte in it");
    }
    auto body = std::make_unique<function_body>(std::move(function.call_back));
    const int flags = SQLITE_UTF8 | (function.deterministic ? SQLITE_DETERMINISTIC : 0);
    // SQLite owns the body from here on, and destroys it if it refuses the function.
    const int code =
        sqlite3_create_function_v2(db, function.name.c_str(), function.argc, flags, body.release(),
                                   call_function, nullptr, nullptr, destroy_function);
    if (code != SQLITE_OK) {
        detail::fail(db, code, tried, {});
    }
}

void database::set_statement_cache_capacity(size_t statements) {
    const auto held = detail::hold(db);
    m_connection->statements.set_capacity(statements);
}

sqlite3* database::native_handle() const {
    return db;
}

void database::close() {
    db = nullptr;
    m_connection.reset();
}

std::shared_ptr<sqlite3_stmt> database::create_statement(const std::string& sql) const {
    const auto held = detail::hold(db);
    if (sqlite3_stmt* kept = m_connection->statements.take(sql)) {
        return detail::shared_statement(kept, m_connection, true);
    }
    // Some PRAGMAs act when they are compiled; what is explained may be another plan next time.
    const std::string_view text = detail::without_blanks(sql);
    const bool acts_when_compiled = sqlite3_strnicmp(text.data(), "PRAGMA", 6) == 0 ||
                                    sqlite3_strnicmp(text.data(), "EXPLAIN", 7) == 0;
    return compile(sql, !acts_when_compiled);
}

std::shared_ptr<sqlite3_stmt> database::compile(const std::string& sql, bool keep) const {
    const auto refuse = [&sql](const std::string& why) {
        throw error(SQLITE_MISUSE, "cannot prepare " + why + ": " + detail::shown(sql));
    };
    if (sql.find('\0') != std::string::npos) {
        refuse("a text with a NUL byte in it");
    }
    if (sql.size() >= static_cast<size_t>(std::numeric_limits<int>::max())) {
        detail::fail(nullptr, SQLITE_TOOBIG, "prepare a statement", {});
    }
    const auto held = detail::hold(db);
    sqlite3_stmt* handle = nullptr;
    const char* tail = nullptr;
    // With the terminating NUL counted in SQLite need not copy the text.
    const int code =
        sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size() + 1), &handle, &tail);
    const bool is_one_statement = handle != nullptr && detail::without_blanks(tail).empty();
    std::shared_ptr<sqlite3_stmt> stmt =
        detail::shared_statement(handle, m_connection, keep && is_one_statement);
    if (code != SQLITE_OK) {
        detail::fail(db, code, "prepare", detail::shown(sql));
    }
    if (!is_one_statement) {
        refuse(handle != nullptr ? "more than one statement" : "a text without a statement");
    }
    return stmt;
}

} // namespace sqlite
