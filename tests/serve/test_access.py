"""Who is answered: tokens, hosts, origins."""

import base64
import os
import unittest

from service import HAM, ServiceTest, velq

TOKEN = "0123456789abcdef0123"


class Tokens(ServiceTest):
    def token_file(self, text=TOKEN + "\nanything\n", mode=0o600):
        file = self.folder / "token"
        file.write_text(text)
        os.chmod(file, mode)
        return file

    def test_nothing_is_answered_without_the_token(self):
        service = self.start("--token-file", self.token_file())
        for method, path in (("GET", "/healthz"), ("GET", "/metrics"), ("GET", "/openapi.json"), ("GET", "/nothing"),
                             ("GET", "/v1/lists/black"), ("DELETE", "/v1/lists/black?all=true")):
            answer = service.request(method, path)
            self.assertEqual((answer.status, answer.json["type"]), (401, "urn:velq:unauthorized"), path)
            self.assertIn("Bearer", answer.headers.get_all("WWW-Authenticate"))
        self.assertEqual(service.post("/v1/rate", {"body": HAM}).status, 401)
        for wrong in (TOKEN[:-1], TOKEN + "x", TOKEN[:-1] + "X", "", "x"):
            self.assertEqual(service.get("/healthz", headers={"Authorization": "Bearer " + wrong}).status, 401)

    def test_the_token_opens_in_both_forms(self):
        service = self.start("--token-file", self.token_file())
        self.assertEqual(service.get("/healthz", headers={"Authorization": "Bearer " + TOKEN}).status, 200)
        basic = base64.b64encode(("kannel:" + TOKEN).encode()).decode()
        self.assertEqual(service.get("/healthz", headers={"Authorization": "Basic " + basic}).status, 200)
        for wrong in ("Basic", "Basic !!!", "Basic " + base64.b64encode(TOKEN.encode()).decode(), "Digest x"):
            self.assertEqual(service.get("/healthz", headers={"Authorization": wrong}).status, 401, wrong)

    def test_other_machines_need_a_token(self):
        for address in ("0.0.0.0:0", "[::]:0"):
            self.assertIn("--token-file", velq("serve", "--install", self.install, "--listen", address, status=64))
        service = self.start("--token-file", self.token_file(), listen="0.0.0.0:0")
        service.host = "127.0.0.1"
        self.assertEqual(service.get("/healthz").status, 401)
        self.assertEqual(service.get("/healthz", headers={"Authorization": "Bearer " + TOKEN}).status, 200)

    def test_bad_token_files_are_refused(self):
        for text, mode, status in ((TOKEN, 0o604, 65), ("short", 0o600, 65), ("a b" * 10, 0o600, 65), ("", 0o600, 65)):
            velq("serve", "--install", self.install, "--token-file", self.token_file(text, mode), status=status)
        velq("serve", "--install", self.install, "--token-file", self.folder / "none", status=66)
        velq("serve", "--install", self.install, "--token-file", self.folder, status=66)

    def test_bad_addresses_are_refused(self):
        for address in ("127.0.0.1", "example.org:1", "127.0.0.1:x", "127.0.0.1:70000", "::1:80", "[::1"):
            velq("serve", "--install", self.install, "--listen", address, status=64)

    def test_an_address_that_is_taken_is_an_error(self):
        service = self.start()
        self.assertIn("cannot listen", velq("serve", "--install", self.install, "--listen",
                                            f"127.0.0.1:{service.port}", status=73))


class Pages(ServiceTest):
    def test_a_name_that_was_made_to_lead_here_is_refused(self):
        service = self.start("--host", "filter.example")
        port = service.port
        for host, status in ((f"127.0.0.1:{port}", 200), (f"localhost:{port}", 200), (f"LOCALHOST:{port}", 200),
                             ("filter.example", 200), ("Filter.Example:8443", 200),
                             ("evil.example", 421), (f"evil.example:{port}", 421), ("127.0.0.1", 421),
                             (f"127.0.0.1:{port + 1 if port < 65535 else 1}", 421), (f"127.0.0.1.evil:{port}", 421),
                             (f"127.0.0.2:{port}", 421), ("", 421), (f"127.0.0.1:{port}:1", 421)):
            self.assertEqual(service.get("/healthz", headers={"Host": host}).status, status, host)

    def test_other_sites_write_nothing(self):
        service = self.start()
        own = f"127.0.0.1:{service.port}"
        for headers, status in (({}, 200), ({"Origin": f"http://{own}"}, 200), ({"Sec-Fetch-Site": "same-origin"}, 200),
                                ({"Sec-Fetch-Site": "none"}, 200), ({"Origin": "http://evil.example"}, 403),
                                ({"Origin": "null"}, 403), ({"Origin": f"http://localhost:{service.port}"}, 403),
                                ({"Sec-Fetch-Site": "cross-site"}, 403), ({"Sec-Fetch-Site": "same-site"}, 403)):
            self.assertEqual(service.post("/v1/rate", {"body": HAM}, headers=headers).status, status, headers)
            self.assertEqual(service.get("/hook/kannel?from=1&text=x", headers=headers).status, status, headers)
            answer = service.request("DELETE", "/v1/lists/black?all=true", headers=headers)
            self.assertEqual(answer.status, status, headers)
        self.assertEqual(service.get("/healthz", headers={"Sec-Fetch-Site": "cross-site"}).status, 200)

    def test_the_other_loopback_address_works_too(self):
        try:
            service = self.start(listen="[::1]:0")
        except AssertionError:
            self.skipTest("there is no IPv6 here")
        self.assertEqual(service.get("/healthz").status, 200)


if __name__ == "__main__":
    unittest.main()
