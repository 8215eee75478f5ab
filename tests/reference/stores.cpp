// Reads through the tests' own connections and compares row by row, so that a difference names the row.
#include "stores.h"

#include "support/wide.h"

#include <algorithm>
#include <stdexcept>

namespace velq::reference {

namespace {

NumberTable readNumberTable(const test::Installation &installation, test::NumberList list)
{
    NumberTable table;
    for (const test::Row &row : installation.numberRows(list)) {
        table.entries.push_back({row.at(0).integer, row.at(1), row.at(2), row.at(3), row.at(4)});
        table.lastUid = row.at(0).integer;
    }
    const test::Rows sequence =
        installation.open(test::fileOf(list))
            .query("SELECT seq FROM sqlite_sequence WHERE name = ?;", {Value::ofText(test::tableOf(list))});
    if (!sequence.empty()) {
        table.lastUid = std::max(table.lastUid, sequence.at(0).at(0).integer);
    }
    return table;
}

using Lines = std::map<std::string, std::string>;

Lines linesOf(const NumberTable &table)
{
    Lines lines;
    for (const NumberEntry &entry : table.entries) {
        lines["uid " + std::to_string(entry.uid)] =
            test::show(test::Row{entry.hidden, entry.number, entry.name, entry.extendID});
    }
    return lines;
}

Lines linesOf(const std::map<std::string, Value> &tokens)
{
    Lines lines;
    for (const auto &[key, value] : tokens) {
        lines["key " + test::hex(key)] = test::show(value);
    }
    return lines;
}

Lines linesOf(const std::map<std::int64_t, Value> &versions)
{
    Lines lines;
    for (const auto &[command, version] : versions) {
        lines["command " + std::to_string(command)] = test::show(version);
    }
    return lines;
}

Lines linesOf(const test::Rows &rules)
{
    Lines lines;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        lines["row " + std::to_string(i)] = test::show(rules[i]);
    }
    return lines;
}

void compare(const std::string &what, const Lines &expected, const Lines &actual, std::vector<std::string> &out)
{
    for (const auto &[name, line] : expected) {
        const auto found = actual.find(name);
        if (found == actual.end()) {
            out.push_back(what + ", " + name + ": expected " + line + ", missing");
        } else if (found->second != line) {
            out.push_back(what + ", " + name + ": expected " + line + ", found " + found->second);
        }
    }
    for (const auto &[name, line] : actual) {
        if (expected.count(name) == 0) {
            out.push_back(what + ", " + name + ": not expected, found " + line);
        }
    }
}

} // namespace

Stores readStores(const test::Installation &installation)
{
    Stores stores;
    for (const test::Row &row : installation.open("prob.bin").query("SELECT key, value FROM velqTable;")) {
        if (row.at(0).kind != Value::Kind::blob) {
            throw std::runtime_error("a token key is no blob: " + test::show(row));
        }
        stores.tokens[row.at(0).bytes] = row.at(1);
    }
    stores.white = readNumberTable(installation, test::NumberList::white);
    stores.black = readNumberTable(installation, test::NumberList::black);
    stores.rules = installation.open("ru.bin").query("SELECT * FROM ruleList ORDER BY rowid;");
    for (const test::Row &row : installation.open("ver.bin").query("SELECT command, version FROM versionTable;")) {
        stores.versions[row.at(0).integer] = row.at(1);
    }
    return stores;
}

std::vector<std::string> differences(const Stores &expected, const Stores &actual)
{
    std::vector<std::string> out;
    compare("prob.bin", linesOf(expected.tokens), linesOf(actual.tokens), out);
    compare("wn.bin", linesOf(expected.white), linesOf(actual.white), out);
    compare("bn.bin", linesOf(expected.black), linesOf(actual.black), out);
    compare("ru.bin", linesOf(expected.rules), linesOf(actual.rules), out);
    compare("ver.bin", linesOf(expected.versions), linesOf(actual.versions), out);
    return out;
}

} // namespace velq::reference
