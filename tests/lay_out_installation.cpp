// Lays out an installation with empty lists and an empty token store, for tests that are not C++ programs of this tree.
// Usage: velq_lay_out_installation DIR; prints the program directory as the engine takes it.
#include "velq_schema.h"

#include <cstdio>
#include <filesystem>
#include <sqlite3.h>

int main(int argumentCount, char **arguments)
{
    if (argumentCount != 2) {
        return 64;
    }
    const std::filesystem::path program = std::filesystem::path(arguments[1]) / "Quenlibra" / "Tarvolent";
    std::filesystem::create_directories(program / "data");
    for (const char *file : {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        const std::filesystem::path path = program / "data" / file;
        std::filesystem::remove(path);
        sqlite3 *database = nullptr;
        const bool isLaidOut =
            sqlite3_open(path.string().c_str(), &database) == SQLITE_OK &&
            sqlite3_exec(database, velq::schemaFor(file).c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        sqlite3_close(database);
        if (!isLaidOut) {
            return 73;
        }
    }
    std::printf("%s/Quenlibra\\Tarvolent\n", arguments[1]);
    return 0;
}
