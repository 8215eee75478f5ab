// Writes the first inputs of the fuzz targets below the folder given as argument, one folder for each target. All
// content is invented here. The databases have pages of 512 bytes, so that one stays at two or three kilobytes.
#include "support/database.h"
#include "support/installation.h"
#include "support/temporary_folder.h"
#include "velq_schema.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

using namespace velq::test;

namespace {

std::filesystem::path corpus;

void writeSeed(const std::string &target, const std::string &name, std::string_view content)
{
    std::filesystem::create_directories(corpus / target);
    std::ofstream out(corpus / target / name, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

// The bytes of a database made by running `sql` on a fresh file.
std::string databaseBytes(const std::string &sql, const std::string &pragmas = {})
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "seed.db";
    {
        Database database(file, OpenMode::create);
        database.exec("PRAGMA page_size = 512;" + pragmas + sql);
    }
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// What every whole-file target is given: a sound database, the same in other encodings and journal modes, cut and
// damaged ones, and no database at all.
void writeFileSeeds(const std::string &target, const std::string &schema, const std::string &rows)
{
    const std::string sound = databaseBytes(schema + rows);
    writeSeed(target, "sound", sound);
    writeSeed(target, "without-rows", databaseBytes(schema));
    writeSeed(target, "utf16le", databaseBytes("PRAGMA encoding = 'UTF-16le';" + schema + rows));
    writeSeed(target, "utf16be", databaseBytes("PRAGMA encoding = 'UTF-16be';" + schema + rows));
    writeSeed(target, "write-ahead", databaseBytes(schema + rows, "PRAGMA journal_mode = WAL;"));
    writeSeed(target, "vacuumed", databaseBytes(schema + rows, "PRAGMA auto_vacuum = FULL;"));
    writeSeed(target, "cut-in-page", sound.substr(0, sound.size() - 300));
    writeSeed(target, "cut-header", sound.substr(0, 100));
    writeSeed(target, "empty", "");
    writeSeed(target, "no-database", "this is no database, but a text that somebody put there\n");
    std::string damaged = sound;
    for (std::size_t at = 512; at < damaged.size(); at += 97) {
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
    }
    writeSeed(target, "damaged", damaged);
}

// The same table with values of every storage class; `columns` names it and those columns.
void writeClassSeeds(const std::string &target, const std::string &create, const std::string &columns, int count)
{
    std::string sql = create;
    for (const std::string value : {"NULL", "7", "-9223372036854775808", "0.5", "'text'", "''", "x''", "x'41'",
                                    "x'310032003300000041420000'", "zeroblob(600)"}) {
        std::string row = value;
        for (int i = 1; i < count; ++i) {
            row += ", " + value;
        }
        sql += "INSERT OR IGNORE INTO " + columns + " VALUES(" + row + ");";
    }
    writeSeed(target, "every-class", databaseBytes(sql));
}

std::string listRows(const std::string &table)
{
    return "INSERT INTO " + table +
           "(hidden, number, name, extendID) VALUES(0, CAST(x'3837363534333231383331' || x'00' AS TEXT), "
           "x'410042000000', 7), (1, '88559', x'0000', 1), (1, x'310032000000', x'43000000', NULL);";
}

void writeDataFileSeeds()
{
    const std::string tokens = "INSERT INTO velqTable VALUES(x'6600720065006500', x'090000000100000000000000'), "
                               "(x'6300610073006800', x'0700000002000000'), (x'6c0075006e00', x'01000000'), "
                               "(x'2e004d00530047005f0043004e005400', x'280000003200000000000000'), "
                               "(x'2e524f425800', x'80a907000000000000000000');";
    writeFileSeeds("prob_file", velq::schemaFor("prob.bin"), tokens);
    writeClassSeeds("prob_file", "CREATE TABLE velqTable(key UNIQUE, value);", "velqTable", 2);
    writeSeed("prob_file", "view", databaseBytes("CREATE VIEW velqTable(key, value) AS SELECT 'a', 'b';"));
    writeSeed("prob_file", "trigger",
              databaseBytes(velq::schemaFor("prob.bin") + tokens +
                            "CREATE TRIGGER t AFTER UPDATE ON velqTable BEGIN DELETE FROM velqTable; END;"));
    writeSeed("prob_file", "computed",
              databaseBytes("CREATE TABLE velqTable(key, value AS (zeroblob(12)), again AS (key || key));"
                            "INSERT INTO velqTable(key) VALUES(x'6600720065006500');"));
    for (const std::string name : {"wn", "bn"}) {
        const std::string table = name == "wn" ? "whiteList" : "blackList";
        const std::string target = name + "_file";
        writeFileSeeds(target, velq::schemaFor(name + ".bin"), listRows(table));
        writeClassSeeds(target, "CREATE TABLE " + table + "(uid, hidden, number, name, extendID);", table, 5);
        writeSeed(target, "view",
                  databaseBytes("CREATE VIEW " + table +
                                " AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                                "SELECT x AS uid, 0 AS hidden, x AS number, x AS name, x AS extendID FROM c;"));
        writeSeed(target, "computed",
                  databaseBytes("CREATE TABLE " + table +
                                "(uid INTEGER PRIMARY KEY, hidden, number, name AS "
                                "(zeroblob(3000)), extendID AS (uid / 0));INSERT INTO " +
                                table + "(hidden, number) VALUES(0, '1');"));
    }
    writeFileSeeds("ru_file", velq::schemaFor("ru.bin"), "INSERT INTO ruleList VALUES('68001' || x'00');");
    writeFileSeeds("ver_file", velq::schemaFor("ver.bin"), "UPDATE versionTable SET version = 77 WHERE command = 1;");
    writeClassSeeds("ver_file", "CREATE TABLE versionTable(command, version);", "versionTable", 2);
    writeSeed("ver_file", "view",
              databaseBytes("CREATE VIEW versionTable AS SELECT 0 AS command, 9999999999 AS version;"));
}

void writeUpdateSeeds()
{
    writeFileSeeds("prob_update", velq::schemaFor("prob-update"),
                   "INSERT INTO diffProbTable VALUES(x'66007200650065000000', x'090000000100000000000000'), "
                   "(x'6e00650077000000', x'020000000300000000000000ffff'), "
                   "(x'66007200650065000000', x'ffffffffffffffff00000000');");
    writeClassSeeds("prob_update", velq::schemaFor("prob-update"), "diffProbTable", 2);
    writeSeed("prob_update", "view",
              databaseBytes("CREATE VIEW diffProbTable AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
                            "FROM c) SELECT x'610062000000' AS key, zeroblob(12) AS value FROM c;"));
    writeFileSeeds("wn_update", velq::schemaFor("wn-update"),
                   "INSERT INTO diffWnTable VALUES(x'31003200330000000000', x'410042000000'), "
                   "(x'310032003300340000000000', x'0000'), (x'31003200330000000000', x'0000'), "
                   "(x'3900380037000000', x'430044000000');");
    writeClassSeeds("wn_update", velq::schemaFor("wn-update"), "diffWnTable", 2);
    writeSeed("wn_update", "last-row-known",
              databaseBytes(velq::schemaFor("wn-update") +
                            "INSERT INTO diffWnTable VALUES(x'3500360000', x'00'), (x'35003600000000', x'0000'), "
                            "(x'35003600000000', x'0000');"));
    writeSeed("wn_update", "too-long",
              databaseBytes(velq::schemaFor("wn-update") + "INSERT INTO diffWnTable VALUES("
                                                           "CAST(replace(hex(zeroblob(30)), '00', char(53) || x'00') "
                                                           "|| x'0000' AS BLOB), x'0000');"));
}

// ---- Inputs of the targets that read numbers and texts; see Input in fuzz_harness.h.

std::string text(const std::string &pieces)
{
    return static_cast<char>(pieces.size()) + pieces;
}

void writeCallSeeds()
{
    const std::string spam = "\x80 \x81 \x82 \x83 \x84\x85 \x8d"
                             "77";
    const std::string ham = "\x86 at \x87 \x88, \x8b\x8c";
    const std::string oddities = "\xff\xd8\x01\xff\xdc\x01 a B \x92\x93\x94\x95\x96\xff\xff\xff";
    const std::string unknown = "zzzz qqqq xxxx wwww vvvv uuuu tttt";
    writeSeed("text", "spam", std::string(1, '\0') + text(spam));
    writeSeed("text", "ham", std::string(1, '\0') + text(ham));
    writeSeed("text", "oddities", std::string(1, '\0') + text(oddities));
    writeSeed("text", "plain-units", std::string("\x01\x00\x66\x00\x72\xd8\x01\xdc\x02\xdc\x02\xd8\x01\xff\xff", 15));
    writeSeed("rating", "spam-plain", std::string(1, '\0') + text("5550") + text(spam));
    writeSeed("rating", "ham-norix-trace", "\x03" + text("\x80") + text(ham));
    writeSeed("rating", "listed-senders",
              "\x01" + text("\x83") + text(spam) + text("\x81\x80") + text(ham) +
                  text("\x82"
                       "1") +
                  text(spam));
    writeSeed("rating", "oddities",
              "\x02" +
                  text("\xff\x01\x31"
                       "2\x89") +
                  text(oddities) + text("") + text(""));
    writeSeed("rating", "unknown-words", std::string(1, '\0') + text("1") + text(unknown));
    writeSeed("rating", "all-tokens",
              "\x02" + text("77") + text("\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8a\x8b\x8c\x8d\x97\x80\x81\x82"));

    const std::string addWhite =
        std::string("\x01\x00", 2) + '\x01' + '\x05' + '\x01' + text("+86\x80") + text("friend");
    const std::string addBlack =
        std::string("\x00\x01", 2) + std::string(1, '\0') + '\x05' + '\x01' + text("\x80") + text("\x80\x81");
    const std::string batch = std::string("\x03\x01\x02", 3) + std::string(1, '\0') + text("1\x83") + text("n") +
                              "\x09" + std::string(1, '\0') + text("2") + text("") + "\x0a";
    const std::string readAll = "\x05\xfe\x05\x01";
    const std::string deleteSome =
        std::string("\x04\x01\x05\x01", 4) + std::string("\x04\x00\x01\x00", 4) + std::string("\x04\x01\xfe\x02", 4);
    writeSeed("lists", "add-both", std::string(1, '\0') + addWhite + addBlack + readAll);
    writeSeed("lists", "batch-and-delete", "\x03" + batch + readAll + deleteSome + "\x06");
    writeSeed("lists", "absent-texts",
              "\x01" + std::string("\x00\x00\x01\x01\x00\x01", 6) + text("123") + text("a") + readAll);
    writeSeed("lists", "too-long",
              "\x02" + std::string("\x02\x00\x00", 3) + text("12345678901234567890123456789012") + text("") + batch);

    const std::string single = std::string("\x01\x01", 2) + text("\x80") + text("someone") + std::string("\x01\x04", 2);
    const std::string rating = "\x06" + text("\x83") + text(spam);
    const std::string feedback = "\x08" + text("\x83") + text(spam);
    const std::string tokensUpdate = "\x09\x02\x01" + text("new") + "\x05\x06\x01" + text("\x80") + "\x01\x02";
    const std::string badUpdate = std::string("\x09\x01\x00\x04", 4) + "abcd" + "\x03" + "efg";
    const std::string numbersUpdate = "\x0a\x02\x01" + text("\x83") + text("bank") + "\x01" + text("\x84") + text("");
    writeSeed("sequences", "edits", single + std::string("\x0c\x00", 2) + std::string("\x04\x01", 2) + text("\x80"));
    writeSeed("sequences", "rate-and-correct", std::string("\x00\x01", 2) + rating + feedback + rating);
    writeSeed("sequences", "updates", tokensUpdate + badUpdate + numbersUpdate + numbersUpdate + "\x0c\x01");
    writeSeed("sequences", "restarts",
              std::string("\x00\x01", 2) + single + std::string("\x00\x00", 2) + rating + "\x0d" + "\x0b\x01\x01\x01");
    writeSeed("sequences", "batches",
              "\x05\x02" + text("7\x84") + text("x") + text("8") + text("") + "\x0b" + std::string("\x00\x02\xfe", 3));
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_seeds FOLDER\n");
        return 1;
    }
    corpus = argv[1];
    writeDataFileSeeds();
    writeUpdateSeeds();
    writeCallSeeds();
    return 0;
}
