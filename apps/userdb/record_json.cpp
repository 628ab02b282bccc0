#include "apps/userdb/record_json.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/kinds.h"
#include "apps/userdb/text.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

namespace userdb {

namespace {

using nlohmann::json;

constexpr size_t max_depth = 100; // each level costs other readers of a remark some stack

[[noreturn]] void refuse(const std::string& key, const std::string& why) {
    throw bad_input("key '" + key + "': " + why);
}

/// Whether a text in UTF-8 holds a character from U+007F to U+009F, or one that turns the direction
/// of writing: U+202A to U+202E and U+2066 to U+2069.
bool commands_terminal(std::string_view text) {
    for (; !text.empty(); text.remove_prefix(1)) {
        const std::string_view next = text.substr(0, 3);
        const char last = next.back();
        if (next[0] == '\x7f' || (next[0] == '\xc2' && next < "\xc2\xa0") ||
            (next.starts_with("\xe2\x80") && '\xaa' <= last && last <= '\xae') ||
            (next.starts_with("\xe2\x81") && '\xa6' <= last && last <= '\xa9')) {
            return true;
        }
    }
    return false;
}

/// Appends a text as a JSON string. If it is for a terminal and would command it, all characters
/// beyond ASCII are escaped. Bytes that are no UTF-8 become U+FFFD; returns whether there are none.
bool append_string(std::string& out, const std::string& text, bool for_terminal = false) {
    const bool is_plain = std::all_of(text.begin(), text.end(), [](char c) {
        return ' ' <= c && c <= '~' && c != '"' && c != '\\';
    });
    if (is_plain) {
        (out += '"').append(text) += '"';
        return true;
    }
    const bool is_ascii = for_terminal && commands_terminal(text);
    try {
        out += json(text).dump(-1, ' ', is_ascii);
        return true;
    } catch (const json::type_error&) {
        out += json(text).dump(-1, ' ', is_ascii, json::error_handler_t::replace);
        return false;
    }
}

/// Receives the parts of a JSON text in their order. A tree of them would cost time that grows with
/// the square of the members of an object, since it looks for each new one among the earlier ones.
class json_events : public nlohmann::json_sax<json> {
public:
    bool null() final { return value("null", false); }
    bool boolean(bool is_true) final { return value(is_true ? "true" : "false", false); }
    bool number_integer(int64_t number) final { return value(std::to_string(number), false); }
    bool number_unsigned(uint64_t number) final { return value(std::to_string(number), false); }
    bool number_float(double /*number*/, const std::string& digits) final {
        return value(digits, false);
    }
    bool string(std::string& text) final { return value(std::move(text), true); }
    bool binary(json::binary_t& /*bytes*/) final { return false; } // no text holds any
    bool start_object(size_t /*size*/) final { return open('{'); }
    bool end_object() final { return close('}'); }
    bool start_array(size_t /*size*/) final { return open('['); }
    bool end_array() final { return close(']'); }

    bool parse_error(size_t position, const std::string& /*token*/,
                     const json::exception& /*failure*/) override {
        throw bad_input("no JSON from byte " + std::to_string(position) + " on");
    }

    /// A text, or a number, true, false or null as it is written.
    virtual bool value(std::string token, bool is_text) = 0;
    virtual bool open(char bracket) = 0;
    virtual bool close(char bracket) = 0;
};

/// Writes the parts of a JSON text again, without blanks.
class compact_writer : public json_events {
public:
    bool value(std::string token, bool is_text) override {
        separate();
        if (is_text) {
            append_string(m_text, token);
        } else {
            m_text += token;
        }
        return true;
    }
    bool open(char bracket) override {
        separate();
        m_text += bracket;
        return true;
    }
    bool close(char bracket) override {
        m_text += bracket;
        return true;
    }
    bool key(std::string& name) override {
        value(name, true);
        m_text += ':';
        return true;
    }
    /// Returns what is written, and begins the next text.
    std::string take() { return std::exchange(m_text, {}); }

private:
    void separate() {
        if (!m_text.empty() &&
            std::string_view("{[:").find(m_text.back()) == std::string_view::npos) {
            m_text += ',';
        }
    }

    std::string m_text;
};

/// The text without blanks and escapes that it need not have, if it is a JSON object or array.
/// Otherwise the text as it is.
std::string compacted(std::string text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    const bool may_be = first != std::string::npos && (text[first] == '{' || text[first] == '[') &&
                        text.find('\0') == std::string::npos; // the parser would stop there
    compact_writer writer;
    try {
        return may_be && json::sax_parse(text, &writer) ? writer.take() : text;
    } catch (const bad_input&) {
        return text;
    }
}

/// The mask for names of kinds: a text that joins them by commas, or the text of a JSON array.
uint32_t kinds_of(const std::string& names) {
    return kinds_from(names.starts_with('[')
                          ? joined(json::parse(names).get<std::vector<std::string>>(), ",")
                          : names);
}

/// The position of a name in `db::user_column_names`, or their number if it is not there.
constexpr size_t column_of(std::string_view name) {
    return static_cast<size_t>(
        std::find(db::user_column_names.begin(), db::user_column_names.end(), name) -
        db::user_column_names.begin());
}

/// Fills a record.
class record_reader : public json_events {
public:
    /// The size is that of the JSON text.
    record_reader(db::UserRow& user_row, size_t size) : m_row(user_row), m_size(size) {}

    bool value(std::string token, bool is_text) override {
        if (m_depth > 1) {
            m_structure.value(std::move(token), is_text);
        } else {
            assign(std::move(token), is_text);
        }
        return true;
    }
    bool key(std::string& name) override {
        if (m_depth > 1) {
            m_structure.key(name);
            return true;
        }
        const size_t column = column_of(name);
        if (column == db::user_column_names.size()) {
            refuse(name, "unknown");
        }
        m_column = column;
        if (std::exchange(m_given[m_column], true)) {
            refuse(name, "given twice");
        }
        return true;
    }
    bool parse_error(size_t position, const std::string& token,
                     const json::exception& failure) override {
        if (m_depth > 0 && dynamic_cast<const json::out_of_range*>(&failure) != nullptr) {
            refuse(key_name(), "a number too large");
        }
        if (position > m_size) {
            refuse_whole();
        }
        return json_events::parse_error(position, token, failure);
    }
    bool open(char bracket) override {
        if (m_depth == 0 && bracket != '{') {
            refuse_whole();
        }
        if (m_depth == max_depth) {
            refuse(key_name(), "nested more than " + std::to_string(max_depth) + " levels deep");
        }
        if (m_depth == 1 && !may_be_structured()) {
            assign({}, false);
        }
        if (m_depth > 0) {
            m_structure.open(bracket);
        }
        ++m_depth;
        return true;
    }
    bool close(char bracket) override {
        --m_depth;
        if (m_depth > 0) {
            m_structure.close(bracket);
        }
        if (m_depth == 1) {
            assign(m_structure.take(), true);
        }
        return true;
    }
    [[nodiscard]] bool has_user_id() const { return m_given[column_of("user_id")]; }

private:
    [[noreturn]] static void refuse_whole() {
        throw bad_input("not one whole JSON object: is the file pretty-printed?");
    }
    [[nodiscard]] std::string key_name() const { return db::user_column_names[m_column]; }
    [[nodiscard]] bool is_kind() const { return m_column == column_of("data_type"); }
    [[nodiscard]] bool may_be_structured() const {
        return m_column == column_of("remark") || m_column == column_of("group_info") || is_kind();
    }
    /// Puts a value into the field of the present key, which takes either texts or numbers.
    void assign(std::string value, bool is_text) {
        if (m_depth == 0) {
            refuse_whole();
        }
        size_t column_number = 0;
        db::for_each_user_column([&](const auto& column) {
            if (column_number++ == m_column) {
                put(m_row.*column.field, std::move(value), is_text);
            }
        });
    }
    void put(std::string& field, std::string value, bool is_text) const {
        if (!is_text) {
            refuse(key_name(), may_be_structured() ? "must be a text, an object or an array"
                                                   : "must be a text");
        }
        field = may_be_structured() ? compacted(std::move(value)) : std::move(value);
    }
    template <std::integral Integer>
    void put(Integer& field, const std::string& value, bool is_text) const {
        const std::optional<Integer> number = whole_number<Integer>(value);
        if (is_text && is_kind()) {
            field = static_cast<Integer>(kinds(value));
            return;
        }
        if (is_text || !number) {
            refuse(key_name(), must_be_whole_number<Integer>());
        }
        field = *number;
    }

    [[nodiscard]] uint32_t kinds(const std::string& names) const {
        try {
            return kinds_of(names);
        } catch (const bad_input& failure) {
            refuse(key_name(), failure.what());
        } catch (const json::exception&) {
            refuse(key_name(), "an array of it must have names of kinds");
        }
    }

    db::UserRow& m_row;
    size_t m_size;
    size_t m_depth = 0;
    size_t m_column = 0; // the one that the last key of the record names
    std::array<bool, db::user_column_names.size()> m_given{};
    compact_writer m_structure; // the object or array that is the value of that key
};

} // namespace

std::string to_json(const db::UserRow& user_row, bool& is_utf8) {
    std::string object;
    is_utf8 = true;
    db::for_each_user_column([&](const auto& column) {
        const auto& value = user_row.*column.field;
        object.append(object.empty() ? "{\"" : ",\"").append(column.name) += "\":";
        if constexpr (std::is_same_v<decltype(value), const std::string&>) {
            is_utf8 = append_string(object, value, true) && is_utf8;
        } else {
            object += std::to_string(value);
        }
    });
    return object + '}';
}

bool is_readable(const std::string& remark) {
    return remark.size() <= 2 || ((remark[0] == '{' || remark[0] == '[') && json::accept(remark));
}

db::UserRow from_json(const std::string& json_text, uint32_t kinds) {
    if (json_text.find('\0') != std::string::npos) {
        throw bad_input("there is a NUL byte in the line"); // the parser would stop there
    }
    db::UserRow user_row;
    user_row.data_type = kinds;
    record_reader reader(user_row, json_text.size());
    json::sax_parse(json_text, &reader);
    if (!reader.has_user_id()) {
        refuse("user_id", "missing");
    }
    if (user_row.user_id.empty()) {
        refuse("user_id", "empty");
    }
    return user_row;
}

std::string remark_of(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && text[first] == '{') {
        compact_writer writer;
        json::sax_parse(text, static_cast<json_events*>(&writer));
        return writer.take();
    }
    std::string remark = R"({"remark_name":)";
    if (!append_string(remark, text)) {
        throw bad_input("the remark has bytes that are no UTF-8");
    }
    return remark + '}';
}

std::vector<std::string> member_texts(const std::string& json_text, const std::string& name) {
    std::vector<std::string> texts;
    bool is_next = false; // whether the next value belongs to such a member
    const auto collect = [&](int /*depth*/, json::parse_event_t event, json& part) {
        if (event == json::parse_event_t::value && is_next && part.is_string()) {
            texts.push_back(std::move(part.get_ref<std::string&>()));
        }
        is_next = event == json::parse_event_t::key && part == name;
        // Only the insides of what is kept are looked at. No value is kept, so there is no tree.
        return event == json::parse_event_t::object_start ||
               event == json::parse_event_t::array_start;
    };
    if (json::parse(json_text, collect, false).is_discarded()) {
        texts.clear();
    }
    return texts;
}

} // namespace userdb
