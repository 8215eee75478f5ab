"""Requests and answers of the service, each against its description."""

import json
import re
import sqlite3
import subprocess
import unittest
import urllib.parse

from service import DESCRIPTION, HAM, PROGRAM, SPAM, UNSURE, ServiceTest, find_schema, jsonschema, velq


class Description(ServiceTest):
    def test_it_is_served_as_it_was_tested(self):
        self.assertEqual(self.start().get("/openapi.json").json, DESCRIPTION)

    def test_it_is_sound(self):
        self.assertEqual(DESCRIPTION["openapi"], "3.1.0")
        operations = set()
        for path, methods in DESCRIPTION["paths"].items():
            self.assertTrue(path.startswith("/"))
            for method, operation in methods.items():
                self.assertIn(method, ("get", "post", "delete"))
                self.assertNotIn(operation["operationId"], operations)
                operations.add(operation["operationId"])
                self.assertTrue(operation["summary"])
                for status, response in operation["responses"].items():
                    self.assertRegex(status, "^([2-5][0-9][0-9]|default)$")
                    self.assertTrue(find_schema(response)["description"])
                for parameter in operation.get("parameters", []):
                    self.assertEqual(parameter["in"], "path" if f"{{{parameter['name']}}}" in path else "query")
                    self.assertIn("schema", parameter)

    def test_every_reference_leads_somewhere_and_every_schema_is_one(self):
        def walk(value):
            if isinstance(value, dict):
                if "$ref" in value:
                    self.assertTrue(find_schema(value))
                for inner in value.values():
                    walk(inner)
            elif isinstance(value, list):
                for inner in value:
                    walk(inner)
        walk(DESCRIPTION)
        if jsonschema is None:
            self.skipTest("python3-jsonschema is not here")
        for schema in DESCRIPTION["components"]["schemas"].values():
            jsonschema.Draft202012Validator.check_schema(schema)

    def test_every_path_of_it_is_there_and_no_other_method(self):
        service = self.start()
        for path, methods in DESCRIPTION["paths"].items():
            answer = service.request("PUT", path)
            self.assertEqual(answer.status, 405, path)
            self.assertEqual(set(answer.headers["Allow"].split(", ")), {name.upper() for name in methods})
        self.assertEqual(service.get("/v2/rate").status, 404)
        self.assertEqual(service.get("/v1/rate%00").status, 404)
        self.assertEqual(service.get("/v1/rate/").status, 404)


class Rating(ServiceTest):
    def test_a_message_is_rated_and_learned(self):
        service = self.start()
        answer = service.post("/v1/rate", {"id": "a", "number": "+4512345678", "body": SPAM})
        self.assertEqual(answer.status, 200)
        self.assertEqual((answer.json["id"], answer.json["rating"], answer.json["reason"]), ("a", "spam", "classifier"))
        self.assertGreater(answer.json["spamicity"], 0.9)
        self.assertEqual(service.stop(), 0)
        self.assertIn("messages\t101\t100", self.counts())

    def test_several_are_rated_in_their_order(self):
        answer = self.start().post("/v1/rate", [{"body": HAM}, {"body": SPAM, "id": 1.5}, {"body": UNSURE},
                                                {"body": "", "number": None}])
        self.assertEqual([verdict["rating"] for verdict in answer.json], ["ham", "spam", "unsure", "ham"])
        self.assertEqual(answer.json[1]["id"], 1.5)
        self.assertEqual(self.start().post("/v1/rate", []).json, [])

    def test_it_is_the_rating_of_the_command(self):
        expected = json.loads(velq("rate", "--dry-run", "--json", "--install", self.install, SPAM, HAM, UNSURE))
        service = self.start()
        for line in expected:
            verdict = service.post("/v1/rate", {"body": line["text"]}).json
            self.assertEqual((verdict["rating"], verdict["reason"]), (line["rating"], line["reason"]))

    def test_one_wrong_message_keeps_all_from_being_rated(self):
        service = self.start()
        before = self.counts()
        for bad in ({}, {"body": 1}, {"body": "a\0b"}, {"body": "a", "number": 1}, {"body": "a", "id": []}, 1, None):
            answer = service.post("/v1/rate", [{"body": SPAM}, bad])
            self.assertEqual((answer.status, answer.json["type"]), (400, "urn:velq:bad-request"))
            self.assertIn("message 1", answer.json["detail"])
        self.assertEqual(self.counts(), before)

    def test_what_is_no_json_is_refused(self):
        service = self.start()
        for body in (b"", b"{", b"\xff", b'{"body":"x"}\0', b'{"body":"\xc3"}', b"[" * 60000):
            self.assertEqual(service.post("/v1/rate", body, "application/json").status, 400, body)
        self.assertEqual(service.post("/v1/rate", b'{"body":"x"}', "text/plain").status, 415)
        self.assertEqual(service.post("/v1/rate", b'{"body":"x"}').status, 415)
        self.assertEqual(service.post("/v1/rate?x=1", {"body": "x"}).status, 400)
        self.assertEqual(service.post("/v1/rate", b'{"body":"x"}', "Application/JSON; charset=utf-8").status, 200)

    def test_a_store_in_use_is_a_failure_and_no_verdict(self):
        service = self.start()
        held = self.lock()
        for body in ({"body": SPAM}, [{"body": SPAM}, {"body": HAM}]):
            answer = service.post("/v1/rate", body)
            self.assertEqual((answer.status, answer.json["type"]), (503, "urn:velq:in-use"))
            self.assertNotIn("rating", answer.json)
        held.execute("ROLLBACK")
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).json["rating"], "spam")

    def test_explaining_learns_nothing(self):
        service = self.start()
        before = self.counts()
        answer = service.post("/v1/explain", {"body": SPAM, "number": "123"})
        self.assertEqual((answer.json["rating"], answer.json["message"]), ("spam", SPAM))
        self.assertIn("priz", [token["token"] for token in answer.json["tokens"]])
        expected = json.loads(velq("explain", "--json", "--install", self.install, "--number", "123", SPAM))
        self.assertEqual([answer.json], expected)
        self.assertEqual(self.counts(), before)


class Marking(ServiceTest):
    def test_a_correction_is_taken_back_exactly(self):
        service = self.start()
        before = self.counts()
        self.assertEqual(service.post("/v1/mark", {"as": "spam", "body": HAM}).json, {"marked": 1, "as": "spam"})
        self.assertNotEqual(self.counts(), before)
        self.assertEqual(service.post("/v1/mark", {"undo": True}).json, {"takenBack": 1, "as": "spam"})
        self.assertEqual(self.counts(), before)
        self.assertEqual(service.post("/v1/mark", {"undo": True}).status, 404)

    def test_the_command_takes_back_what_the_service_did(self):
        service = self.start()
        before = self.counts()
        service.post("/v1/mark", {"as": "spam", "body": HAM})
        service.stop()
        velq("mark", "--undo", "--quiet", "--install", self.install)
        self.assertEqual(self.counts(), before)

    def test_ham_takes_the_sender_off_the_black_list(self):
        service = self.start()
        service.post("/v1/lists/black", {"number": "+4512345678"})
        self.assertEqual(service.post("/v1/rate", {"body": HAM, "number": "+4512345678"}).json["reason"], "black-list")
        service.post("/v1/mark", {"as": "ham", "body": HAM, "number": "+4512345678"})
        self.assertEqual(service.get("/v1/lists/black").json["count"], 0)

    def test_wrong_orders_change_nothing(self):
        service = self.start()
        before = self.counts()
        for body in ([], {}, {"as": "unsure", "body": HAM}, {"as": "ham"}, {"undo": 1}, {"undo": True, "as": "ham"},
                     {"as": "ham", "message": "1"}, {"as": "ham", "message": 1, "body": HAM},
                     {"as": "ham", "body": HAM, "number": "1" * 30}):
            self.assertEqual(service.post("/v1/mark", body).status, 400, body)
        self.assertEqual(service.post("/v1/mark", {"as": "ham", "message": 1}).status, 404)  # there is no journal
        self.assertEqual(self.counts(), before)


class Lists(ServiceTest):
    def test_a_number_is_added_read_and_removed(self):
        service = self.start()
        added = service.post("/v1/lists/black", {"number": "+4512345678", "name": "Søren", "extendID": 7})
        self.assertEqual((added.status, added.json), (201, {"added": 1, "count": 1}))
        self.assertEqual(service.post("/v1/lists/black", {"number": "+4512345678"}).status, 200)
        entry = service.get("/v1/lists/black").json["entries"][0]
        self.assertEqual((entry["number"], entry["name"], entry["extendID"]), ("+4512345678", "Søren", 7))
        self.assertEqual(service.post("/v1/lists/white", {"number": "+4512345678"}).json["count"], 1)
        self.assertEqual(service.get("/v1/lists/black").json["count"], 0)
        removed = service.request("DELETE", "/v1/lists/white?number=%2B4512345678")
        self.assertEqual(removed.json, {"removed": 1, "count": 0})

    def test_pages_together_are_the_list(self):
        service = self.start()
        rows = "number,name,hidden\r\n" + "".join(f"+45000{i:05},n{i},{i % 2}\r\n" for i in range(250))
        answer = service.post("/v1/lists/white", rows.encode(), "text/csv")
        self.assertEqual(answer.json, {"rows": 250, "added": 250, "count": 250})
        seen, after = [], None
        while True:
            page = service.get("/v1/lists/white?limit=100" + (f"&after={after}" if after is not None else "")).json
            seen += [entry["number"] for entry in page["entries"]]
            after = page["next"]
            if after is None:
                break
        self.assertEqual(sorted(seen), [f"+45000{i:05}" for i in range(250)])
        self.assertEqual(len(service.get("/v1/lists/white?hidden=1&limit=1000").json["entries"]), 125)

    def test_an_export_can_be_imported(self):
        service = self.start()
        service.post("/v1/lists/black", b"number,name\n123,\"a,\"\"b\"\"\"\n+4599999999,c\n", "text/csv")
        exported = service.get("/v1/lists/black?format=csv")
        self.assertEqual(exported.headers["Content-Type"], "text/csv; charset=utf-8")
        self.assertEqual(service.request("DELETE", "/v1/lists/black?all=true").json, {"removed": 2, "count": 0})
        service.post("/v1/lists/black", exported.body, "text/csv")
        self.assertEqual(service.get("/v1/lists/black?format=csv").body, exported.body)

    def test_a_wrong_row_keeps_all_out(self):
        service = self.start()
        answer = service.post("/v1/lists/black", b"number\n123\n" + b"1" * 30 + b"\n", "text/csv")
        self.assertEqual((answer.status, answer.json["type"]), (422, "urn:velq:bad-data"))
        self.assertIn("the body:3", answer.json["detail"])
        self.assertEqual(service.get("/v1/lists/black").json["count"], 0)

    def test_wrong_requests_are_refused(self):
        service = self.start()
        for body, status in (({}, 422), ({"number": 1}, 400), ({"number": "1", "hidden": 2}, 422),
                             ({"number": "1", "extendID": 2 ** 40}, 400),
                             ({"number": "1", "extendID": 2 ** 64 - 1}, 400), ({"number": "1" * 30}, 422), ([], 400)):
            self.assertEqual(service.post("/v1/lists/black", body).status, status, body)
        for target in ("", "?uid=1&number=2", "?uid=x", "?all=yes", "?number=a%20b", "?unknown=1", "?uid=1&uid=2"):
            self.assertEqual(service.request("DELETE", "/v1/lists/black" + target).status, 400, target)
        for target in ("?limit=0", "?limit=1001", "?after=-1", "?hidden=2", "?format=xml"):
            self.assertEqual(service.get("/v1/lists/black" + target).status, 400, target)

    def test_entries_go_by_their_identifiers(self):
        service = self.start()
        service.post("/v1/lists/white", b"number,extendID\n1,5\n2,5\n3,6\n", "text/csv")
        uid = service.get("/v1/lists/white").json["entries"][2]["uid"]
        self.assertEqual(service.request("DELETE", f"/v1/lists/white?uid={uid}").json["removed"], 1)
        self.assertEqual(service.request("DELETE", "/v1/lists/white?extendID=5").json, {"removed": 2, "count": 0})


class Countries(ServiceTest):
    SPELLINGS = ("+447668835601", "07668 835601", "0044 7668-835601", "+44 (0)7668 835601")

    def serve(self, *options):
        if "libphonenumber" in subprocess.run([PROGRAM, "serve", "--install", self.install, "--country", "UK"],
                                              capture_output=True, text=True, check=False).stderr:
            self.skipTest("this velq knows no countries")
        return self.start("--country", "gb", *options)

    def test_every_spelling_of_a_sender_matches_every_spelling_on_a_list(self):
        service = self.serve()
        for body, kind in (({"number": "07668 835601"}, None), (b"number\n07668 835601\n", "text/csv")):
            service.post("/v1/lists/black", body, kind)
            self.assertEqual(service.get("/v1/lists/black").json["entries"][0]["number"], "+447668835601")
            for sender in self.SPELLINGS:
                self.assertEqual(service.post("/v1/rate", {"body": HAM, "number": sender}).json["reason"],
                                 "black-list", sender)
                self.assertEqual(service.post("/v1/explain", {"body": HAM, "number": sender}).json["rating"], "spam")
                answer = service.get("/hook/kannel?" + urllib.parse.urlencode({"from": sender, "text": HAM}))
                self.assertEqual(answer.headers["X-Velq-Verdict"], "spam")
            self.assertEqual(service.request("DELETE", "/v1/lists/black?number=07668835601").json["removed"], 1)

    def test_a_correction_finds_the_sender_on_the_list(self):
        service = self.serve("--journal", self.folder / "journal.db")
        for sender in self.SPELLINGS:
            service.post("/v1/lists/black", {"number": "07668 835601"})
            service.post("/v1/mark", {"as": "ham", "body": HAM, "number": sender})
            self.assertEqual(service.get("/v1/lists/black").json["count"], 0, sender)
            message = service.post("/v1/rate", {"body": HAM, "number": sender}).json["message"]
            service.post("/v1/lists/black", {"number": "07668 835601"})
            service.post("/v1/mark", {"as": "ham", "message": message})
            self.assertEqual(service.get("/v1/lists/black").json["count"], 0, sender)

    def test_the_journal_and_the_report_have_the_number_as_it_came(self):
        service = self.serve("--journal", self.folder / "journal.db")
        service.post("/v1/rate", {"body": HAM, "number": "07668 835601"})
        self.assertEqual(service.get("/v1/journal").json["messages"][0]["number"], "07668 835601")
        self.assertEqual(service.post("/v1/explain", {"body": HAM, "number": "07668 835601"}).json["number"],
                         "07668 835601")

    def test_what_is_no_number_of_a_country_stays(self):
        service = self.serve()
        for number in ("MYBANK", "60777", "10086123"):
            service.post("/v1/lists/white", {"number": number})
        numbers = [entry["number"] for entry in service.get("/v1/lists/white").json["entries"]]
        self.assertEqual(numbers, ["MYBANK", "60777", "10086123"])

    def test_a_wrong_country_is_said_at_the_start(self):
        self.serve()
        self.assertIn("UK is not a country", velq("serve", "--install", self.install, "--country", "UK", status=64))

    def test_without_a_country_numbers_only_lose_their_punctuation(self):
        service = self.start()
        service.post("/v1/lists/black", {"number": "07668 835601"})
        self.assertEqual(service.get("/v1/lists/black").json["entries"][0]["number"], "07668835601")
        self.assertEqual(service.request("DELETE", "/v1/lists/black?number=07668-835601").json["removed"], 1)


class Data(ServiceTest):
    def update(self):
        new = self.folder / "new.txt"
        lines = self.counts().replace("priz\t90\t1", "priz\t95\t1")
        new.write_text(lines, encoding="utf-8")
        made = self.folder / "words.upd"
        velq("store", "diff", "--quiet", self.data("prob.bin"), new, "-o", made)
        return made.read_bytes()

    def test_an_update_is_merged_once(self):
        service = self.start()
        update = self.update()
        first = service.post("/v1/updates?kind=probability&version=7", update, "application/octet-stream")
        self.assertEqual(first.json, {"versions": {"probability": 7, "whiteNumbers": 1, "rules": 1}, "forced": None})
        self.assertIn("priz\t95\t1", self.counts())
        again = service.post("/v1/updates?kind=probability&version=8", update, "application/octet-stream")
        self.assertEqual((again.status, again.json["type"]), (409, "urn:velq:update-refused"))
        self.assertNotIn(str(self.folder), again.json["detail"])
        self.assertNotIn("/tmp", again.json["detail"])
        forced = service.post("/v1/updates?kind=probability&version=8&force=true", update, "application/octet-stream")
        self.assertIn("merged already", forced.json["forced"])
        self.assertEqual(service.get("/v1/versions").json["probability"], 8)

    def test_what_is_no_update_changes_nothing(self):
        service = self.start()
        before = self.counts()
        empty = self.folder / "empty.db"
        made = sqlite3.connect(empty)
        made.execute("CREATE TABLE other (x)")
        made.commit()
        made.close()
        for body in (b"", b"no database", empty.read_bytes()):
            answer = service.post("/v1/updates?kind=probability&version=7", body, "application/octet-stream")
            self.assertEqual(answer.status, 422, body[:20])
            self.assertNotIn("/tmp", answer.json["detail"])
        for target in ("?kind=x&version=1", "?kind=probability", "?kind=probability&version=0", "?version=1",
                       "?kind=probability&version=1&force=1"):
            self.assertEqual(service.post("/v1/updates" + target, b"x", "application/octet-stream").status, 400, target)
        self.assertEqual(service.post("/v1/updates?kind=probability&version=7", {}).status, 415)
        self.assertEqual(self.counts(), before)

    def test_health_says_whether_the_installation_works(self):
        service = self.start()
        self.assertEqual(service.get("/healthz").json["status"], "ok")
        self.assertEqual(service.request("HEAD", "/healthz").status, 200)
        self.data("ver.bin").rename(self.folder / "ver.bin")
        answer = service.get("/healthz")
        self.assertEqual((answer.status, answer.json["type"]), (503, "urn:velq:not-working"))
        self.assertIn("ver.bin", answer.json["detail"])
        (self.folder / "ver.bin").rename(self.data("ver.bin"))
        self.assertEqual(service.get("/healthz").status, 200)

    def test_it_does_not_start_without_an_installation(self):
        self.assertIn("no installation", velq("serve", "--install", self.folder / "other", status=66))


class MetricsTest(ServiceTest):
    def test_they_count_what_was_done(self):
        service = self.start()
        service.post("/v1/rate", [{"body": SPAM}, {"body": SPAM}, {"body": HAM}])
        service.post("/v1/mark", {"as": "spam", "body": HAM})
        service.post("/v1/mark", {"undo": True})
        service.post("/v1/rate", b"{", "application/json")
        service.get("/nothing")
        self.assertEqual(service.metric('velq_ratings_total{verdict="spam",reason="classifier"}'), 2)
        self.assertEqual(service.metric('velq_ratings_total{verdict="ham",reason="classifier"}'), 1)
        self.assertEqual(service.metric('velq_corrections_total{kind="spam"}'), 1)
        self.assertEqual(service.metric('velq_corrections_total{kind="undo"}'), 1)
        self.assertEqual(service.metric('velq_failures_total{problem="bad-request"}'), 1)
        self.assertEqual(service.metric('velq_requests_total{path="/v1/rate",status="200"}'), 1)
        self.assertEqual(service.metric('velq_requests_total{path="other",status="404"}'), 1)
        self.assertEqual(service.metric("velq_rating_seconds_count"), 3)
        self.assertEqual(service.metric("velq_queue_limit"), 256)
        self.assertEqual(service.metric("velq_connections_limit"), 1024)

    def test_they_are_in_the_text_format(self):
        service = self.start()
        service.post("/v1/rate", {"body": SPAM})
        described = set()
        for line in service.get("/metrics").body.decode().splitlines():
            if line.startswith("# "):
                self.assertRegex(line, r"^# (HELP velq_\w+ \S.*|TYPE velq_\w+ (counter|gauge|histogram))$")
                described.add(line.split()[2])
            else:
                self.assertRegex(line, r'^velq_\w+(\{\w+="[^"\\]*"(,\w+="[^"\\]*")*\})? [0-9.e+-]+$')
                name = re.match(r"\w+", line).group(0)
                self.assertIn(re.sub("_(bucket|sum|count)$", "", name), described)

    def test_buckets_add_up(self):
        service = self.start()
        service.post("/v1/rate", [{"body": SPAM}] * 20)
        text = service.get("/metrics").body.decode()
        counts = [int(n) for n in re.findall(r"velq_rating_seconds_bucket\{[^}]*\} (\d+)", text)]
        self.assertEqual(counts, sorted(counts))
        self.assertEqual(counts[-1], 20)


class Hooks(ServiceTest):
    def kannel(self, service, **parameters):
        return service.get("/hook/kannel?" + urllib.parse.urlencode(parameters))

    def test_kannel_texts_are_read_in_both_codings(self):
        service = self.start("--journal", self.folder / "journal.db")
        chinese = "恭喜 中奖 免费 领取"
        for parameters in ({"text": SPAM, "charset": "UTF-8", "coding": "0"},
                           {"text": chinese.encode("utf-16-be"), "charset": "UTF-16BE", "coding": "2"}, {"text": SPAM}):
            answer = self.kannel(service, **{"from": "+4512345678"}, **parameters)
            self.assertEqual((answer.status, answer.headers["X-Velq-Verdict"], answer.body), (200, "spam", b""))
        texts = [message["body"] for message in service.get("/v1/journal").json["messages"]]
        self.assertEqual(texts, [SPAM, chinese, SPAM])
        self.assertEqual(self.kannel(service, **{"from": "1"}, text=b"\xff\x00", coding="1").status, 200)

    def test_what_kannel_would_not_send_is_refused(self):
        service = self.start()
        for parameters in ({"from": "1"}, {"text": "x"}, {"from": "1", "text": "x", "charset": "EBCDIC"},
                           {"from": "1", "text": b"\xff"}, {"from": "1", "text": b"abc", "charset": "UTF-16BE"},
                           {"from": b"\xff", "text": "x"}):
            self.assertEqual(self.kannel(service, **parameters).status, 400, parameters)
        self.assertEqual(service.get("/hook/kannel?from=1&text=a&text=b").status, 400)
        self.assertEqual(service.request("HEAD", "/hook/kannel?from=1&text=a").status, 405)

    def test_json_of_any_form_is_read(self):
        service = self.start("--hook-number", "/payload/phoneNumber", "--hook-text", "/payload/message")
        answer = service.post("/hook/json", {"event": "sms:received",
                                             "payload": {"phoneNumber": "+4512345678", "message": SPAM}})
        self.assertEqual((answer.headers["X-Velq-Verdict"], answer.json["rating"]), ("spam", "spam"))
        self.assertEqual(service.post("/hook/json", {"payload": {"phoneNumber": 123, "message": HAM}}).json["rating"],
                         "ham")
        for body in ({}, [], {"payload": 1}, {"payload": {"phoneNumber": [], "message": "x"}},
                     {"payload": {"phoneNumber": "1", "message": None}}):
            self.assertEqual(service.post("/hook/json", body).status, 400, body)
        self.assertIn("JSON pointer", velq("serve", "--install", self.install, "--hook-text", "text", status=64))


if __name__ == "__main__":
    unittest.main()
