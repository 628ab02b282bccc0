#include "bll/bll.shared/db2/db_handler_user.h"

#include "base/base.shared/logging/logging.h"
#include "base/base.shared/sqlite/transaction.h"
#include "base/base.shared/utils/regex_container.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <sqlite3.h>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace db {

namespace {

constexpr const char* find_sql = "SELECT * from users WHERE local_user_id = :local_user_id ;";

// SQLite keeps this text in the schema, blanks and tabs included, from the table's name on.
// clang-format off
constexpr std::string_view create_table_sql =
    "CREATE TABLE IF NOT EXISTS users ( "
    "local_user_id                 TEXT                                PRIMARY KEY ,"
    "                                                            user_id\t\t\t\tTEXT\t\t\t\t\t\t\t\tNOT NULL,"
    "                                                            device_id\t\t\tTEXT,"
    "                                                            avatar\t\t\t\tTEXT,"
    "                                                            user_name\t\t\tTEXT,"
    "                                                            name_spell\t\t\tTEXT,"
    "                                                            remark\t\t\t\tTEXT,"
    "                                                            extra\t\t\t\tTEXT,"
    "                                                            custom\t\t\t\tTEXT,"
    "                                                            user_extension\t\tTEXT,"
    "                                                            contact_extension\tTEXT,"
    "                                                            is_anonymous\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            is_star\t\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            is_attention\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            user_type\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            user_version\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            user_source\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            gender\t\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            data_type\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            group_info          TEXT            DEFAULT     '0',"
    "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\tmsg_set\t\t\t\tTEXT\t\t\tDEFAULT\t\t'0',"
    "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\tin_black_list\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL,"
    "                                                            is_blacked\t\t\tINTEGER\t\t\tDEFAULT \t0\t\tNOT NULL)";
// clang-format on

/// The columns and parameters of all inserts.
constexpr std::string_view user_field_list =
    "  ( local_user_id, user_id, device_id, avatar,  user_name,  name_spell,  remark, is_anonymous,"
    " is_star,  is_attention,  user_type, user_version,  user_source,  gender,  extra,  data_type,"
    " group_info, msg_set, in_black_list, is_blacked, user_extension, contact_extension) VALUES "
    " (:local_user_id, :user_id, :device_id, :avatar, :user_name, :name_spell, :remark,"
    " :is_anonymous, :is_star, :is_attention, :user_type, :user_version, :user_source, :gender,"
    " :extra, :data_type, :group_info, :msg_set, :in_black_list, :is_blacked, :user_extension,"
    " :contact_extension)";

// clang-format off
constexpr const char* update_sql =
    "UPDATE users SET "
    " data_type\t\t\t\t= :data_type, "
    " avatar\t\t\t\t= :avatar, "
    " user_name\t\t\t\t= :user_name, "
    " name_spell\t\t\t= :name_spell, "
    " remark\t\t\t\t= :remark, "
    " is_star\t\t\t\t= :is_star, "
    " is_attention\t\t\t= :is_attention, "
    " user_type\t\t\t\t= :user_type, "
    " user_version          = :user_version, "
    " gender\t\t\t\t= :gender, "
    " extra\t\t\t\t\t= :extra, "
    " group_info            = :group_info, "
    " msg_set\t\t\t\t= :msg_set, "
    " in_black_list\t\t\t= :in_black_list, "
    " is_blacked\t\t\t= :is_blacked, "
    "user_extension\t\t= :user_extension, "
    "contact_extension\t\t= :contact_extension "
    "WHERE user_id\t\t\t= :user_id "
    " AND user_source\t\t= :user_source;";
// clang-format on

static_assert(std::tuple_size_v<decltype(user_columns)> == 22);

/// Does not compile once UserRow has other than the 22 fields that `user_columns` lists.
using all_fields = decltype([](const UserRow& user_row) {
    [[maybe_unused]] const auto& [f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15,
                                  f16, f17, f18, f19, f20, f21, f22] = user_row;
});

/// How often `mark` stands in a text in front of a whole word.
constexpr size_t marks_before(std::string_view text, char mark, std::string_view word) {
    const auto is_in_word = [text](size_t place) {
        return (text[place] >= 'a' && text[place] <= 'z') || text[place] == '_';
    };
    size_t place = text.find(word);
    while (is_in_word(place - 1) || is_in_word(place + word.size())) {
        place = text.find(word, place + 1);
    }
    const std::string_view before = text.substr(0, place);
    return static_cast<size_t>(std::count(before.begin(), before.end(), mark));
}

/// Where the inserts have the parameters of `user_columns`. SQLite numbers parameters from 1 on, as
/// they appear in the text; to look them up by name for each insert takes a tenth of its time.
constexpr std::array insert_positions = std::apply(
    [](const auto&... column) {
        return std::array{marks_before(user_field_list, ':', column.parameter) + 1 ...};
    },
    user_columns);

/// Where `user_columns` stand in a table that the store has made, counted from 0.
constexpr std::array table_positions = std::apply(
    [](const auto&... column) {
        return std::array{marks_before(create_table_sql, ',', column.name)...};
    },
    user_columns);

void Load(const sqlite::row& row, const std::vector<size_t>& positions, UserRow& user_row) {
    std::apply([&](const auto&... column) { row.read(positions, (user_row.*column.field)...); },
               user_columns);
}

/// Binds a value. A text is bound in place: it must stay as it is until the statement has run.
template <typename T>
void bind_in_place(sqlite::statement& stmt, size_t position, const T& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        stmt.bind_no_copy(position, value);
    } else {
        stmt.bind(position, value);
    }
}

void BindAllField(const UserRow& user_row, sqlite::statement& stmt) {
    auto position = insert_positions.begin();
    for_each_user_column(
        [&](const auto& column) { bind_in_place(stmt, *position++, user_row.*column.field); });
}

/// A statement with its parameters bound to these values, in the order in which they appear.
template <typename... Values>
sqlite::statement prepare(sqlite::database& db, const std::string& sql, const Values&... values) {
    sqlite::statement stmt = db.prepare_statement(sql);
    size_t position = 0;
    (bind_in_place(stmt, ++position, values), ...);
    return stmt;
}

/// Runs a statement. Returns the number of rows that it changes.
uint32_t change(sqlite::database& db, const sqlite::statement& stmt) {
    db.execute(stmt);
    return db.changes();
}

/// A data type as it is bound.
unsigned int mask(UserDataType data_type) {
    return static_cast<unsigned int>(data_type);
}

/// Reads the rows of a query one by one until `visit` has enough. It finds the columns once: a list
/// that looks them up by name for each row takes five times as long.
template <typename Visit>
void walk(const sqlite::result& res, const Visit& visit) {
    if (res.begin() == res.end()) {
        return;
    }
    std::vector<size_t> positions(table_positions.begin(), table_positions.end()); // a guess
    res.begin()->find_columns({user_column_names.begin(), user_column_names.end()}, positions);
    UserRow user_row;
    for (const sqlite::row& row : res) {
        Load(row, positions, user_row);
        if (!visit(user_row)) {
            return;
        }
    }
}

/// Reads a query's first row into `user_row`. Returns 1, or 0 if there is no row.
uint32_t fetch(const sqlite::result& res, UserRow& user_row) {
    uint32_t count = 0;
    walk(res, [&](UserRow& found) { // a read that throws leaves `user_row` as it is
        user_row = std::move(found);
        count = 1;
        return false;
    });
    return count;
}

/// All that a walk visits.
template <typename Walk>
std::vector<UserRow> list(const Walk& walk) {
    std::vector<UserRow> user_rows;
    walk([&user_rows](UserRow& user_row) {
        user_rows.push_back(std::move(user_row));
        return true;
    });
    return user_rows;
}

/// Forms the record's key and stores the record under it.
uint32_t insert(DBUser& store, const char* head, UserRow& user_row) {
    user_row.local_user_id =
        store.make_local_user_id(user_row.user_id, static_cast<int32_t>(user_row.user_source));
    sqlite::statement stmt =
        prepare(*store.GetDB(), std::string(head).append(user_field_list) + ";");
    BindAllField(user_row, stmt);
    return change(*store.GetDB(), stmt);
}

/// Rewrites one column of one user.
template <typename ValueType>
uint32_t UpdateSingleFieldByIdAndSource(std::string field_name, ValueType field_value,
                                        std::string user_id, uint32_t user_source, db::DBBase& db) {
    const std::string sql = "UPDATE users SET " + field_name + "\t= :" + field_name +
                            ",user_version = (user_version+1) WHERE user_id\t\t= :user_id "
                            " AND user_source\t= :user_source;";
    sqlite::statement stmt = require_connection(db.GetDB()).prepare_statement(sql);
    stmt.bind<ValueType>(":" + field_name, field_value);
    stmt.bind<std::string>(":user_id", user_id);
    stmt.bind<unsigned int>(":user_source", user_source);
    if (logInited) {
        base::log::printer(base::log::level::DBG, __FILE__, __LINE__)
            << "UpdateSingleFieldByIdAndSource field_name:" << field_name
            << " field_value:" << field_value << " user_id:" << user_id << std::endl;
    }
    return change(*db.GetDB(), stmt);
}

/// An argument of an SQL function up to its first NUL byte, valid while the function runs. It is
/// empty for SQL NULL, and if SQLite has no memory to convert it: then the statement fails whatever
/// the function answers.
std::string_view text_of(sqlite3_value* value) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text == nullptr ? std::string_view() : std::string_view(text);
}

using KeyWord = std::shared_ptr<const std::string>;

/// The keyword of a search. SQLite keeps it while the statement runs, so that it is not read and
/// copied for each row.
KeyWord key_word_of(sqlite3_context* context, sqlite3_value* value) {
    constexpr int argument = 3;
    if (const void* kept = sqlite3_get_auxdata(context, argument)) {
        return *static_cast<const KeyWord*>(kept);
    }
    auto key_word = std::make_shared<const std::string>(text_of(value));
    sqlite3_set_auxdata(context, argument, new KeyWord(key_word),
                        [](void* kept) { delete static_cast<KeyWord*>(kept); });
    return key_word;
}

/// What a keyword becomes for a name.
std::string name_pattern(const std::string& key_word) {
    return ".*" + key_word + ".*";
}

/// What a keyword becomes for the members of this name in a JSON text.
std::string member_pattern(const char* name, const std::string& key_word) {
    return "(\"" + std::string(name) + R"(":"([^"]*)" + key_word + R"([^"]*)))";
}

/// Whether a pattern for a keyword matches in a text. The container holds it for the next text.
bool matches(std::unique_ptr<base::RegexContainer>& regex, bool ignores_diacritics,
             const std::string& key_word, const std::string& pattern, const std::string& text) {
    if (regex == nullptr) {
        regex = std::make_unique<base::RegexContainer>(ignores_diacritics);
    }
    if (!regex->check_key_word(key_word)) {
        regex->build_reg(key_word, pattern);
    }
    return regex->exec(text.c_str());
}

} // namespace

std::string escape_key_word(const std::string& text) {
    return base::escape_regex(text);
}

bool is_searchable(const std::string& key_word) {
    base::RegexContainer regex;
    const auto builds = [&](const std::string& pattern) {
        regex.build_reg(key_word, pattern);
        return regex.check_key_word(key_word);
    };
    return key_word.find('\0') == std::string::npos &&
           (builds(name_pattern(key_word)) || builds(member_pattern("remark_name", key_word)));
}

bool UserRow::operator==(db::UserRow& other) {
    return std::as_const(*this) == std::as_const(other);
}

bool UserRow::operator!=(db::UserRow& other) {
    return !(*this == other);
}

DBUser::DBUser(std::pair<std::string, int> current_user_info, std::shared_ptr<sqlite::database> db)
    : DBBase(std::move(current_user_info), std::move(db)), flag(std::make_shared<bool>(false)) {
    CreateTable();
}

DBUser::~DBUser() {
    flag.reset(); // first: from here on USER_REGEX touches nothing of the store
    if (logInited) {
        try {
            base::log::printer(base::log::level::DBG, __FILE__, __LINE__) << "~DBUser" << std::endl;
        } catch (...) { // NOLINT(bugprone-empty-catch): no memory for a log line
        }
    }
}

void DBUser::CreateTable() {
    require_connection(m_db).execute(std::string(create_table_sql));
    create_custom_function();
    if (logInited) {
        base::log::printer(base::log::level::DBG, __FILE__, __LINE__) << "CreateTable" << std::endl;
    }
}

uint32_t DBUser::Insert(db::UserRow& user_row) {
    return insert(*this, "INSERT INTO users ", user_row);
}

uint32_t DBUser::InsertOrIgnore(db::UserRow& user_row) {
    return insert(*this, "INSERT OR IGNORE INTO users", user_row);
}

uint32_t DBUser::InsertOrReplace(db::UserRow& user_row) {
    return insert(*this, "REPLACE INTO users", user_row);
}

uint32_t DBUser::GetUserByUserIdAndSource(std::string user_id, uint32_t user_source,
                                          db::UserRow& user_row) {
    const std::string key =
        make_local_user_id(std::move(user_id), static_cast<int32_t>(user_source));
    return fetch(m_db->execute(prepare(*m_db, find_sql, key)), user_row);
}

std::vector<db::UserRow>
DBUser::GetUserRowsByUserIds(std::set<std::pair<std::string, int>> userids) {
    std::set<std::string> local_user_ids;
    for (const auto& [user_id, source] : userids) {
        local_user_ids.insert(make_local_user_id(user_id, source));
    }
    sqlite::statement stmt = prepare(*m_db, "SELECT * FROM users WHERE local_user_id in " +
                                                _prepare_bind(local_user_ids));
    _bind(stmt, local_user_ids);
    return list([&](const auto& visit) { walk(m_db->execute(stmt), visit); });
}

uint32_t DBUser::GetUserByIdSourceAndDataType(std::string user_id, uint32_t user_source,
                                              db::UserDataType data_type, db::UserRow& user_row) {
    const std::string key =
        make_local_user_id(std::move(user_id), static_cast<int32_t>(user_source));
    const char* sql =
        "SELECT * from users WHERE local_user_id = :local_user_id AND data_type & :data_type;";
    return fetch(m_db->execute(prepare(*m_db, sql, key, mask(data_type))), user_row);
}

uint32_t DBUser::DelUserByUserIdAndSource(std::string user_id, uint32_t user_source) {
    const std::string key =
        make_local_user_id(std::move(user_id), static_cast<int32_t>(user_source));
    const char* sql = "DELETE from users WHERE local_user_id = :local_user_id;";
    return change(*m_db, prepare(*m_db, sql, key));
}

std::vector<db::UserRow> DBUser::GetUsersByDataType(db::UserDataType data_type) {
    return list([&](const auto& visit) { WalkUsersByDataType(data_type, visit); });
}

std::vector<db::UserRow> DBUser::GetUsersByDataTypeAndSource(db::UserDataType data_type,
                                                             uint32_t user_source) {
    return list(
        [&](const auto& visit) { WalkUsersByDataTypeAndSource(data_type, user_source, visit); });
}

std::vector<db::UserRow> DBUser::GetAll() {
    return list([&](const auto& visit) { WalkAll(visit); });
}

void DBUser::WalkUsersByDataType(db::UserDataType data_type,
                                 const std::function<bool(db::UserRow&)>& visit) {
    const char* sql = "SELECT * from users WHERE data_type & :data_type;";
    walk(m_db->execute(prepare(*m_db, sql, mask(data_type))), visit);
}

void DBUser::WalkUsersByDataTypeAndSource(db::UserDataType data_type, uint32_t user_source,
                                          const std::function<bool(db::UserRow&)>& visit) {
    const char* sql =
        "SELECT * from users WHERE data_type & :data_type AND user_source = :user_source;";
    walk(m_db->execute(prepare(*m_db, sql, mask(data_type), user_source)), visit);
}

void DBUser::WalkAll(const std::function<bool(db::UserRow&)>& visit) {
    walk(m_db->execute("SELECT * from users;"), visit);
}

void DBUser::WalkUsersByUserIds(const std::set<std::pair<std::string, int>>& userids,
                                const std::function<bool(db::UserRow&)>& visit) {
    sqlite::transaction snapshot(require_connection(m_db), sqlite::begin_mode::deferred);
    sqlite::statement stmt = m_db->prepare_statement(find_sql);
    db::UserRow user_row;
    bool goes_on = true;
    for (auto user = userids.begin(); goes_on && user != userids.end(); ++user) {
        stmt.bind(1, make_local_user_id(user->first, user->second));
        const bool is_stored = fetch(m_db->execute(stmt), user_row) == 1;
        stmt.reset(); // so that `visit` may do what it likes
        goes_on = !is_stored || visit(user_row);
    }
    snapshot.commit();
}

std::vector<db::UserRow> DBUser::SearchUserRowsWithKeyWord(std::string key_word) {
    return list([&](const auto& visit) { WalkUserRowsWithKeyWord(std::move(key_word), visit); });
}

void DBUser::WalkUserRowsWithKeyWord(std::string key_word,
                                     const std::function<bool(db::UserRow&)>& visit) {
    if (m_registered.expired()) {
        create_custom_function();
    }
    const std::string sql = "SELECT * from users where data_type & :data_type and "
                            " USER_REGEX(user_name,remark,group_info,'" +
                            convert_quotation_mark(std::move(key_word)) + "');";
    sqlite::statement stmt = m_db->prepare_uncached_statement(sql);
    stmt.bind(":data_type", mask(UserDataType::USERDATA_CONTACT));
    walk(m_db->execute(stmt), visit);
}

uint32_t DBUser::Update(db::UserRow& user_row) {
    sqlite::statement stmt = prepare(*m_db, update_sql);
    stmt.bind(":data_type", user_row.data_type);
    stmt.bind(":avatar", user_row.avatar);
    stmt.bind(":user_name", user_row.user_name);
    stmt.bind(":name_spell", user_row.name_spell);
    stmt.bind(":remark", user_row.remark);
    stmt.bind(":is_star", user_row.is_star);
    stmt.bind(":is_attention", user_row.is_attention);
    stmt.bind(":user_type", user_row.user_type);
    stmt.bind(":user_version", user_row.user_version);
    stmt.bind(":gender", user_row.gender);
    stmt.bind(":extra", user_row.extra);
    stmt.bind(":group_info", user_row.group_info);
    stmt.bind(":user_id", user_row.user_id);
    stmt.bind(":user_source", user_row.user_source);
    stmt.bind(":msg_set", user_row.msg_set);
    stmt.bind(":in_black_list", user_row.in_black_list);
    stmt.bind(":is_blacked", user_row.is_blacked);
    stmt.bind(":user_extension", user_row.user_extension);
    stmt.bind(":contact_extension", user_row.contact_extension);
    return change(*m_db, stmt);
}

uint32_t DBUser::UpdateDataTypeByIdAndSource(uint32_t data_type, std::string user_id,
                                             uint32_t user_source, db::DBBase& db) {
    return UpdateSingleFieldByIdAndSource<unsigned int>("data_type", data_type, std::move(user_id),
                                                        user_source, db);
}

uint32_t DBUser::UpdateIsStartByIdAndSource(bool is_start, std::string user_id,
                                            uint32_t user_source, db::DBBase& db) {
    return UpdateSingleFieldByIdAndSource<unsigned int>("is_star", is_start ? 1 : 0,
                                                        std::move(user_id), user_source, db);
}

uint32_t DBUser::UpdateIsAttentionByIdAndSource(bool is_attention, std::string user_id,
                                                uint32_t user_source, db::DBBase& db) {
    return UpdateSingleFieldByIdAndSource<unsigned int>("is_attention", is_attention ? 1 : 0,
                                                        std::move(user_id), user_source, db);
}

uint32_t DBUser::UpdateRemarkByIdAndSource(std::string remark, std::string user_id,
                                           uint32_t user_source, db::DBBase& db) {
    return UpdateSingleFieldByIdAndSource<std::string>("remark", std::move(remark),
                                                       std::move(user_id), user_source, db);
}

void DBUser::SetSearchIgnoresDiacritics(bool ignores) {
    m_ignores_diacritics = ignores;
    m_remark_name_search_regex.reset();
    m_user_name_search_regex.reset();
    group_member_search_regex.reset();
    group_member_check_regex.reset();
}

void DBUser::CreateUserIdIndex() {
    m_db->execute(
        "CREATE INDEX IF NOT EXISTS users_by_user_id_and_source ON users (user_id, user_source)");
}

void DBUser::CreateContactIndex() {
    // SQLite uses it for each statement that binds exactly the bit of a contact.
    m_db->execute("CREATE INDEX IF NOT EXISTS users_contacts"
                  " ON users (user_source, user_name, remark, group_info) WHERE data_type & 2");
}

void DBUser::create_custom_function() {
    const std::weak_ptr<bool> weak_flag = flag;
    const auto registered = std::make_shared<bool>(true); // destroyed with the function
    SqliteCustomFunction function{"USER_REGEX", 4, {}};
    function.call_back = [this, weak_flag, registered](sqlite3_context* context, int /*argc*/,
                                                       sqlite3_value** value) {
        const std::shared_ptr<bool> strong_flag = weak_flag.lock();
        if (strong_flag == nullptr) {
            return; // the store is gone; the result stays SQL NULL
        }
        const std::string_view user_name = text_of(value[0]);
        const std::string_view remark_json = text_of(value[1]);
        const std::string_view group_json = text_of(value[2]);
        const KeyWord key_word = key_word_of(context, value[3]);
        bool find = false;
        // The matcher itself is called until it has built its expression for this keyword, also
        // behind a match by another one. From then on its expression answers without copies.
        const auto search = [&](const auto& regex, auto matcher, std::string_view text) {
            if (regex == nullptr || !regex->was_built_for(key_word)) {
                return (this->*matcher)(std::string(text), *key_word);
            }
            return find || regex->exec(text.data());
        };
        find = !user_name.empty() &&
               search(m_user_name_search_regex, &DBUser::user_name_search, user_name);
        // Texts up to 2 bytes are "{}", "[]" and the default "0".
        find |= remark_json.size() > 2 &&
                search(m_remark_name_search_regex, &DBUser::remark_name_search, remark_json);
        find |= group_json.size() > 2 &&
                search(group_member_search_regex, &DBUser::group_member_search, group_json) &&
                (find || group_member_check_regex->exec(group_json.data()));
        sqlite3_result_int(context, find ? 1 : 0);
    };
    m_db->add_custom_function(std::move(function));
    m_registered = registered;
}

bool DBUser::remark_name_search(std::string remark, std::string key_word) {
    return matches(m_remark_name_search_regex, m_ignores_diacritics, key_word,
                   member_pattern("remark_name", key_word), remark);
}

bool DBUser::user_name_search(std::string user_name, std::string key_word) {
    return matches(m_user_name_search_regex, m_ignores_diacritics, key_word, name_pattern(key_word),
                   user_name);
}

bool DBUser::group_member_search(std::string group_info, std::string key_word) {
    // Without any nick name the keyword's expression need not be built.
    return matches(group_member_check_regex, false, {}, R"re(("nick_name":"([^"]+)"))re",
                   group_info) &&
           matches(group_member_search_regex, m_ignores_diacritics, key_word,
                   member_pattern("nick_name", key_word), group_info);
}

} // namespace db
