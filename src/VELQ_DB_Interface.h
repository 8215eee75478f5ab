// The black, white and rule number lists: lookup, editing, reading; and the training of one message body.
//
// Numbers are kept as narrow text in reverse order, so that the last 11 characters, which decide whether two numbers
// match, come first. They are bound as text with the terminator included.
#ifndef VELQ_DB_INTERFACE_H
#define VELQ_DB_INTERFACE_H

#include "VELQ_Number_Records.h"
#include "VELQ_Util.h"

#include <cstdint>

enum NumberListKind : std::int32_t { NUMBER_LIST_WHITE = 1, NUMBER_LIST_BLACK = 2, NUMBER_LIST_RULE = 3 };

// Other results of the batch add.
inline constexpr std::int32_t batchDatabaseFull = VELQ_ERR_DATABASE_FULL;
inline constexpr std::int32_t batchFailed = VELQ_ERR_BATCH_FAILED;
inline constexpr std::int32_t batchBadArgument = VELQ_ERR_BATCH_ARGUMENT;

// convertEntry of a record. 0, or -2 with an error line, also for a null record.
int convertNumberRecord(NumberEntry *entry, const NumberRecord *record) noexcept;

// ---- Lookup in the white and the black list. `number` is narrow and already reversed. 0 with *found set, or -2.

int db_SearchNumberList(std::uint8_t *found, const char *number, std::int32_t kind) noexcept;
int db_SearchBlackNumberList(std::uint8_t *found, const char *number) noexcept;
int db_SearchWhiteNumberList(std::uint8_t *found, const char *number) noexcept;
// The matching rule as the SQL function "like" of two arguments.
void db_NumberLike(VELQ_DSH_Context *context, int count, VELQ_DSH_Value **values) noexcept;

// ---- Editing. `number` is narrow and gets reversed in place. 0 or -2.

int db_AddNumberRecord(const VELQ_WideChar *name, char *number, std::int32_t hidden, std::int32_t extendID,
                       std::int32_t kind) noexcept;
int db_DeleteNumberRecord(const VELQ_WideChar *name, char *number, std::int32_t kind) noexcept;
// Takes a number off a list before it is put on the other. False when a bound of the access layer has kept it there: it
// must not stand on both. Any other failure counts as done.
bool db_TakeNumberOff(char *number, std::int32_t kind) noexcept;
int db_DeleteAllNumberRecords(std::int32_t hidden, std::int32_t kind) noexcept;
int db_DeleteNumberByUID(std::int32_t uid, std::int32_t kind) noexcept;
int db_DeleteNumberByExtendID(std::int32_t extendID, std::int32_t kind) noexcept;
// All nodes or none. 0, -9 bad hidden or empty list, -8 bad kind, bad node or other failure, -6 database full.
int db_AddNumberList(const NumberListNode *list, std::int32_t hidden, std::int32_t kind) noexcept;

// ---- Reading. 0 or -2. An error in the middle of a list ends it, but a bound fails the call, and nothing is returned.

int db_GetNumberList(NumberListNode **head, std::int32_t hidden, std::int32_t kind) noexcept;
int db_GetNumberUIDList(UIDListNode **head, std::int32_t hidden, std::int32_t kind) noexcept;
int db_ReadNumberByUID(NumberRecord *record, std::int32_t uid, std::int32_t kind) noexcept;
// Takes one kind more, the messages.
inline constexpr std::int32_t countOfMessages = 3;
int db_GetTotalCount(std::int32_t *count, std::int32_t kind) noexcept;

// ---- Training

// Filters, segments and registers one body; `operation` is a TrainingOperation. 0, also when the register step failed,
// or -2 when segmentation failed.
int registerMsg(std::uint32_t operation, const VELQ_WideChar *body) noexcept;

#endif
