#pragma once

#include "bll/bll.shared/db2/db_handler_base.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace base {
class RegexContainer;
}

namespace db {

/// What kinds of user a record is: bits of `UserRow::data_type`, which may hold several.
enum class UserDataType {
    USERDATA_DEFAULT = 0, ///< no kind; as a mask it selects nothing
    USERDATA_USER = 1,
    USERDATA_CONTACT = 2,
    USERDATA_PUBLIC_ACCOUNT = 4,
};

constexpr UserDataType operator|(UserDataType one, UserDataType other) {
    return static_cast<UserDataType>(static_cast<int>(one) | static_cast<int>(other));
}

/// One user: the in-memory form of one row of the table `users`. A plain value, for one thread at a
/// time.
struct UserRow {
    std::string local_user_id = {}; ///< the primary key, formed from `user_id` and `user_source`
    std::string user_id = {};       ///< unique within its source
    std::string device_id = {};
    std::string avatar = {};
    std::string user_name = {};
    std::string name_spell = {};
    std::string remark = {}; ///< JSON in compact form; "remark_name" in it is searched
    uint32_t is_anonymous = 0;
    uint32_t is_star = 0;      ///< 0 or 1
    uint32_t is_attention = 0; ///< 0 or 1
    uint32_t user_type = 0;
    int64_t user_version = 0; ///< raised by each single-field update
    uint32_t user_source = 0;
    uint32_t gender = 0;
    std::string extra = {};
    std::string group_info = "0"; ///< JSON in compact form; each "nick_name" in it is searched
    std::string msg_set = "0";
    uint32_t in_black_list = 0;
    uint32_t is_blacked = 0;
    uint32_t data_type = 0; ///< bits of `UserDataType`
    std::string user_extension = {};
    std::string contact_extension = {};

    /// Compares all 22 fields.
    bool operator==(db::UserRow& other);
    bool operator!=(db::UserRow& other);
    friend bool operator==(const UserRow& one, const UserRow& other) = default;
};

/// A keyword that finds this text literally: a backslash before each character that has a meaning
/// in an expression.
[[nodiscard]] std::string escape_key_word(const std::string& text);

/// Whether a search by this keyword may find somebody: false if it holds a NUL byte, or if for none
/// of the texts searched it makes a valid expression that `base::RegexContainer` does not refuse.
/// Costs one or two builds of such a container. Throws std::bad_alloc.
[[nodiscard]] bool is_searchable(const std::string& key_word);

/// The handler of the table `users`: every user that the client knows of.
///
/// Creates the table if it is missing and registers the SQL function `USER_REGEX` on the shared
/// connection. Each operation prepares its own statement and opens no transaction; wrap a sequence
/// in `as_transaction`. All failures leave as `sqlite::error` or std::bad_alloc, with nothing half
/// done: a row is the old or the new one, a caller's record is filled whole or untouched, a list is
/// whole or not there. One store serves one thread at a time, and is not destroyed while one of its
/// searches runs. An operation is several calls on the connection: hold `sqlite::database::lock`
/// around it where another thread uses the connection too, or it may return that one's change count
/// and list rows that changed half way.
///
/// Two stores on one connection take turns with `USER_REGEX`: a search by the store that does not
/// have it registers it anew, which SQLite refuses while a statement is running on the connection.
class DBUser : public DBBase {
public:
    /// Throws if the table cannot be created or `USER_REGEX` not registered.
    DBUser(std::pair<std::string, int> current_user_info, std::shared_ptr<sqlite::database> db);
    /// `USER_REGEX` stays on the connection and gives SQL NULL from now on.
    ~DBUser() override;

    /// May be called again: leaves an existing table as it is, whatever its shape, and registers
    /// `USER_REGEX` anew, which SQLite refuses while a statement is running on the connection.
    void CreateTable();

    /// Stores a record under the key of its user id and source, which is written into the record
    /// first, also if the insert then fails. Returns the number of rows inserted. If the user is
    /// stored already, `Insert` throws with SQLITE_CONSTRAINT_PRIMARYKEY, `InsertOrIgnore` keeps
    /// the stored row and returns 0, `InsertOrReplace` replaces it whole.
    uint32_t Insert(db::UserRow& user_row);
    uint32_t InsertOrIgnore(db::UserRow& user_row);
    uint32_t InsertOrReplace(db::UserRow& user_row);

    /// Fills the record and returns 1, or returns 0 and leaves it untouched. Columns that are SQL
    /// NULL give empty texts and zeros.
    uint32_t GetUserByUserIdAndSource(std::string user_id, uint32_t user_source,
                                      db::UserRow& user_row);
    /// The stored ones among many users, named by user id and source, in SQLite's order; users that
    /// are not stored are left out. Runs one statement with a parameter for each user. SQLite's
    /// cost for a parameter grows with their number: per user, a batch of 1,000 costs 2.5 times as
    /// much as a batch of 100, one of 8,000 ten times, so split a set of more than some hundred.
    /// Throws, and does nothing, for more users than SQLite allows parameters in a statement.
    std::vector<db::UserRow> GetUserRowsByUserIds(std::set<std::pair<std::string, int>> userids);
    /// Like `GetUserByUserIdAndSource`, for a user whose `data_type` shares a bit with the mask;
    /// others count as missing.
    uint32_t GetUserByIdSourceAndDataType(std::string user_id, uint32_t user_source,
                                          db::UserDataType data_type, db::UserRow& user_row);
    /// Returns the number of rows deleted: 1, or 0 if the user is not stored.
    uint32_t DelUserByUserIdAndSource(std::string user_id, uint32_t user_source);

    /// The users that share a bit with the mask, or all, in SQLite's order. Reads the whole table.
    std::vector<db::UserRow> GetUsersByDataType(db::UserDataType data_type);
    std::vector<db::UserRow> GetUsersByDataTypeAndSource(db::UserDataType data_type,
                                                         uint32_t user_source);
    std::vector<db::UserRow> GetAll();
    /// The same lists, record by record: `visit` gets each, which is its to move from, and returns
    /// whether to go on. One record is in memory at a time. The walk ends its statement when
    /// `visit` says so or throws. `visit` may use the store and the connection, within SQLite's
    /// limits. No function can be registered meanwhile, so that no store can be made and no other
    /// store of the connection can search. No table can be dropped, and a column that is dropped
    /// makes the rest of the walk deliver other fields. A rollback can end the walk with
    /// SQLITE_ABORT_ROLLBACK. Whether users that are stored meanwhile are visited is open: a walk
    /// that calls `InsertOrReplace` for each user it visits can go on for ever, because a replaced
    /// user stands behind all others again. `Update` and the updates of one field keep the
    /// place, unless there is the index of contacts and they change a contact's name, remark or
    /// group info.
    void WalkUsersByDataType(db::UserDataType data_type,
                             const std::function<bool(db::UserRow&)>& visit);
    void WalkUsersByDataTypeAndSource(db::UserDataType data_type, uint32_t user_source,
                                      const std::function<bool(db::UserRow&)>& visit);
    void WalkAll(const std::function<bool(db::UserRow&)>& visit);
    /// Visits the stored ones among any number of users, in the order of the set, each found by its
    /// key: the cost for a user does not grow with their number. All are read as they are at one
    /// moment, since the walk is a transaction, and a savepoint inside an open one. It keeps no
    /// other connection from writing, but if one has written meanwhile, a `visit` that writes gets
    /// SQLITE_BUSY. What `visit` writes is committed at the end of the walk, and rolled back if it
    /// throws. Other threads wait for the connection until then.
    void WalkUsersByUserIds(const std::set<std::pair<std::string, int>>& userids,
                            const std::function<bool(db::UserRow&)>& visit);

    /// The contacts whose name, remark name or group nick names contain the keyword, in SQLite's
    /// order. The keyword is a POSIX extended regular expression, not a literal text, put inside
    /// one expression for each of the three, the last one for each member of a group:
    ///
    ///     .*KEYWORD.*
    ///     ("remark_name":"([^"]*KEYWORD[^"]*))
    ///     ("nick_name":"([^"]*KEYWORD[^"]*))
    ///
    /// There `^`, `$` and `|` act as they stand: `anna|bob` finds the name "uncle bob", but not
    /// that remark name, for which `bob` must begin it; `(anna|bob)` finds both. Letters match
    /// in either case, in every script. Where the outcome is no valid expression, or one that
    /// `base::RegexContainer` refuses for its cost, nothing matches. An empty keyword matches every
    /// contact that has any of the three. Reads the whole table. A keyword with a NUL byte in it
    /// throws, since no SQL text can hold it. See `escape_key_word` for a literal text. A search
    /// that sqlite3_interrupt has stopped throws SQLITE_INTERRUPT once the text of the current
    /// contact has been searched; the next search works. The walk is one as those above.
    std::vector<db::UserRow> SearchUserRowsWithKeyWord(std::string key_word);
    void WalkUserRowsWithKeyWord(std::string key_word,
                                 const std::function<bool(db::UserRow&)>& visit);

    /// Rewrites the stored record of the user with this user id and source, `user_version` as the
    /// record has it; all but `device_id`, `is_anonymous` and `local_user_id`. Does not change the
    /// record. Returns the number of rows changed, 0 if the user is not stored. Reads the whole
    /// table, as the updates below do: they find the user by columns that have no index.
    uint32_t Update(db::UserRow& user_row);

    /// Each changes one column of one user, and adds 1 to `user_version`, also if the column held
    /// that value already. They work on the connection of any handler. Return the number of rows
    /// changed, 0 if the user is not stored. Log one line, the value included, before they run.
    static uint32_t UpdateDataTypeByIdAndSource(uint32_t data_type, std::string user_id,
                                                uint32_t user_source, db::DBBase& db);
    static uint32_t UpdateIsStartByIdAndSource(bool is_start, std::string user_id,
                                               uint32_t user_source, db::DBBase& db);
    static uint32_t UpdateIsAttentionByIdAndSource(bool is_attention, std::string user_id,
                                                   uint32_t user_source, db::DBBase& db);
    static uint32_t UpdateRemarkByIdAndSource(std::string remark, std::string user_id,
                                              uint32_t user_source, db::DBBase& db);

    /// Whether searches ignore diacritics as well, in Latin, Greek and Cyrillic letters: false at
    /// first. Then "zoe" finds "Zoë" and "lukasz" finds "Łukasz", and the other way round; й and ї
    /// stay letters of their own, and other scripts are compared as they are. A keyword of
    /// combining marks alone finds nobody. The next search goes by it already. It makes a search
    /// dearer, since each text is folded first: the README has the figures.
    void SetSearchIgnoresDiacritics(bool ignores);

    /// Makes an index over `user_id` and `user_source`, by which `Update` and the updates of one
    /// field find their user without reading the whole table. The database keeps it; does nothing
    /// if it is there. It makes inserts dearer and the file larger: the README has the figures.
    void CreateUserIdIndex();
    /// Makes an index over the contacts, by which a search by keyword and the lists and walks of
    /// exactly the mask `USERDATA_CONTACT` take time by the number of contacts alone, and not by
    /// that of all users. They deliver users in the order of their source and name then, and this
    /// holds for every connection to the database, which keeps the index. Does nothing if it is
    /// there. It makes storing a contact dearer and the file larger: the README has the figures.
    void CreateContactIndex();

private:
    void create_custom_function();
    bool remark_name_search(std::string remark, std::string key_word);
    bool user_name_search(std::string user_name, std::string key_word);
    bool group_member_search(std::string group_info, std::string key_word);

    std::shared_ptr<bool> flag; // once it is gone, USER_REGEX no longer calls the store
    // Made when first needed. Each follows the keyword of the search, but for the check.
    std::unique_ptr<base::RegexContainer> m_remark_name_search_regex;
    std::unique_ptr<base::RegexContainer> m_user_name_search_regex;
    std::unique_ptr<base::RegexContainer> group_member_search_regex;
    std::unique_ptr<base::RegexContainer> group_member_check_regex;
    bool m_ignores_diacritics = false;
    std::weak_ptr<bool> m_registered; // gone once USER_REGEX on the connection is another one
};

} // namespace db
