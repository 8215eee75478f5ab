// Token stores in either form: prob.bin, or text.
#ifndef VELQ_KIT_STORE_STORE_FORM_H
#define VELQ_KIT_STORE_STORE_FORM_H

#include "kit/base/input.h"
#include "kit/store/store_file.h"

#include <istream>
#include <string>

namespace velq::kit {

// A store in either form; a file that begins as a database is read as prob.bin. "-" is text on standard input.
StoreContents readStore(const std::string &file, std::istream &standardInput);

// Whether the input begins as a database does, or is empty. Nothing of it is taken; of a pipe, only the first byte is
// looked at, which no text form begins with.
bool isDatabase(InputFile &input);

// Whether a file of that name is written as text: .txt, .text or .tsv.
bool isTextFormName(const std::string &file);

// Writes either form, whole or not at all.
void writeStore(const std::string &file, const StoreContents &contents, bool asText);

} // namespace velq::kit

#endif
