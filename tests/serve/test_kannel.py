"""The service with Kannel itself: bearerbox, smsbox and its simulated message centre, where they are installed."""

import os
import shutil
import signal
import socket
import subprocess
import unittest
import urllib.parse

from service import HAM, SOURCE, SPAM, Receiver, ServiceTest, wait_until

FAKE = "/usr/lib/kannel/test/fakesmsc"


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listening:
        return listening.getsockname()[1]


def program(name):
    return shutil.which(name) or shutil.which(name, path="/usr/sbin:/usr/bin")


def accepts(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
        return True
    except OSError:
        return False


class Kannel(ServiceTest):
    def setUp(self):
        fake = FAKE if os.path.exists(FAKE) else program("fakesmsc")
        if not (program("bearerbox") and program("smsbox") and fake):
            self.skipTest("Kannel is not here; install the packages kannel and kannel-extras")
        self.fake = fake
        self.sender = None
        super().setUp()

    def background(self, *arguments):
        """Runs until the test ends."""
        log = (self.folder / "kannel.out").open("ab")
        process = subprocess.Popen(arguments, stdout=log, stderr=log, stdin=subprocess.DEVNULL, cwd=self.folder)

        def end():
            process.send_signal(signal.SIGKILL)
            process.wait()
            log.close()
        self.addCleanup(end)
        return process

    def start_kannel(self, service):
        """The configuration that users are shown, with the ports and folders of this test."""
        admin, box, smsc, sendsms = (free_port() for _ in range(4))
        text = (SOURCE / "examples/hooks/kannel.conf").read_text(encoding="utf-8")
        for old, new in (("13000", admin), ("13001", box), ("10000", smsc), ("13013", sendsms), ("8125", service.port)):
            self.assertIn(old, text)
            text = text.replace(old, str(new))
        configuration = self.folder / "kannel.conf"
        configuration.write_text(text, encoding="utf-8")
        self.background(program("bearerbox"), str(configuration))
        wait_until(lambda: accepts(box) and accepts(smsc), "bearerbox did not start")
        self.background(program("smsbox"), str(configuration))
        wait_until(lambda: accepts(sendsms), "smsbox did not start")
        return smsc

    def send(self, smsc, message):
        """The message centre has one client at a time, and the one before has done its work."""
        if self.sender is not None:
            self.sender.kill()
            self.sender.wait()
        self.sender = self.background(self.fake, "-H", "127.0.0.1", "-r", str(smsc), "-i", "1", "-m", "1", message)

    def held(self, service):
        messages = service.get("/v1/journal?rating=spam").json["messages"]
        return {message["number"]: message["body"] for message in messages}

    def test_messages_go_through_and_those_of_a_receiver_that_is_down_come_again(self):
        receiver = Receiver()
        stopped = [False]

        def stop():
            if not stopped[0]:
                receiver.stop()
                stopped[0] = True
        self.addCleanup(stop)
        service = self.start("--journal", self.folder / "journal.db", "--forward", receiver.url)
        smsc = self.start_kannel(service)
        self.send(smsc, "4511111111 100 text " + HAM)
        wait_until(lambda: len(receiver.taken) == 1, "the message did not come")
        _, path, headers, _ = receiver.taken[0]
        query = dict(urllib.parse.parse_qsl(path.split("?")[1]))
        self.assertEqual((query["from"], query["text"], headers["X-Velq-Verdict"]), ("4511111111", HAM, "ham"))
        chinese = "恭喜 中奖 免费 领取"
        self.send(smsc, "4522222222 100 ucs2 " + urllib.parse.quote_from_bytes(chinese.encode("utf-16-be")))
        wait_until(lambda: len(self.held(service)) == 1, "spam in UTF-16 was not kept")
        self.send(smsc, "4533333333 100 text " + SPAM)
        wait_until(lambda: len(self.held(service)) == 2, "spam was not kept")
        self.assertEqual(self.held(service), {"4522222222": chinese, "4533333333": SPAM})
        self.assertEqual(len(receiver.taken), 1)

        port = receiver.port
        stop()
        self.send(smsc, "4544444444 100 text " + HAM)
        wait_until(lambda: service.metric('velq_forwarded_total{verdict="ham",outcome="unreachable"}') > 0,
                   "the message was not tried")
        again = Receiver(port=port)
        self.addCleanup(again.stop)
        wait_until(lambda: any("4544444444" in path for _, path, _, _ in again.taken), "Kannel did not repeat it")


if __name__ == "__main__":
    unittest.main()
