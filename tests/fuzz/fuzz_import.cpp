#include "apps/userdb/failures.h"
#include "apps/userdb/record_json.h"
#include "tests/support.h"

#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

namespace {

/// A value as plain JSON says it, if it is a text of an object or array.
json said(const json& value) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    const json parsed = json::parse(text, nullptr, false);
    return parsed.is_structured() && text.find('\0') == std::string::npos ? parsed : value;
}

/// Expects each field to be what a plain parse of the line finds under its name.
void says(const std::string& line, const db::UserRow& row) {
    const json object = json::parse(line);
    const db::UserRow defaults;
    db::for_each_user_column([&](const auto& column) {
        const json value = object.value(column.name, json(defaults.*column.field));
        const json field = row.*column.field;
        const bool is_kind = column.name == std::string("data_type");
        EXPECT_TRUE(said(value) == said(field) || (is_kind && !value.is_number())) << column.name;
    });
}

/// The record after it was written as a line and read again.
db::UserRow reread(const db::UserRow& row, bool& is_utf8) {
    return userdb::from_json(userdb::to_json(row, is_utf8));
}

} // namespace

/// The input is a line of an import.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    GTEST_FLAG_SET(break_on_failure, true);
    static db::DBUser users({}, in_memory());
    const std::string line(reinterpret_cast<const char*>(data), size);
    bool is_utf8 = false;
    db::UserRow any; // also of bytes that no line can hold
    any.user_id = "a";
    any.extra = line;
    db::UserRow read = reread(any, is_utf8);
    EXPECT_EQ(read == any, is_utf8);
    EXPECT_THAT(read.extra, is_utf8 ? HasSubstr(line) : HasSubstr("\ufffd"));
    userdb::member_texts(line, "nick_name");

    db::UserRow row;
    try {
        row = userdb::from_json(line);
    } catch (const userdb::bad_input&) {
        return 0;
    }
    says(line, row);
    read = reread(row, is_utf8);
    EXPECT_TRUE(is_utf8);
    EXPECT_EQ(read, row);
    EXPECT_EQ(users.InsertOrReplace(row), 1U);
    EXPECT_EQ(users.GetUserByUserIdAndSource(row.user_id, row.user_source, read), 1U);
    EXPECT_EQ(read, row);
    EXPECT_EQ(users.DelUserByUserIdAndSource(row.user_id, row.user_source), 1U);
    return 0;
}
