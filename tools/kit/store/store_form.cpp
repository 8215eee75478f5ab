// Told apart by how a file begins, and by its name where it is to be written.
#include "kit/store/store_form.h"

#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/store/store_text.h"

#include <cstddef>
#include <sstream>
#include <string_view>

namespace velq::kit {

bool isDatabase(InputFile &input)
{
    constexpr std::string_view databaseStart = "SQLite format 3";
    std::istream &in = input.stream();
    const int first = in.peek();
    if (first == std::istream::traits_type::eof()) {
        in.clear();
        return !input.isStandardInput(); // an empty file is an empty database
    }
    if (!input.isRegular()) {
        return first == databaseStart.front();
    }
    char start[databaseStart.size()]{};
    in.read(start, sizeof start);
    const auto got = static_cast<std::size_t>(in.gcount());
    in.clear();
    in.seekg(0);
    return std::string_view(start, got) == databaseStart;
}

StoreContents readStore(const std::string &file, std::istream &standardInput)
{
    InputFile input(file, standardInput);
    if (!isDatabase(input)) {
        return readStoreText(input.stream(), input.name());
    }
    if (!input.isRegular()) {
        throw Error(Status::noInput, "cannot read " + input.name() +
                                         ": a prob.bin is not read from a pipe; give the file, or pipe its text form");
    }
    return readStoreContents(file);
}

bool isTextFormName(const std::string &file)
{
    return file.ends_with(".txt") || file.ends_with(".text") || file.ends_with(".tsv");
}

void writeStore(const std::string &file, const StoreContents &contents, bool asText)
{
    if (!asText) {
        writeStoreContents(file, contents);
        return;
    }
    std::ostringstream text;
    writeStoreText(text, contents);
    writeTextFile(file, text.str());
}

} // namespace velq::kit
