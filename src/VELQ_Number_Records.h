// The records in which numbers cross the interface: taken in, made of stored rows, released. Numbers cross as displayed
// and are kept reversed. Nothing here is logged.
#ifndef VELQ_NUMBER_RECORDS_H
#define VELQ_NUMBER_RECORDS_H

#include "VELQ_Util.h"

// A number and a name in the form in which the lists take them, the number not yet reversed. An absent name is empty.
struct NumberEntry {
    char number[VELQ_MAX_NUMBER_LENGTH + 1];
    VELQ_WideChar name[VELQ_MAX_NAME_LENGTH + 1];
};

// False for a null number and for texts beyond the limits.
bool convertEntry(NumberEntry *entry, const VELQ_WideChar *number, const VELQ_WideChar *name) noexcept;

// A node of the row that the statement stands on: number, name, link value. Null when memory is out.
NumberListNode *readNumberNode(VELQ_DSH_Statement *statement) noexcept;
// Sets both texts of the record from the row's number and name; none and false when memory is out.
bool readNumberRecord(NumberRecord *record, VELQ_DSH_Statement *statement) noexcept;

// Null is allowed.
void freeNumberList(NumberListNode *list) noexcept;
void freeUIDList(UIDListNode *list) noexcept;
void freeNumberRecord(NumberRecord *record) noexcept;

#endif
