// SQLite compiles a computed column, and a table of a WITH clause, anew at each place that names it, and a column of a
// query within a query at each that uses it. A few lines in which each names the one before twice so compile to
// millions of instructions, and nothing interrupts the compiling. How often is estimated from above: by the product of
// how often the text has each of the names, and by how many names there are for each depth of queries.
#include "VELQ_DSH_Schema.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sqlite3.h>

namespace {

constexpr std::size_t mostCopies = 30'000;
constexpr std::size_t mostCopiesOfColumns = 3'000'000;
constexpr std::size_t mostNames = 64;
constexpr std::size_t deepest = 128;

enum class TokenKind : unsigned char { end, word, quoted, other };

struct Token {
    TokenKind kind;
    const char *text; // of a quoted one, between the quotes
    std::size_t length;
    bool hasQuotes; // a quoted one with quotes in it, which stand for others
};

struct Reader {
    const char *at;
    const char *end;
};

bool isSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isWordCharacter(char c) noexcept
{
    const auto byte = static_cast<unsigned char>(c);
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
           byte >= 0x80;
}

bool startsWith(const Reader &reader, char first, char second) noexcept
{
    return reader.end - reader.at >= 2 && reader.at[0] == first && reader.at[1] == second;
}

void skipComment(Reader &reader) noexcept
{
    const bool isLine = *reader.at == '-';
    reader.at += 2;
    while (reader.at < reader.end && !(isLine ? *reader.at == '\n' : startsWith(reader, '*', '/'))) {
        ++reader.at;
    }
    reader.at += isLine || reader.at == reader.end ? 0 : 2;
}

void skipBlanks(Reader &reader) noexcept
{
    while (reader.at < reader.end) {
        if (isSpace(*reader.at)) {
            ++reader.at;
        } else if (reader.end - reader.at >= 3 && std::memcmp(reader.at, "\xef\xbb\xbf", 3) == 0) {
            reader.at += 3; // a byte order mark is a blank
        } else if (startsWith(reader, '-', '-') || startsWith(reader, '/', '*')) {
            skipComment(reader);
        } else {
            return;
        }
    }
}

Token readQuoted(Reader &reader) noexcept
{
    const char open = *reader.at;
    const char close = open == '[' ? ']' : open;
    Token token{TokenKind::quoted, ++reader.at, 0, false};
    while (reader.at < reader.end) {
        if (*reader.at == close) {
            if (open == '[' || !startsWith(reader, close, close)) {
                break;
            }
            token.hasQuotes = true;
            ++reader.at;
        }
        token.hasQuotes = token.hasQuotes || *reader.at == '"' || *reader.at == '\'' || *reader.at == '`';
        ++reader.at;
    }
    token.length = static_cast<std::size_t>(reader.at - token.text);
    reader.at += reader.at < reader.end ? 1 : 0;
    return token;
}

Token nextToken(Reader &reader) noexcept
{
    skipBlanks(reader);
    if (reader.at == reader.end) {
        return {TokenKind::end, reader.at, 0, false};
    }
    const char c = *reader.at;
    if (c == '"' || c == '\'' || c == '`' || c == '[') {
        return readQuoted(reader);
    }
    Token token{TokenKind::other, reader.at++, 1, false};
    if (isWordCharacter(c)) {
        token.kind = TokenKind::word;
        while (reader.at < reader.end && isWordCharacter(*reader.at)) {
            ++reader.at;
        }
        token.length = static_cast<std::size_t>(reader.at - token.text);
    }
    return token;
}

bool isName(const Token &token) noexcept
{
    return token.kind == TokenKind::word || token.kind == TokenKind::quoted;
}

bool isSameName(const Token &first, const Token &second) noexcept
{
    return first.length == second.length &&
           sqlite3_strnicmp(first.text, second.text, static_cast<int>(first.length)) == 0;
}

template <std::size_t size>
bool isWord(const Token &token, const char (&word)[size]) noexcept
{
    return token.kind == TokenKind::word && isSameName(token, {TokenKind::word, word, size - 1, false});
}

bool isSign(const Token &token, char sign) noexcept
{
    return token.kind == TokenKind::other && *token.text == sign;
}

enum class Statement : unsigned char { table, index, other };

// Reads up to and with the word that says what is created.
Statement readBeginning(Reader &reader) noexcept
{
    Token token = nextToken(reader);
    if (!isWord(token, "CREATE")) {
        return Statement::other;
    }
    do {
        token = nextToken(reader);
    } while (isWord(token, "TEMP") || isWord(token, "TEMPORARY") || isWord(token, "UNIQUE"));
    return isWord(token, "TABLE") ? Statement::table : isWord(token, "INDEX") ? Statement::index : Statement::other;
}

// Whether the rest of an index says: the rows in which a column is not null.
bool isOfRowsWithValue(Reader reader) noexcept
{
    const Token column = nextToken(reader);
    return column.kind != TokenKind::other && isWord(nextToken(reader), "IS") && isWord(nextToken(reader), "NOT") &&
           isWord(nextToken(reader), "NULL") && nextToken(reader).kind == TokenKind::end;
}

// Whether an index is on columns, and on all rows or those with a value.
bool isPlainIndex(Reader reader) noexcept
{
    int brackets = 0;
    for (Token token = nextToken(reader); token.kind != TokenKind::end; token = nextToken(reader)) {
        brackets += isSign(token, '(') ? 1 : 0;
        const bool isSeparator = isSign(token, '(') || isSign(token, ')') || isSign(token, ',') || isSign(token, '.');
        if (isWord(token, "WHERE")) {
            return isOfRowsWithValue(reader);
        }
        if (brackets > 1 || (token.kind == TokenKind::other && !isSeparator)) {
            return false;
        }
    }
    return true;
}

struct Definitions {
    Token names[mostNames]; // of computed columns, or of tables in WITH clauses
    std::size_t count;
    bool areTooMany;
    bool hasChecks;         // or defaults that are computed
    std::size_t allNames;   // of whatever kind, keywords too
    std::size_t queryDepth; // of queries within queries
};

// Where the reading of a statement stands, at each depth of its brackets.
struct Level {
    Token first;         // of the column or other item
    Token before;        // the name in front of the last bracket
    std::size_t queries; // around it, with its own
};

bool beginsDefinition(Reader behindAs) noexcept
{
    Token token = nextToken(behindAs);
    while (isWord(token, "NOT") || isWord(token, "MATERIALIZED")) {
        token = nextToken(behindAs);
    }
    return isSign(token, '(');
}

void addName(Definitions &definitions, const Token &name) noexcept
{
    if (definitions.count == mostNames) {
        definitions.areTooMany = true;
    } else {
        definitions.names[definitions.count++] = name;
    }
}

Definitions readDefinitions(Reader reader, Statement statement) noexcept
{
    Definitions definitions{};
    Level levels[deepest]{};
    std::size_t depth = 0;
    Token previous{};
    for (Token token = nextToken(reader); token.kind != TokenKind::end; token = nextToken(reader)) {
        Level &level = levels[depth];
        definitions.allNames += isName(token) ? 1 : 0;
        if (isSign(previous, '(') && (isWord(token, "SELECT") || isWord(token, "WITH") || isWord(token, "VALUES"))) {
            definitions.queryDepth = std::max(definitions.queryDepth, ++level.queries);
        }
        if (isSign(token, '(')) {
            level.before = previous;
            definitions.hasChecks = definitions.hasChecks || isWord(previous, "CHECK") || isWord(previous, "DEFAULT");
            definitions.areTooMany = definitions.areTooMany || depth + 1 == deepest;
            depth += depth + 1 < deepest ? 1 : 0;
            levels[depth] = {{}, {}, level.queries};
        } else if (isSign(token, ')')) {
            depth -= depth > 0 ? 1 : 0;
        } else if (isSign(token, ',')) {
            level.first = {};
        } else if (isWord(token, "AS") && beginsDefinition(reader)) {
            const Token &inFront = isSign(previous, ')') ? level.before : previous;
            addName(definitions, statement == Statement::table ? level.first : inFront);
        } else if (level.first.kind == TokenKind::end) {
            level.first = token;
        }
        previous = token;
    }
    return definitions;
}

// Whether queries lie so deep, with so many names, that their columns multiply.
bool areQueriesMultiplied(const Definitions &definitions) noexcept
{
    std::size_t copies = 1;
    for (std::size_t i = 0; i < definitions.queryDepth && copies <= mostCopiesOfColumns; ++i) {
        copies *= std::max<std::size_t>(definitions.allNames / definitions.queryDepth, 2);
    }
    return definitions.queryDepth > 1 && copies > mostCopiesOfColumns;
}

bool isMultiplied(Reader reader, const Definitions &definitions) noexcept
{
    if (definitions.areTooMany || areQueriesMultiplied(definitions)) {
        return true;
    }
    if (definitions.count < 2) {
        return false;
    }
    std::size_t uses[mostNames]{};
    for (Token token = nextToken(reader); token.kind != TokenKind::end; token = nextToken(reader)) {
        if (token.hasQuotes) { // could be any name
            return true;
        }
        for (std::size_t i = 0; i < definitions.count; ++i) {
            uses[i] += isName(token) && isSameName(token, definitions.names[i]) ? 1 : 0;
        }
    }
    std::size_t copies = 1;
    for (std::size_t i = 0; i < definitions.count && copies <= mostCopies; ++i) {
        copies *= uses[i] > 1 ? uses[i] : 1;
    }
    return copies > mostCopies;
}

// ---- The first page: a header of 100 bytes, then a leaf of the schema's table

// A cell of the page, read from its beginning on; at null when it is not as it should be.
struct Cell {
    const unsigned char *at;
    const unsigned char *end;
};

std::size_t bigEndian(const unsigned char *bytes, int count) noexcept
{
    std::size_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value << 8U | bytes[i];
    }
    return value;
}

// Numbers of more than 28 bits do not occur in a page that is read here.
std::size_t readNumber(Cell &cell) noexcept
{
    constexpr int mostBytes = 4;
    constexpr unsigned goesOn = 0x80;
    std::size_t value = 0;
    for (int i = 0; i < mostBytes && cell.at != nullptr && cell.at < cell.end; ++i) {
        const unsigned byte = *cell.at++;
        value = value << 7U | (byte & (goesOn - 1));
        if ((byte & goesOn) == 0) {
            return value;
        }
    }
    cell.at = nullptr;
    return 0;
}

std::size_t bytesOfType(std::size_t type) noexcept
{
    constexpr std::size_t sizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
    return type < std::size(sizes) ? sizes[type] : (type - std::size(sizes)) / 2;
}

// The record of one statement: type, name, table, root page, text.
bool isPlainRecord(Cell record) noexcept
{
    constexpr int columns = 5;
    const unsigned char *beginning = record.at;
    const std::size_t headerSize = readNumber(record);
    std::size_t type = 0;
    std::size_t before = headerSize;
    for (int i = 0; i < columns; ++i) {
        before += bytesOfType(type);
        type = readNumber(record);
    }
    const auto size = static_cast<std::size_t>(record.end - beginning);
    if (record.at == nullptr || record.at != beginning + headerSize || before > size ||
        bytesOfType(type) > size - before) {
        return false;
    }
    constexpr std::size_t leastText = 13;
    if (type == 0) {
        return true; // an index of a constraint, which has no text
    }
    return type >= leastText && type % 2 == 1 &&
           !readSchemaText(reinterpret_cast<const char *>(beginning + before), bytesOfType(type)).hasCode;
}

} // namespace

SchemaText readSchemaText(const char *sql, std::size_t length) noexcept
{
    Reader reader{sql, sql + length};
    const Reader beginning = reader;
    const Statement statement = readBeginning(reader);
    if (statement == Statement::index) {
        return {!isPlainIndex(reader), false, false};
    }
    const Definitions definitions = readDefinitions(reader, statement);
    const bool hasDefinitions = definitions.count > 0 || definitions.areTooMany;
    const bool isTable = statement == Statement::table;
    return {!isTable || hasDefinitions || definitions.hasChecks, isTable && hasDefinitions,
            isMultiplied(beginning, definitions)};
}

bool isPlainFirstPage(const void *page, std::size_t size) noexcept
{
    constexpr std::size_t leastSize = 512;
    constexpr std::size_t largestSize = 65'536;
    constexpr std::size_t headerSize = 100;
    constexpr std::size_t cellsAt = headerSize + 8;
    constexpr unsigned char leafOfTable = 13;
    constexpr std::size_t utf8 = 1;
    constexpr std::size_t besideLocal = 35; // a longer record goes on elsewhere
    const auto *bytes = static_cast<const unsigned char *>(page);
    if (size < leastSize || bigEndian(bytes + 16, 2) != (size == largestSize ? 1 : size) ||
        bigEndian(bytes + 56, 4) != utf8 || bytes[headerSize] != leafOfTable) {
        return false;
    }
    const std::size_t usable = size - bytes[20];
    const std::size_t cells = bigEndian(bytes + headerSize + 3, 2);
    if (cellsAt + 2 * cells > usable) {
        return false;
    }
    for (std::size_t i = 0; i < cells; ++i) {
        const std::size_t at = bigEndian(bytes + cellsAt + 2 * i, 2);
        Cell cell{bytes + at, bytes + usable};
        if (at < cellsAt || at >= usable) {
            return false;
        }
        const std::size_t length = readNumber(cell);
        readNumber(cell); // the row's number
        if (cell.at == nullptr || length > usable - besideLocal ||
            length > static_cast<std::size_t>(cell.end - cell.at) || !isPlainRecord({cell.at, cell.at + length})) {
            return false;
        }
    }
    return true;
}
