// What is taken away from a file. From the owner's files only what none of them meets: views, virtual tables, functions
// with side effects, code that is compiled without end, and single calls of a function that take longer than any use of
// it. From a stranger's file also computed columns: reading it then runs nothing of its own.
#include "VELQ_DSH_Hardening.h"

#include "VELQ_DSH_File_Layer.h"
#include "VELQ_DSH_Schema.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>

namespace {

// ---- Functions whose time is a product of their arguments' lengths

// For each pair of bytes one comparison, some ten milliseconds in all.
constexpr sqlite3_int64 mostComparisons = 10'000'000;
constexpr sqlite3_int64 comparisonsWithoutClock = 100'000;

void fail(sqlite3_context *context, const char *message, int code) noexcept
{
    sqlite3_result_error(context, message, -1);
    sqlite3_result_error_code(context, code);
}

// The last two repeat a character as often as a number says.
constexpr const char *boundedFunctions[] = {"instr", "replace", "trim",   "ltrim", "rtrim",
                                            "like",  "glob",    "printf", "format"};
constexpr std::ptrdiff_t firstFormatting = 7;
static_assert(std::size(boundedFunctions) == Bounds::mostFunctions);

// A statement that calls SQLite's own function of that name, in a connection in which it is not replaced.
int prepareCalculation(Bounds &bounds, const char *const *name, int count, sqlite3_stmt **calculation) noexcept
{
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY;
    constexpr char parameters[] = "?,?,?,?,?,?,?,?,?";
    static_assert(sizeof parameters == std::size_t{2} * Bounds::mostArguments);
    if (bounds.calculator == nullptr) {
        const int code = sqlite3_open_v2(":memory:", &bounds.calculator, flags, nullptr);
        if (code != SQLITE_OK) {
            sqlite3_close(bounds.calculator);
            bounds.calculator = nullptr;
            return code;
        }
    }
    sqlite3_stmt *&kept = bounds.calculations[name - boundedFunctions][count];
    int code = SQLITE_OK;
    if (kept == nullptr) {
        char sql[64];
        sqlite3_snprintf(sizeof sql, sql, "SELECT %s(%.*s);", *name, count > 0 ? 2 * count - 1 : 0, parameters);
        code = sqlite3_prepare_v2(bounds.calculator, sql, -1, &kept, nullptr);
    }
    *calculation = kept;
    return code;
}

void callPlain(Bounds &bounds, const char *const *name, sqlite3_context *context, int count,
               sqlite3_value **values) noexcept
{
    constexpr int asItIs = -1;
    sqlite3_stmt *calculation = nullptr;
    int code = prepareCalculation(bounds, name, count, &calculation);
    const int longest = sqlite3_limit(bounds.connection, SQLITE_LIMIT_LENGTH, asItIs);
    if (bounds.calculator != nullptr) {
        sqlite3_limit(bounds.calculator, SQLITE_LIMIT_LENGTH, longest);
    }
    for (int i = 0; i < count && code == SQLITE_OK; ++i) {
        code = sqlite3_bind_value(calculation, i + 1, values[i]);
    }
    code = code == SQLITE_OK ? sqlite3_step(calculation) : code;
    // A format of more than the longest value gives null.
    const bool isCut = code == SQLITE_ROW && name - boundedFunctions >= firstFormatting &&
                       sqlite3_column_type(calculation, 0) == SQLITE_NULL && count > 0 &&
                       sqlite3_value_type(values[0]) != SQLITE_NULL;
    if (isCut) {
        fail(context, "string or blob too big", SQLITE_TOOBIG);
    } else if (code == SQLITE_ROW) {
        sqlite3_result_value(context, sqlite3_column_value(calculation, 0));
    } else {
        fail(context, bounds.calculator != nullptr ? sqlite3_errmsg(bounds.calculator) : "out of memory", code);
    }
    if (calculation != nullptr) {
        sqlite3_reset(calculation);
        sqlite3_clear_bindings(calculation);
    }
}

// The product of the two longest arguments.
sqlite3_int64 comparisonsOf(int count, sqlite3_value **values) noexcept
{
    sqlite3_int64 longest = 1;
    sqlite3_int64 second = 1;
    for (int i = 0; i < count; ++i) {
        const sqlite3_int64 length = sqlite3_value_bytes(values[i]);
        second = std::max(second, std::min(length, longest));
        longest = std::max(longest, length);
    }
    return longest * second;
}

// The numbers in a format, and those of its arguments that it may take for a width or precision.
sqlite3_int64 repetitionsOf(int count, sqlite3_value **values) noexcept
{
    const auto *format = count > 0 ? reinterpret_cast<const char *>(sqlite3_value_text(values[0])) : nullptr;
    sqlite3_int64 sum = 0;
    sqlite3_int64 number = 0;
    bool takesArguments = false;
    for (; format != nullptr && *format != '\0' && sum <= mostComparisons; ++format) {
        const bool isDigit = *format >= '0' && *format <= '9';
        number = isDigit ? std::min(number * 10 + (*format - '0'), mostComparisons + 1) : 0;
        sum += number;
        takesArguments = takesArguments || *format == '*';
    }
    for (int i = 1; i < count && takesArguments && sum <= mostComparisons; ++i) {
        const sqlite3_int64 argument = sqlite3_value_int64(values[i]);
        sum += argument < -mostComparisons ? mostComparisons : std::min(std::abs(argument), mostComparisons);
        sum += argument > mostComparisons || argument < -mostComparisons ? 1 : 0;
    }
    return sum;
}

void callWithinBounds(sqlite3_context *context, int count, sqlite3_value **values) noexcept
{
    const auto *name = static_cast<const char *const *>(sqlite3_user_data(context));
    Bounds *bounds = boundsOf(sqlite3_context_db_handle(context));
    const sqlite3_int64 comparisons =
        name - boundedFunctions < firstFormatting ? comparisonsOf(count, values) : repetitionsOf(count, values);
    if (count > Bounds::mostArguments) {
        fail(context, "wrong number of arguments", SQLITE_ERROR);
    } else if (comparisons > mostComparisons) {
        bounds->fired = "work of a function";
        fail(context, "arguments are too long together", SQLITE_TOOBIG);
    } else if (comparisons > comparisonsWithoutClock && isTimeUp(*bounds)) {
        fail(context, "interrupted", SQLITE_INTERRUPT);
    } else {
        callPlain(*bounds, name, context, count, values);
    }
}

int boundFunctions(sqlite3 *connection) noexcept
{
    constexpr int anyCount = -1;
    constexpr int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
    int code = SQLITE_OK;
    for (const char *const &name : boundedFunctions) {
        if (code == SQLITE_OK) {
            code = sqlite3_create_function(connection, name, anyCount, flags, const_cast<const char **>(&name),
                                           callWithinBounds, nullptr, nullptr);
        }
    }
    return code;
}

// ---- The schema

// What all texts of the schema say together.
int readSchema(sqlite3 *connection, SchemaText *schema) noexcept
{
    sqlite3_stmt *statement = nullptr;
    int code =
        sqlite3_prepare_v2(connection, "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL;", -1, &statement, nullptr);
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = sqlite3_step(statement);
        const auto *sql =
            code == SQLITE_ROW ? reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)) : nullptr;
        if (sql != nullptr) {
            const SchemaText text = readSchemaText(sql, static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
            schema->hasCode = schema->hasCode || text.hasCode;
            schema->hasComputedColumns = schema->hasComputedColumns || text.hasComputedColumns;
            schema->isMultiplied = schema->isMultiplied || text.isMultiplied;
        }
    }
    sqlite3_finalize(statement);
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

int refuseSchema(Bounds &bounds, const char *name) noexcept
{
    bounds.fired = name;
    return SQLITE_TOOBIG;
}

} // namespace

int hardenConnection(sqlite3 *connection, FileOrigin origin) noexcept
{
    Bounds *bounds = boundsOf(connection);
    if (bounds == nullptr) {
        return SQLITE_CANTOPEN;
    }
    bounds->connection = connection;
    bounds->origin = origin;
    beginOperation(*bounds);
    // No SQL functions with side effects in the schema, no writing to it or to the files behind virtual tables.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    // The engine's tables are neither views nor virtual tables. Triggers stay: a data file may have its own.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_drop_modules(connection, nullptr);
    constexpr int mostInstructions = 8'000;
    sqlite3_limit(connection, SQLITE_LIMIT_VDBE_OP, mostInstructions);
    if (origin == FileOrigin::stranger) {
        sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, longestValueOf(origin));
    }
    // Damaged pages are found when they are read and not only when they mislead. Temporary data stay in memory. Refused
    // settings leave the connection as SQLite makes it.
    sqlite3_exec(connection, "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;", nullptr, nullptr, nullptr);
    return countSteps(*bounds);
}

// Has SQLite read the schema. Then its page tells whether there is more to look at; a page of a write-ahead log does
// not.
int lookAtFirstPage(Bounds &bounds) noexcept
{
    const int code = sqlite3_table_column_metadata(bounds.connection, "main", "sqlite_master", nullptr, nullptr,
                                                   nullptr, nullptr, nullptr, nullptr);
    bounds.isSchemaKnown = code == SQLITE_OK && bounds.isPlain && bounds.log == nullptr;
    return code;
}

int hardenSchema(Bounds &bounds) noexcept
{
    if (bounds.origin == FileOrigin::owner) {
        const int code = lookAtFirstPage(bounds);
        if (code != SQLITE_OK || bounds.isSchemaKnown) {
            return code;
        }
    }
    // A stranger's file keeps the schema that was looked at: the transaction ends with the connection.
    int code = SQLITE_OK;
    if (bounds.origin == FileOrigin::stranger && sqlite3_get_autocommit(bounds.connection) != 0) {
        code = sqlite3_exec(bounds.connection, "BEGIN;", nullptr, nullptr, nullptr);
    }
    SchemaText schema{};
    code = code == SQLITE_OK ? readSchema(bounds.connection, &schema) : code;
    if (code != SQLITE_OK) {
        return code;
    }
    if (schema.isMultiplied) {
        return refuseSchema(bounds, "size of the schema's code");
    }
    if (bounds.origin == FileOrigin::stranger && schema.hasComputedColumns) {
        return refuseSchema(bounds, "computed columns");
    }
    if (bounds.origin == FileOrigin::owner && schema.hasCode) {
        bounds.hasCode = true;
        bounds.memory = sqlite3_memory_used();
        code = boundFunctions(bounds.connection);
        code = code == SQLITE_OK ? countSteps(bounds) : code;
    }
    bounds.isSchemaKnown = code == SQLITE_OK;
    return code;
}
