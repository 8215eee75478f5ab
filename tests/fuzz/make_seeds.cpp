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

void writePreparationSeeds()
{
    writeSeed("prepare", "plain", "FREE Prize, call 0800 123");
    writeSeed("prepare", "look-alikes",
              "P\x80yP\x80l \x84\x80ll \x8f"
              "ELLO \x92x\x9a\x9b\xa0\xa1 z\x95\x96 \x99");
    writeSeed("prepare", "accents-and-invisible",
              "\xb3\xb2\xa2"
              "e\xa2\xa3 fr\xa6"
              "ee\xa8\xa9\xaa 1\xa9\xa5");
    writeSeed("prepare", "forms", "\xb8\xb9\xba\xbb\xbc\xbd\xbe\xbf\xb5\xb4\xb1\xb6\xb7");
    writeSeed("prepare", "pairs",
              "\xc6\xc7 \xc8\xc9 \xca\xcb \xcc\xcd \xc6 \xc7 \xc6\xa6\xc7 \xff\xd8\x01\xff\xdc\x01");
    writeSeed("prepare", "other-scripts", "\xc0\xc1\xc2\xc3\xc4\xc5 \xb8\xb9 \xff\x06\x27");
}

// ---- Inputs of the targets that read foreign text with the kit.

void writeStoreTextSeeds()
{
    const std::string start = "velq-store 1\nmessages\t100\t90\nprior\t600000\ntokens\n";
    const auto write = [&start](const std::string &name, const std::string &lines) {
        writeSeed("store_text", name, start + lines + "end\n");
    };
    write("usual", "# words that lean to one side\nfree\t90\t2\nlunc\t1\t80\n\u4e2d\u5956\t80\t1\n");
    write("reserved-words", "free\t90\t2\t7\n");
    write("escapes", "\\u0020a\\\\\t1\t2\n\\u0023b\t3\t4\n\\ud800c\t5\t6\n");
    write("other-keys",
          "!blob:2e52\t1\t2\n!text:6162\t3\t4\n!integer:-5\t1\t1\n!real:3fe0000000000000\t1\t1\n!null\t1\t1\n");
    write("other-values", "free\tblob:00ff\nlunc\ttext:61\nhome\tinteger:7\ncash\treal:4008000000000000\ncall\tnull\n");
    write("reals-that-are-no-numbers", "!real:7ff8000000000000\t1\t2\n!real:fff0000000000000\t1\t2\n");
    write("values-that-are-no-numbers", "free\treal:7ff8000000000000\n");
    write("negative-zero", "free\treal:8000000000000000\n!real:8000000000000000\t1\t2\n");
    write("one-key-twice", "free\t90\t2\n!blob:6600720065006500\t90\t2\n");
    writeSeed("store_text", "windows-lines", "\xef\xbb\xbfvelq-store 1\r\ntokens\r\nfree\t1\t2\r\nend\r\n");
    writeSeed("store_text", "typed-header", "velq-store 1\nmessages\tblob:01\nprior\tnull\ntokens\nend\n");
    writeSeed("store_text", "cut", start + "free\t90");
}

void writeCsvSeeds()
{
    const std::string records(1, '\x00');
    const std::string entries(1, '\x01');
    const std::string whiteNumbers(1, '\x02');
    writeSeed("csv", "records", records + "a,b\r\n\"c, \"\"d\"\"\",\r\n\r\n\"two\r\nlines\", blanks \n");
    writeSeed("csv", "records-of-one-field", records + "a\n\"\"\n\n\"\xef\xbb\xbf\"\n");
    writeSeed("csv", "records-with-carriage-returns", records + "a,b\rc,d\r\"e\rf\",\r");
    writeSeed("csv", "records-broken", records + "a\"b,c\n\"d");
    writeSeed("csv", "entries",
              entries + "number,name,hidden,extendID\r\n+4512345678,\"Anna, home\",0,7\r\n95588,,1,\r\n");
    writeSeed("csv", "entries-other-order", entries + "Name,NUMBER\n\u5f20\u4f1f,13812345678\n");
    writeSeed("csv", "entries-faulty", entries + "number,hidden\n1,2\n");
    writeSeed("csv", "white-numbers", whiteNumbers + "10086,Provider\n95588\n10086,again\n");
    writeSeed("csv", "white-numbers-header", whiteNumbers + "name,number\n\"Shop\n\xf0\x9f\x98\x80\",+45123\n");
}

void writeCorpusSeeds()
{
    const std::string labelTabText(1, '\x00');
    const std::string csv(1, '\x01');
    const std::string jsonLines(1, '\x02');
    writeSeed("corpus", "label-tab-text", labelTabText + "ham\tlunch at noon?\r\n\nspam\tfree \"cash\"\there\n");
    writeSeed("corpus", "label-unknown", labelTabText + "perhaps\ttext\n");
    writeSeed("corpus", "csv", csv + "id,Text,label\n1,\"free, \"\"now\"\"\",spam\n2, see you ,ham\n");
    writeSeed("corpus", "json-lines",
              jsonLines + R"({"label":"ham","text":"see\nyou \u4e2d\ud83d\ude00","id":[1,{}]})" + "\n" +
                  R"({"text":"free","label":"spam"})" + "\n");
    writeSeed("corpus", "json-zero", jsonLines + R"({"label":"ham","text":"a\u0000b"})");
    writeSeed("corpus", "json-numbers",
              jsonLines + R"({"label":"ham","text":"a","n":[1e999,-0,18446744073709551616]})");
    writeSeed("corpus", "json-nested", jsonLines + std::string(300, '[') + R"({"label":"spam","text":"a"})");
}

void writeRatePipeSeeds()
{
    writeSeed("rate_pipe", "requests",
              R"({"id":"a1","number":"13812345678","body":"free cash for you"})"
              "\n"
              R"({"id":18446744073709551616,"body":"lunch \u4e2d\u5956"})"
              "\n\n"
              R"({"body":"","number":null,"id":-1.50})"
              "\r\n");
    writeSeed("rate_pipe", "faults",
              R"({"id":[1],"body":"x"})"
              "\n"
              R"({"id":7,"number":1,"body":"x"})"
              "\n"
              R"({"id":"b","body":"a\u0000b"})"
              "\n"
              R"({"id":"c","body":"x")"
              "\nno object\n[]\n{}");
    writeSeed("rate_pipe", "members-twice", R"({"id":1,"id":"2","body":{"body":"x"},"body":"y","number":""})");
    writeSeed("rate_pipe", "zero-behind-the-object",
              R"({"id":"d","body":"free cash for you"})" + std::string("\0}\n", 3) + R"({"id":"e","body":"y"})");
}

// Requests to the service, as serve_fuzzer.cpp reads them.
void writeServeSeeds()
{
    const std::string json = "\ncontent-type: application/json\n\n";
    const std::string next = "\n===\n";
    const std::string rate = "POST /v1/rate" + json;
    const std::string mark = "POST /v1/mark" + json;
    const std::string black = "POST /v1/lists/black";
    const auto write = [](const std::string &name, const std::string &bytes) { writeSeed("serve", name, bytes); };
    write("rate", rate + R"({"id":"a1","number":"13812345678","body":"free cash for you"})" + next + rate +
                      R"([{"id":1.5,"body":"lunch \u4e2d\u5956"},{"body":"","number":null}])" + next + rate +
                      R"([{"body":"x"},{"body":1}])" + next + "POST /v1/explain" + json + R"({"body":"free lunch"})");
    write("mark", mark + R"({"as":"spam","body":"free lunch"})" + next + mark + R"({"undo":true})" + next + rate +
                      R"({"body":"free"})" + next + mark + R"({"as":"ham","message":1})" + next +
                      "GET /v1/journal\n?rating=spam\n?limit=10\n?before=5\n\n" + next + mark +
                      R"({"undo":true,"message":1})");
    write("lists", black + json + R"({"number":"+4512345678","name":"S\u00f8ren","hidden":1,"extendID":-7})" + next +
                       black + "\ncontent-type: text/csv; charset=utf-8\n\nnumber,name\n123,\"a,\"\"b\"\"\"\n" + next +
                       "GET /v1/lists/black\n?limit=1\n?after=0\n?hidden=any\n\n" + next +
                       "GET /v1/lists/white\n?format=csv\n\n" + next + "DELETE /v1/lists/black\n?number=%2B45123\n\n" +
                       next + "DELETE /v1/lists/black\n?uid=1\n\n" + next + "DELETE /v1/lists/white\n?all=true\n\n");
    const std::string kannel = "GET /hook/kannel\n?from=%2B4512345678\n";
    const std::string hooks = kannel + "?text=free lunch\n?charset=UTF-8\n?coding=0\n\n" + next + kannel +
                              "?text=%4E%2D%59%56\n?charset=UTF-16BE\n\n" + next + "POST /hook/json" + json +
                              R"({"number":4512345678,"text":"free"})" + next + "POST /hook/json" + json + "[]";
    write("hooks", hooks);
    write("hooks-forward", "forward\n" + hooks);
    write("status", "GET /healthz\n\n" + next + "GET /v1/versions\n\n" + next + "HEAD /v1/lists/white\n\n" + next +
                        "PUT /v1/rate\n\n" + next + "GET /other\n\n");
    const std::string sender = "POST /v1/sender" + json;
    write("senders", rate + R"({"number":"+4512345678","body":"free"})" + next + sender +
                         R"({"as":"blocked","message":1})" + next + "GET /v1/journal/1\n\n" + next + sender +
                         R"({"as":"allowed","message":1})" + next + sender + R"({"undo":true,"message":1})" + next +
                         "GET /v1/weeks\n\n" + next + "GET /v1/journal/x\n\n");
    write("journal", rate + R"([{"number":"1","body":"free cash"},{"number":"2","body":"lunch"}])" + next +
                         "GET /v1/journal\n?search=fr\u0435e\n?corrected=false\n?limit=1\n\n" + next + mark +
                         R"({"as":"ham","message":1})" + next + "GET /v1/journal\n?corrected=true\n\n" + next +
                         "GET /v1/journal/2\n\n" + next + "HEAD /v1/journal\n?search=%25\n?before=2\n\n" + next +
                         "GET /v1/weeks\n?weeks=3\n\n" + next + "GET /v1/weeks\n?weeks=0\n\n");
    write("page", "GET /\n\n" + next + "GET /page/main.js\n\n" + next + "HEAD /page/style.css\n\n" + next +
                      "GET /page/icon.svg\n\n" + next + "GET /page/..\n\n" + next + "GET /page/\n\n" + next +
                      "GET /metrics\n\n" + next + "GET /openapi.json\n\n");
    write("access", "POST /v1/rate\nhost: [::1]:8125\norigin: http://filter.example\nsec-fetch-site: cross-site\n"
                    "authorization: 0123456789abcdef\ncontent-type: APPLICATION/JSON ;x\n\n{}");
    const std::string sent = "\ncontent-type: application/octet-stream\n\n";
    write("update", "POST /v1/updates\n?kind=probability\n?version=7" + sent +
                        databaseBytes(velq::schemaFor("prob-update") +
                                      "INSERT INTO diffProbTable VALUES(x'66007200650065000000', "
                                      "x'090000000100000000000000');"));
    write("update-of-numbers", "POST /v1/updates\n?kind=white-numbers\n?version=2\n?force=true" + sent +
                                   databaseBytes(velq::schemaFor("wn-update") +
                                                 "INSERT INTO diffWnTable VALUES(x'31003200330000000000', x'0000');"));
}

void writeHookSeeds()
{
    const std::string headers = "From: 4512345678\nFrom_TOA: 91 international, ISDN/telephone\nReceived: 26-11-20\n";
    const auto write = [](const std::string &name, const std::string &bytes) {
        writeSeed("smstools_file", name, bytes);
    };
    write("utf8", headers + "Alphabet: UTF-8\n\nfree \u4e2d\u5956 \xf0\x9f\x98\x80");
    write("latin9", headers + "Alphabet: ISO\nUDH: false\n\n\xa4 5 f\xfcr Sie");
    write("ucs2", headers + std::string("Alphabet: UCS2\n\n\0f\0r\x4e\x2d\0\0\xd8\x00", 26));
    write("ucs2-half-a-character", headers + "Alphabet: UCS2\n\n\x4e");
    write("binary", headers + "Alphabet: binary\n\n\x01\x02");
    write("sender-with-an-empty-line", "From: X\n\nq\nFrom: Y\nFrom_TOA: D0\nAlphabet: UTF-8\n\ntext");
    write("no-alphabet", headers + "\ntext");
    write("alphabet-unknown", headers + "Alphabet: ASCII\n\ntext");

    // A literal with zeros, its own terminating one aside.
    const auto variables = [](const std::string &name, std::string_view bytes) {
        writeSeed("gammu_variables", name, bytes);
    };
    using namespace std::string_view_literals;
    variables("one-part",
              "SMS_MESSAGES=1\0SMS_1_NUMBER=+4512345678\0SMS_1_TEXT=free cash\0DECODED_PARTS=0\0\0IN1.txt\0"sv);
    variables("decoded", "SMS_MESSAGES=2\0SMS_1_NUMBER=SHOP\0SMS_1_TEXT=fr\0SMS_2_TEXT=ee\0DECODED_PARTS=1\0"
                         "DECODED_1_TEXT=free \xe4\xb8\xad\0\0IN\0MY\0SHOP\0001.txt\0IN1.txt\0"sv);
    variables("counts", "SMS_MESSAGES=256\0DECODED_PARTS=-1\0\0"sv);
    variables("names", "SMS_1_TEXT=a\0\0folder\0missing\0"sv);
    variables("names-above", "SMS_1_TEXT=a\0\0..\0../IN1.txt\0\0"sv);
    variables("not-utf8", "SMS_1_TEXT=\xff\0\0"sv);
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
    writePreparationSeeds();
    writeStoreTextSeeds();
    writeCsvSeeds();
    writeCorpusSeeds();
    writeRatePipeSeeds();
    writeServeSeeds();
    writeHookSeeds();
    return 0;
}
