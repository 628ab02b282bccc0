#include "apps/userdb/table_reader.h"

#include "apps/userdb/terminal.h"
#include "apps/userdb/text.h"
#include "bll/bll.shared/db2/user_columns.h"

#include <limits>
#include <optional>
#include <sqlite3.h>

namespace userdb {

namespace {

constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t highest = std::numeric_limits<int64_t>::max();

/// An SQL expression that names the columns whose values do not fit, or is empty. Most rows need
/// only the first test, which looks at all columns at once; it also fails for some that do fit.
std::string unfit_columns() {
    std::vector<std::string> columns;
    std::string unfit;
    db::for_each_user_column([&](const auto& column) {
        using value = std::remove_cvref_t<decltype(std::declval<db::UserRow>().*column.field)>;
        if constexpr (std::is_integral_v<value>) {
            const std::string name = columns.emplace_back(column.name);
            unfit += " || CASE WHEN typeof(" + name + ") NOT IN ('integer', 'null') OR " + name +
                     " NOT BETWEEN " + std::to_string(std::numeric_limits<value>::min()) + " AND " +
                     std::to_string(std::numeric_limits<value>::max()) + " THEN ' " + name +
                     "' ELSE '' END";
        }
    });
    const std::string all = joined(columns, ",");
    return "CASE WHEN min(" + all + ") >= 0 AND max(" + all + ") <= 4294967295 AND typeof(" +
           joined(columns, "+") + ") = 'integer' THEN '' ELSE ''" + unfit + " END";
}

/// Reads the rows from a number on.
class row_walk {
public:
    row_walk(sqlite::database& connection, const std::string& condition, const visitor& visit)
        : m_connection(connection), m_visit(visit),
          m_statement(connection.prepare_uncached_statement(
              "SELECT *, " + row_number(connection) + " AS userdb_row, " + unfit_columns() +
              " AS userdb_unfit FROM users WHERE userdb_row >= :first" +
              (condition.empty() ? "" : " AND " + condition) + " ORDER BY userdb_row")) {}

    /// Goes to the end. Reports what cannot be read, and throws at last if there is something.
    void go() {
        std::optional<sqlite::error> damage;
        for (bool goes_on = true; goes_on;) {
            try {
                read();
                goes_on = false;
            } catch (const sqlite::error& failure) {
                if ((failure.code() & 0xff) != SQLITE_CORRUPT) {
                    throw;
                }
                damage = failure;
                goes_on = skip();
            }
        }
        report_gap(true);
        if (damage) {
            throw sqlite::error(*damage);
        }
    }

private:
    void read() {
        m_statement.bind(":first", static_cast<long long>(m_next));
        const sqlite::result found = m_connection.execute(m_statement);
        std::vector<const char*> names(db::user_column_names.begin(), db::user_column_names.end());
        names.insert(names.end(), {"userdb_row", "userdb_unfit"});
        std::vector<size_t> positions;
        db::UserRow user_row;
        long long row_number = 0;
        std::string unfit;
        for (const sqlite::row& row : found) {
            if (positions.empty()) {
                row.find_columns(names, positions);
                report_gap(false);
            }
            std::apply(
                [&](const auto&... column) {
                    row.read(positions, (user_row.*column.field)..., row_number, unfit);
                },
                db::user_columns);
            m_next = row_number == highest ? highest : row_number + 1;
            if (!m_visit(user_row, unfit)) {
                break;
            }
        }
    }
    /// Goes a little further, and faster the longer nothing can be read: a page has fewer rows than
    /// 256, and no way has too many steps. Returns false at the end of all numbers.
    bool skip() {
        if (m_next == lowest) {
            m_next = 1; // as SQLite counts
        }
        m_gap = m_gap.value_or(m_next);
        const int64_t step = 1 + (m_next - *m_gap) / 256;
        const bool goes_on = m_next <= highest - step;
        m_next += goes_on ? step : 0;
        return goes_on;
    }
    void report_gap(bool is_open) {
        if (m_gap) {
            report("cannot read the users in rows " + std::to_string(*m_gap) + " to " +
                   (is_open ? "the end" : std::to_string(m_next - 1)));
            m_gap.reset();
        }
    }

    sqlite::database& m_connection;
    const visitor& m_visit;
    sqlite::statement m_statement;
    int64_t m_next = lowest;
    std::optional<int64_t> m_gap; // the first row of those before m_next that cannot be read
};

} // namespace

void require_all_columns(sqlite::database& connection) {
    std::vector<std::string> missing;
    for (const std::string name : db::user_column_names) {
        if (number(connection, "SELECT count(*) FROM pragma_table_info('users') WHERE name = '" +
                                   name + "' COLLATE NOCASE") == 0) {
            missing.push_back(name);
        }
    }
    if (!missing.empty()) {
        throw sqlite::error(SQLITE_ERROR, "an older table: it has no " + joined(missing, ", "));
    }
}

int64_t number(sqlite::database& connection, const std::string& sql) {
    const sqlite::result answer = connection.execute(sql);
    return (*answer.begin())[0].as<long long>();
}

std::string row_number(sqlite::database& connection) {
    try {
        const auto tables = number(connection, "SELECT count(*) FROM sqlite_master WHERE "
                                               "type = 'table' AND name = 'users' COLLATE NOCASE");
        connection.execute("SELECT _rowid_ FROM users LIMIT 0");
        return tables > 0 ? "_rowid_" : "0";
    } catch (const sqlite::error&) {
        return "0";
    }
}

void visit_users(sqlite::database& connection, const std::string& condition, const visitor& visit) {
    require_all_columns(connection);
    row_walk(connection, condition, visit).go();
}

} // namespace userdb
