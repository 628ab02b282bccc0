#pragma once

#include "tests/support.h"

#include <map>
#include <set>

/// A store, a plain map that says what it must hold, and operations on both that follow numbers
/// from outside, each from the whole range of 64 bits: random ones, or those of a recorded run.
class Model {
public:
    explicit Model(std::function<uint64_t()> numbers, bool has_contact_index = false)
        : m_numbers(std::move(numbers)) {
        if (has_contact_index) {
            m_users.CreateContactIndex();
        }
    }

    void step() {
        const Key key = random_key();
        const auto stored = m_expected.find(key);
        const bool is_stored = stored != m_expected.end();
        const uint32_t if_stored = is_stored ? 1 : 0;
        UserRow row = random_row(key);
        UserRow passed = row;
        switch (number(9)) {
        case 0:
            if (is_stored) {
                fails(SQLITE_CONSTRAINT_PRIMARYKEY, "users.", [&] { m_users.Insert(passed); });
                EXPECT_EQ(passed.local_user_id, stored->second.local_user_id) << "formed already";
            } else {
                EXPECT_EQ(m_users.Insert(passed), 1U);
                m_expected[key] = passed;
            }
            break;
        case 1:
            EXPECT_EQ(m_users.InsertOrIgnore(passed), 1 - if_stored);
            m_expected.emplace(key, passed);
            break;
        case 2:
        case 3:
            EXPECT_EQ(m_users.InsertOrReplace(passed), 1U);
            m_expected[key] = passed;
            break;
        case 4:
            EXPECT_EQ(m_users.DelUserByUserIdAndSource(key.first, key.second), if_stored);
            m_expected.erase(key);
            break;
        case 5:
            EXPECT_EQ(m_users.Update(passed), if_stored);
            EXPECT_EQ(passed, row);
            if (is_stored) {
                row.local_user_id = stored->second.local_user_id;
                row.device_id = stored->second.device_id;
                row.is_anonymous = stored->second.is_anonymous;
                stored->second = row;
            }
            break;
        default:
            change_one_field(key, row, is_stored ? &stored->second : nullptr);
        }
        read_back(key, row);
    }

private:
    using DBUser = db::DBUser;
    using UserDataType = db::UserDataType;
    using UserRow = db::UserRow;
    using Key = std::pair<std::string, uint32_t>;

    uint32_t number(uint32_t below) { return static_cast<uint32_t>(m_numbers() % below); }

    Key random_key() {
        std::string id = number(4) == 0 ? "U" : "u"; // on its own: numbers are taken in one order
        id += std::to_string(number(3));
        return {id, number(3) == 0 ? 2147483648U : number(2)};
    }

    /// All of it by one number, so that a short record of numbers tells many steps.
    UserRow random_row(const Key& key) {
        static const std::string texts[] = {"", "a'b", "\xff", "{}", "0"};
        std::mt19937_64 values(m_numbers());
        UserRow row;
        db::for_each_user_column([&](const auto& column) {
            auto& field = row.*column.field;
            if constexpr (std::is_same_v<decltype(field), std::string&>) {
                field = texts[values() % 5];
            } else {
                const uint64_t bits = values() % 4 == 0 ? UINT64_MAX : values();
                field = static_cast<std::decay_t<decltype(field)>>(bits >> values() % 64);
            }
        });
        row.user_id = key.first;
        row.user_source = key.second;
        return row;
    }

    void change_one_field(const Key& key, const UserRow& row, UserRow* stored) {
        const bool flag = number(2) == 1;
        const auto update = [&](auto change, auto value, auto field) {
            EXPECT_EQ(change(value, key.first, key.second, m_users), stored != nullptr ? 1U : 0U);
            if (stored != nullptr) {
                stored->*field = value;
                // past its end SQLite goes on in reals, which read as the largest number
                stored->user_version += stored->user_version == INT64_MAX ? 0 : 1;
            }
        };
        switch (number(4)) {
        case 0:
            return update(DBUser::UpdateIsStartByIdAndSource, flag, &UserRow::is_star);
        case 1:
            return update(DBUser::UpdateIsAttentionByIdAndSource, flag, &UserRow::is_attention);
        case 2:
            return update(DBUser::UpdateRemarkByIdAndSource, row.remark, &UserRow::remark);
        default:
            return update(DBUser::UpdateDataTypeByIdAndSource, row.data_type, &UserRow::data_type);
        }
    }

    void read_back(const Key& key, const UserRow& other) {
        const auto stored = m_expected.find(key);
        const bool is_stored = stored != m_expected.end();
        const auto mask = number(8);
        const bool has_kind = is_stored && (stored->second.data_type & mask) != 0;
        UserRow read = other;
        EXPECT_EQ(
            m_users.GetUserByIdSourceAndDataType(key.first, key.second, UserDataType(mask), read),
            has_kind);
        EXPECT_EQ(read, has_kind ? stored->second : other);
        EXPECT_EQ(m_users.GetUserByUserIdAndSource(key.first, key.second, read), is_stored);
        EXPECT_EQ(read, is_stored ? stored->second : other);

        std::set<std::pair<std::string, int>> asked;
        for (uint32_t i = number(6); i > 0; --i) {
            const Key one = random_key();
            asked.emplace(one.first, static_cast<int>(one.second));
        }
        same(m_users.GetUserRowsByUserIds(asked), [&](const UserRow& row) {
            return asked.contains({row.user_id, static_cast<int>(row.user_source)});
        });
        const auto of_kind = [&](const UserRow& row) { return (row.data_type & mask) != 0; };
        same(m_users.GetUsersByDataType(UserDataType(mask)), of_kind);
        same(m_users.GetUsersByDataTypeAndSource(UserDataType(mask), key.second),
             [&](const UserRow& row) { return of_kind(row) && row.user_source == key.second; });
        same(m_users.GetAll(), [](const UserRow&) { return true; });
    }

    /// Expects the rows to be those of the map for which `selected` holds, each once.
    template <typename Selected>
    void same(const std::vector<UserRow>& rows, Selected selected) {
        std::vector<UserRow> expected;
        for (const auto& [key, row] : m_expected) {
            if (selected(row)) {
                expected.push_back(row);
            }
        }
        EXPECT_THAT(rows, testing::UnorderedElementsAreArray(expected));
    }

    std::function<uint64_t()> m_numbers;
    std::map<Key, UserRow> m_expected;
    DBUser m_users{{"me", 1}, in_memory()};
};
