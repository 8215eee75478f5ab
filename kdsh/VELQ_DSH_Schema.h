// What the texts of a schema say of themselves, without having SQLite compile them: whether a statement of the schema
// does more than name tables and columns.
#ifndef VELQ_DSH_SCHEMA_H
#define VELQ_DSH_SCHEMA_H

#include <cstddef>

struct SchemaText {
    bool hasCode;            // something is computed when rows are read or written
    bool hasComputedColumns; // a table's, when they are read
    bool isMultiplied;       // what is computed uses each other so often that compiling it would hardly end
};

SchemaText readSchemaText(const char *sql, std::size_t length) noexcept;
// Whether a database's first page, as it stands in the file, has the whole schema and no text of it has code. False
// also for what is not read here: larger schemas, other encodings than UTF-8, damage.
bool isPlainFirstPage(const void *page, std::size_t size) noexcept;

#endif
