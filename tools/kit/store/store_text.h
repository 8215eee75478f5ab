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

#include "kit/store/store_file.h"

#include <istream>
#include <ostream>
#include <string>

namespace velq::kit {

void writeStoreText(std::ostream &out, const StoreContents &contents);

// Throws Error (badData) with `name` and the line for text that is not in this form. Tokens may come in any order.
StoreContents readStoreText(std::istream &in, const std::string &name);

} // namespace velq::kit

#endif
