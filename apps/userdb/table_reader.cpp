#include "apps/userdb/table_reader.h"

#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <sqlite3.h>

namespace userdb {

namespace {

/// An SQL expression that names the columns whose values do not fit, or is empty. A value fits if
/// it stays the same without the bits that its field does not have, as NULL does.
std::string unfit_columns() {
    std::vector<std::string> fits;
    std::vector<std::string> unfit;
    db::for_each_user_column([&](const auto& column) {
        using value = std::remove_cvref_t<decltype(std::declval<db::UserRow>().*column.field)>;
        if constexpr (std::is_integral_v<value>) {
            const std::string name = column.name;
            const auto bits = static_cast<int64_t>(static_cast<value>(-1));
            fits.push_back(name + " & " + std::to_string(bits) + " IS " + name);
            unfit.push_back("CASE WHEN " + fits.back() + " THEN '' ELSE ' " + name + "' END");
        }
    });
    return "CASE WHEN " + joined(fits, " AND ") + " THEN '' ELSE " + joined(unfit, " || ") + " END";
}

/// Reads rows of the columns of a record, a row number and an `unfit` into these, and calls `visit`
/// for each until it returns false.
void for_each_row(const sqlite::result& rows,
                  const std::function<bool(db::UserRow&, int64_t, const std::string&)>& visit) {
    std::vector<size_t> positions(db::user_column_names.size() + 2);
    std::iota(positions.begin(), positions.end(), 0);
    db::UserRow user_row;
    long long number = 0;
    std::string unfit;
    const auto read = [&](const sqlite::row& row, const auto&... column) {
        row.read(positions, (user_row.*column.field)..., number, unfit);
    };
    for (const sqlite::row& row : rows) {
        std::apply([&](const auto&... column) { read(row, column...); }, db::user_columns);
        if (!visit(user_row, number, unfit)) {
            break;
        }
    }
}

/// The rows of users for `for_each_row`, in the order of their numbers.
std::string rows_behind(const std::string& row, const std::string& condition, bool finds_unfit) {
    const std::vector<std::string> names(db::user_column_names.begin(),
                                         db::user_column_names.end());
    return "SELECT " + joined(names, ", ") + ", " + row + " AS userdb_row, " +
           (finds_unfit ? unfit_columns() : "''") + " FROM users WHERE userdb_row > :passed" +
           (condition.empty() ? "" : " AND " + condition) + " ORDER BY userdb_row";
}

} // namespace

int64_t number(sqlite::database& connection, const std::string& sql) {
    const sqlite::result answer = connection.execute(sql);
    return (*answer.begin())[0].as<long long>();
}

std::string row_number(sqlite::database& connection) {
    const char* tables = "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND "
                         "name = 'users' COLLATE NOCASE AND sql NOT LIKE '%WITHOUT ROWID%'";
    return number(connection, tables) > 0 ? "_rowid_" : "0";
}

std::optional<sqlite::error> visit_users(sqlite::database& connection, const std::string& condition,
                                         bool finds_unfit, const visitor& visit) {
    constexpr int64_t highest = std::numeric_limits<int64_t>::max();
    sqlite::statement rows = connection.prepare_uncached_statement(
        rows_behind(row_number(connection), condition, finds_unfit));
    int64_t visited = 0; // the number of the last row that could be read; SQLite counts from 1
    int64_t passed = std::numeric_limits<int64_t>::min(); // up to this one no row is looked for
    std::optional<sqlite::error> damage;
    const auto report_gap = [&](const std::string& last) {
        if (passed > visited) {
            report("cannot read the users in rows " + std::to_string(visited + 1) + " to " + last);
        }
    };
    while (passed < highest) {
        try {
            rows.bind(":passed", passed);
            for_each_row(connection.execute(rows), [&](auto& user_row, auto number, auto& unfit) {
                report_gap(std::to_string(number - 1));
                visited = passed = number;
                return visit(user_row, unfit);
            });
            break;
        } catch (const sqlite::error& failure) {
            damage = failure;
            if ((failure.code() & 0xff) != SQLITE_CORRUPT) {
                break;
            }
            // A page has fewer rows than 256, and longer steps behind those end the way some time.
            passed = std::max(passed, visited);
            const int64_t step = 1 + passed / 256 - visited / 256;
            passed = passed < highest - step ? passed + step : highest;
        }
    }
    report_gap("the end");
    return damage;
}

} // namespace userdb
