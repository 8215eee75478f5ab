// Lays out an installation with empty lists and an empty token store, for tests that are not C++ programs of this tree.
// Usage: velq_lay_out_installation DIR [UPDATE]; prints the program directory as the engine takes it. UPDATE becomes a
// file of both kinds of updates: the white number 13800009999, and the spam words free, cash and call.
#include "velq_schema.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <sqlite3.h>
#include <string>

namespace {

bool layOut(const std::filesystem::path &path, const std::string &statements)
{
    std::filesystem::remove(path);
    sqlite3 *database = nullptr;
    const bool isLaidOut = sqlite3_open(path.string().c_str(), &database) == SQLITE_OK &&
                           sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(database);
    return isLaidOut;
}

// The statement for a row of two blobs: a text as UTF-16 with its zero unit, and what follows.
std::string insert(const char *table, const std::string &text, const std::string &second)
{
    std::string blob;
    for (const char character : text + '\0') {
        std::array<char, 8> unit{};
        std::snprintf(unit.data(), unit.size(), "%02X00", static_cast<unsigned int>(character));
        blob += unit.data();
    }
    return std::string("INSERT INTO ") + table + " VALUES(X'" + blob + "', " + second + ");";
}

std::string updates()
{
    std::string statements = velq::schemaFor("wn-update") + velq::schemaFor("prob-update");
    statements += insert("diffWnTable", "13800009999", "X'0000'");
    statements += insert("diffProbTable", ".MSG_CNT", "X'640000006400000000000000'"); // of 100 messages each
    for (const char *word : {"free", "cash", "call"}) {
        statements += insert("diffProbTable", word, "X'3C0000000100000000000000'"); // in 60 and 1 of them
    }
    return statements;
}

} // namespace

int main(int argumentCount, char **arguments)
{
    if (argumentCount != 2 && argumentCount != 3) {
        return 64;
    }
    const std::filesystem::path program = std::filesystem::path(arguments[1]) / "Quenlibra" / "Tarvolent";
    std::filesystem::create_directories(program / "data");
    for (const char *file : {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        if (!layOut(program / "data" / file, velq::schemaFor(file))) {
            return 73;
        }
    }
    if (argumentCount == 3 && !layOut(arguments[2], updates())) {
        return 73;
    }
    std::printf("%s/Quenlibra\\Tarvolent\n", arguments[1]);
    return 0;
}
