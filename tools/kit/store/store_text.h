// The text form of a token store, fit for version control: sorted, one token a line, nothing lost. Reading a dump and
// dumping again gives the same bytes.
//
//     velq-store 1
//     messages<TAB>461<TAB>2883
//     prior<TAB>400000
//     tokens
//     free<TAB>120<TAB>3
//     ...
//     end
//
// A token's line holds its text, its spam count, its ham count and, where it is not 0, its reserved word. `messages`
// and `prior` (in millionths) are missing when the store lacks their records. In a token's text a unit that a line or
// an editor would not keep (control characters, blanks, invisible characters, halves of surrogate pairs), and # or ! at
// its start, are written as a backslash, u and four hexadecimal digits; a backslash itself is doubled. A key that is no
// UTF-16 text starts with ! and its storage class (!blob:2e52). A value other than twelve bytes is written the same way
// (blob:00ff). Lines that start with # are remarks; they are read over and not kept.
#ifndef VELQ_KIT_STORE_STORE_TEXT_H
#define VELQ_KIT_STORE_STORE_TEXT_H

#include "kit/base/input.h"
#include "kit/store/store_file.h"

#include <istream>
#include <ostream>
#include <string>

namespace velq::kit {

void writeStoreText(std::ostream &out, const StoreContents &contents);

// Throws Error (badData) with `name` and the line for text that is not in this form. Tokens may come in any order.
StoreContents readStoreText(std::istream &in, const std::string &name);

// A store in either form; a file that begins as a database is read as prob.bin. "-" is text on standard input.
StoreContents readStore(const std::string &file, std::istream &standardInput);

// Whether the input begins as a database does, or is empty. Nothing of it is taken; of a pipe, only the first byte is
// looked at, which no text form begins with.
bool isDatabase(InputFile &input);

// Whether a file of that name is written as text: .txt, .text or .tsv.
bool isTextFormName(const std::string &file);

// Writes either form, whole or not at all.
void writeStore(const std::string &file, const StoreContents &contents, bool asText);

// A key as the text form shows it.
std::string keyText(const StoredValue &key);

} // namespace velq::kit

#endif
