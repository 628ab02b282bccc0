#pragma once

#include "base/base.shared/logging/logging.h"
#include "base/base.shared/sqlite/error.h"
#include "bll/bll.shared/db2/db_handler_user.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <sqlite3.h>
#include <unistd.h>

using namespace std::string_literals;
using testing::HasSubstr;

namespace db {

/// Shows in a failure the fields that have not their default.
inline void PrintTo(const UserRow& row, std::ostream* out) {
    for_each_user_column([&, defaults = UserRow()](const auto& column) {
        if (row.*column.field != defaults.*column.field) {
            *out << column.name << " = " << testing::PrintToString(row.*column.field) << ", ";
        }
    });
}

} // namespace db

/// Expects that `work` throws a `sqlite::error` with this code whose text holds `part`.
template <typename Work>
void fails(int code, const std::string& part, Work work, const char* file = __builtin_FILE(),
           int line = __builtin_LINE()) {
    const testing::ScopedTrace caller(file, line, part);
    try {
        work();
        ADD_FAILURE() << "nothing thrown, expected: " << part;
    } catch (const sqlite::error& failure) {
        EXPECT_EQ(failure.code(), code) << failure.what();
        EXPECT_THAT(failure.what(), HasSubstr(part));
    }
}

/// The random numbers of a test, the same again if the environment has the seed that a failure
/// shows.
class Random {
public:
    uint64_t operator()() { return m_numbers(); }
    size_t below(size_t end) { return static_cast<size_t>(m_numbers() % end); }
    /// Runs `step` so many times, or until it fails.
    template <typename Step>
    void repeat(int times, Step step) {
        for (int i = 0; i < times && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "USERSTORE_SEED=" << m_seed << ", step " << i);
            step();
        }
    }

private:
    const char* m_given = std::getenv("USERSTORE_SEED");
    unsigned long m_seed = m_given != nullptr ? std::stoul(m_given) : std::random_device()();
    std::mt19937_64 m_numbers{m_seed};
};

inline std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// What is left of a result: "a|b;c|d" for two rows of two columns.
inline std::string all_rows(const sqlite::result& res) {
    std::string all;
    for (const sqlite::row& row : res) {
        all += all.empty() ? "" : ";";
        for (size_t i = 0; i < row.column_count(); ++i) {
            all += i == 0 ? "" : "|";
            all += row[i] ? row[i].as<std::string>() : "NULL";
        }
    }
    return all;
}

/// Hands what is logged to a sink until its end.
struct logging_to {
    explicit logging_to(base::log::sink sink) { base::log::set_sink(std::move(sink)); }
    ~logging_to() {
        base::log::set_sink({});
        logInited = false;
    }
};

inline std::shared_ptr<sqlite::database> in_memory() {
    return std::make_shared<sqlite::database>(sqlite::special_t::in_memory);
}

inline db::UserRow contact(const std::string& id, const std::string& name = "") {
    db::UserRow row;
    row.user_id = id;
    row.user_name = name;
    row.data_type = 2;
    return row;
}

/// A store, and its connection for a look past it.
class WithStore : public testing::Test {
protected:
    explicit WithStore(std::shared_ptr<sqlite::database> db = in_memory())
        : connection(std::move(db)) {}

    std::string query(const std::string& sql) { return all_rows(connection->execute(sql)); }
    void store(db::UserRow row) { EXPECT_EQ(users->Insert(row), 1U); }
    static std::string ids_of(const std::vector<db::UserRow>& rows) {
        std::string ids;
        for (const db::UserRow& row : rows) {
            ids += row.user_id;
        }
        return ids;
    }
    std::string found(const std::string& key_word) {
        return ids_of(users->SearchUserRowsWithKeyWord(key_word));
    }

    std::shared_ptr<sqlite::database> connection;
    std::optional<db::DBUser> users{std::in_place, std::pair("me", 1), connection};
};

/// A directory that is gone with the test.
class scratch_directory {
public:
    scratch_directory() {
        std::string name = (std::filesystem::temp_directory_path() / "userstoreXXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~scratch_directory() { std::filesystem::remove_all(m_path); }
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const {
        return (m_path / name).string();
    }

private:
    std::filesystem::path m_path;
};

/// A connection to a file, and another one that waits for nobody.
class WithFile : public testing::Test {
protected:
    WithFile() {
        run("PRAGMA synchronous = OFF");
        other.execute("PRAGMA busy_timeout = 0");
    }

    std::string run(const std::string& sql) { return all_rows(db->execute(sql)); }
    std::string others_see(const std::string& sql) { return all_rows(other.execute(sql)); }
    std::string timeout() { return run("PRAGMA busy_timeout"); }

    scratch_directory directory;
    std::string file = directory.file("a.db");
    std::shared_ptr<sqlite::database> db = std::make_shared<sqlite::database>(file);
    sqlite::database other{file};
};
