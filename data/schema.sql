-- The tables of the five data files and of the two update files. Each section, from one "-- file:" line to the next,
-- is the whole content of one fresh database. Columns that hold what a caller gave have no affinity, so that every value
-- keeps the storage class with which the engine binds it. Identifiers are never used twice: a host may hold on to one.
-- Lookups in long lists and the merge of white numbers use the indexes by their names; that of the black list leaves out
-- rows without a number, so that identifiers are read in the order of the rows.

-- file: prob.bin
CREATE TABLE velqTable(key BLOB PRIMARY KEY NOT NULL, value BLOB) WITHOUT ROWID;

-- file: bn.bin
CREATE TABLE blackList(uid INTEGER PRIMARY KEY AUTOINCREMENT, hidden BLOB, number BLOB, name BLOB, extendID BLOB);
CREATE INDEX blackListNumber ON blackList(number) WHERE number IS NOT NULL;

-- file: wn.bin
CREATE TABLE whiteList(uid INTEGER PRIMARY KEY AUTOINCREMENT, hidden BLOB, number BLOB, name BLOB, extendID BLOB);
CREATE INDEX whiteListNumber ON whiteList(number);

-- file: ru.bin
CREATE TABLE ruleList(number BLOB);

-- file: ver.bin
CREATE TABLE versionTable(command INTEGER PRIMARY KEY, version INTEGER);
INSERT INTO versionTable(command, version) VALUES(0, 1), (1, 1), (2, 1);

-- file: prob-update
CREATE TABLE diffProbTable(key BLOB, value BLOB);

-- file: wn-update
CREATE TABLE diffWnTable(number BLOB, name BLOB);
