#pragma once

#include "base/base.shared/sqlite/database.h"
#include "base/base.shared/sqlite/error.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

/// Expects that `work` throws a `sqlite::error` with this code whose text holds `part`.
template <typename Work>
void fails(int code, const std::string& part, Work work) {
    try {
        work();
        ADD_FAILURE() << "nothing thrown, expected: " << part;
    } catch (const sqlite::error& failure) {
        EXPECT_EQ(failure.code(), code) << failure.what();
        EXPECT_NE(std::string(failure.what()).find(part), std::string::npos) << failure.what();
    }
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// What is left of a result: "a|b;c|d" for two rows of two columns.
inline std::string shown(const sqlite::result& res) {
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
