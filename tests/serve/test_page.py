"""The page for people: its files, and the page itself in a real browser."""

import os
import re
import shutil
import sqlite3
import tempfile
import time
import unittest

from service import HAM, LONGEST, SOURCE, SPAM, UNSURE, ServiceTest

try:
    from selenium import webdriver
    from selenium.common.exceptions import (ElementClickInterceptedException, ElementNotInteractableException,
                                            JavascriptException, NoSuchElementException,
                                            StaleElementReferenceException)
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None

BROWSER = shutil.which("chromium") or shutil.which("google-chrome")
DRIVER = shutil.which("chromedriver")
TOKEN = "0123456789abcdef0123"
NUMBER = "+4512345678"
PAGE = SOURCE / "tools/kit/serve/page"
LONG = "unbroken" * 40
HOSTILE = [
    "<script>window.hit = 1</script>",
    "<img src=x onerror='window.hit = 1'><svg onload='window.hit = 1'></svg>",
    "</p></a></main></body><iframe srcdoc='<script>parent.hit = 1</script>'></iframe>",
    "\"><a href=\"javascript:window.hit=1\" onmouseover=window.hit=1>winner</a>",
    "&lt;b&gt;bold&lt;/b&gt; ${window.hit=1} {{window.hit=1}} `",
    "<!-- --><style>*{display:none}</style><meta http-equiv=refresh content=0;url=//evil.example>",
    "pay \u202e054 evil\u202c to \u2066me\u2069 \u200bnow\u00ad\u0007\u2028",
    "Cl\u0430im y\u043eur pr\u0456ze, \uff37\uff29\uff2e\uff2e\uff25\uff32 \U0001d430\U0001d422\U0001d427",
    "Z" + "\u0300\u0301\u0302\u0303" * 60 + "algo",
    LONG,
]
HOSTILE_SENDERS = ["<b>Bank</b>", "<img/src=x/onerror=hit=1>", "\u202e4321", "B\u0430nk", "'\"><script>hit=1</script>"]

# Of every text that is seen, how well it stands out from what is behind it; the worst, with its text.
CONTRAST = """
const parse = (text) => {
  const [r, g, b, a = 1] = text.match(/[\\d.]+/g).map(Number);
  return { r, g, b, a };
};
const over = (top, under) => ({ r: top.r * top.a + under.r * (1 - top.a), g: top.g * top.a + under.g * (1 - top.a),
  b: top.b * top.a + under.b * (1 - top.a), a: 1 });
const ground = (element) => {
  const layers = [];
  for (let at = element; at; at = at.parentElement) layers.push(parse(getComputedStyle(at).backgroundColor));
  return layers.reverse().reduce((under, top) => over(top, under), { r: 255, g: 255, b: 255, a: 1 });
};
const light = ({ r, g, b }) => [r, g, b].map((v) => v / 255)
  .map((v) => v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
  .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
let worst = [100, "nothing"];
const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walk.nextNode()) {
  const element = walk.currentNode.parentElement;
  if (walk.currentNode.data.trim() === "" || element.closest("noscript, button:disabled, svg, #skip, #status") ||
      element.getClientRects().length === 0) continue;
  let opacity = 1;
  for (let at = element; at; at = at.parentElement) opacity *= Number(getComputedStyle(at).opacity);
  const under = ground(element);
  const ink = parse(getComputedStyle(element).color);
  const a = light(over({ ...ink, a: ink.a * opacity }, under)), b = light(under);
  const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  if (ratio < worst[0]) worst = [ratio, walk.currentNode.data.trim() + " in " + element.outerHTML.slice(0, 60)];
}
return worst;
"""


class Files(ServiceTest):
    """Without a browser."""

    def test_each_is_served_with_the_policy(self):
        service = self.start()
        files = sorted(file.name for file in PAGE.iterdir())
        self.assertIn("index.html", files)
        for name in files:
            answer = service.get("/" if name == "index.html" else f"/page/{name}")
            self.assertEqual(answer.status, 200, name)
            self.assertEqual(answer.body, (PAGE / name).read_bytes())
            policy = dict(part.strip().split(" ", 1) for part in answer.headers["Content-Security-Policy"].split(";"))
            self.assertEqual(policy.pop("require-trusted-types-for"), "'script'")
            self.assertLessEqual(set(policy.values()), {"'none'", "'self'"})
            for part in ("default-src", "form-action", "frame-ancestors", "base-uri", "trusted-types"):
                self.assertEqual(policy[part], "'none'")
            self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
            self.assertEqual(answer.headers["Referrer-Policy"], "no-referrer")
            self.assertEqual(answer.headers["X-Frame-Options"], "DENY")
            self.assertEqual(answer.headers["Cross-Origin-Resource-Policy"], "same-origin")
        self.assertEqual(service.request("HEAD", "/").status, 200)
        self.assertEqual(service.get("/page/none.js").status, 404)
        self.assertEqual(service.get("/page/../openapi.json").status, 404)
        self.assertEqual(service.get("/page/index.html").status, 404)

    def test_they_take_nothing_from_elsewhere_and_hold_nothing_inline(self):
        for file in PAGE.iterdir():
            text = file.read_text(encoding="utf-8").replace("http://www.w3.org/2000/svg", "")
            self.assertNotRegex(text, r"https?:|@import|url\(|//[a-z]+\.[a-z]", file.name)
            self.assertNotRegex(text, r"innerHTML|outerHTML|insertAdjacentHTML|document\.write|\beval\b|new Function|"
                                      r"DOMParser|localStorage|document\.cookie", file.name)
        page = (PAGE / "index.html").read_text(encoding="utf-8")
        self.assertNotRegex(page, r"<style|style=|\son\w+=")
        self.assertEqual(re.findall(r"<script[^>]*>(.*?)</script>", page, re.DOTALL), [""])

    def test_the_page_is_there_without_the_token_and_nothing_else(self):
        file = self.folder / "token"
        file.write_text(TOKEN)
        file.chmod(0o600)
        service = self.start("--token-file", file, "--journal", self.folder / "journal.db")
        for target, status in (("/", 200), ("/page/main.js", 200), ("/page/none.js", 401), ("/v1/journal", 401),
                               ("/v1/journal/1", 401), ("/v1/weeks", 401), ("/page/", 401)):
            self.assertEqual(service.get(target).status, status, target)
        self.assertEqual(service.post("/", {}).status, 405)
        self.assertEqual(service.get("/", headers={"Host": "evil.example"}).status, 421)
        self.assertNotIn(TOKEN.encode(), service.get("/").body)


browser = None  # one for all tests, with a profile of its own


def setUpModule():
    global browser
    if webdriver is None or BROWSER is None or DRIVER is None:
        return
    profile = tempfile.mkdtemp(prefix="velq-browser-")
    unittest.addModuleCleanup(shutil.rmtree, profile, ignore_errors=True)
    options = webdriver.ChromeOptions()
    options.binary_location = BROWSER
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--hide-scrollbars", "--disable-background-networking", "--disable-component-update",
                     "--disable-extensions", "--disable-sync", "--no-proxy-server", "--lang=en",
                     f"--user-data-dir={profile}"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(service=webdriver.chrome.service.Service(DRIVER, log_path=os.devnull), options=options)
    unittest.addModuleCleanup(browser.quit)
    browser.set_page_load_timeout(LONGEST)
    browser.set_script_timeout(LONGEST)


class BrowserTest(ServiceTest):
    """An empty tab of the browser for each test."""

    @classmethod
    def setUpClass(cls):
        if browser is None:
            raise unittest.SkipTest("no browser here: install chromium, chromium-driver and python3-selenium to have "
                                    "the page tried")
        cls.driver = browser

    def setUp(self):
        super().setUp()
        self.journal = self.folder / "journal.db"
        self.addCleanup(self.leave)
        self.driver.get_log("browser")
        self.size(1280, 900)
        self.scheme("light")

    def leave(self):
        """One empty tab for the next test."""
        for window in self.driver.window_handles[1:]:
            self.driver.switch_to.window(window)
            self.driver.close()
        self.driver.switch_to.window(self.driver.window_handles[0])
        self.driver.get("about:blank")

    def open(self, service, path=""):
        self.driver.get("about:blank")  # another address behind the number sign alone loads nothing
        self.driver.get(f"http://127.0.0.1:{service.port}/{path}")
        self.ready()

    def size(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def scheme(self, name):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": name}]})

    def until(self, holds, what):
        """Waits for what happens, through elements that are made anew meanwhile; returns what it gives."""
        end = time.monotonic() + LONGEST
        while True:
            try:
                found = holds()
                if found:
                    return found
            except (NoSuchElementException, StaleElementReferenceException, ElementNotInteractableException,
                    ElementClickInterceptedException, JavascriptException):
                pass
            if time.monotonic() > end:
                self.fail(f"{what}; the page shows: {self.text('body')[:2000]}")
            time.sleep(0.02)

    def ready(self):
        self.until(lambda: self.js("return document.getElementById('main')?.getAttribute('aria-busy') === 'false'"),
                   "the page is not ready")

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.js("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def texts(self, selector):
        return self.js("return [...document.querySelectorAll(arguments[0])].map((one) => one.textContent)", selector)

    def until_text(self, selector, part):
        self.until(lambda: part in self.text(selector), f"{selector} never has {part!r}")

    def click(self, selector):
        self.until(lambda: self.find(selector).is_enabled() and (self.find(selector).click() or True),
                   f"{selector} cannot be clicked")

    def press(self, label):
        """Clicks the button of that text, in the view."""
        def done():
            for one in self.driver.find_elements(By.CSS_SELECTOR, "main button"):
                if one.text == label and one.is_enabled():
                    one.click()
                    return True
            return False
        self.until(done, f"there is no button {label}")

    def show(self, path):
        """Another view of the page that is open."""
        self.js("if (location.hash !== arguments[0]) document.getElementById('main').setAttribute('aria-busy', 'true');"
                "location.hash = arguments[0]", path)
        self.ready()

    def complaints(self):
        """What the browser found wrong."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def rows(self, name):
        file, table = {"black": ("bn.bin", "blackList"), "white": ("wn.bin", "whiteList")}[name]
        with sqlite3.connect(self.data(file)) as open_file:
            return open_file.execute(f"SELECT * FROM {table} ORDER BY uid").fetchall()

    def state(self):
        return self.counts(), self.rows("black"), self.rows("white")

    def excerpts(self):
        return self.texts("#messages .excerpt")


class Messages(BrowserTest):
    def setUp(self):
        super().setUp()
        self.service = self.start("--journal", self.journal)

    def rate(self, *bodies, number=NUMBER):
        return [self.service.post("/v1/rate", {"body": body, "number": number}).json["message"] for body in bodies]

    def test_from_a_held_back_message_to_its_correction_and_back(self):
        self.rate(SPAM, HAM, UNSURE, SPAM.upper() + "!")
        self.open(self.service)
        self.assertEqual(self.excerpts(), [SPAM.upper() + "!", SPAM])
        self.click("#messages li:last-child a")
        self.until_text("#text", SPAM)
        self.assertIn("classifier", self.text("#step"))
        self.assertEqual(self.texts(".read mark"), ["winn", "clai", "priz"])
        self.assertEqual(set(self.js("return [...document.querySelectorAll('.read mark')].map((m) => m.className)")),
                         {"spam w3"})
        self.assertEqual(self.text(".read"), SPAM)
        before = self.state()
        self.press("not spam")
        self.until_text(".decisions", "You said: not spam")
        self.assertNotEqual(self.counts(), before[0])
        self.press("Undo")
        self.until(lambda: "You said" not in self.text(".decisions"), "the correction stays")
        self.assertEqual(self.state(), before)
        self.press("spam")
        self.until_text(".decisions", "You said: spam")
        self.press("not spam")  # and another thought
        self.until_text(".decisions", "You said: not spam")
        self.press("Undo")
        self.until(lambda: "You said" not in self.text(".decisions"), "the correction stays")
        self.assertEqual(self.state(), before)
        self.assertEqual(self.complaints(), [])

    def test_senders_are_blocked_and_allowed_and_all_comes_back(self):
        self.service.post("/v1/lists/white", {"number": NUMBER, "name": "Grandma", "extendID": 4})
        message, = self.rate(SPAM)
        before = self.state()
        self.open(self.service, f"#/message/{message}")
        self.assertIn("white list", self.text("#step"))
        self.press("block sender")
        self.until_text(".decisions", "on the black list")
        self.until_text("#step", "black list")
        self.assertEqual((len(self.rows("black")), self.rows("white")), (1, []))
        self.press("Undo")
        self.until(lambda: "on the black list" not in self.text(".decisions"), "the sender stays blocked")
        self.until_text("#step", "white list")
        self.assertEqual(self.state(), before)
        self.service.request("DELETE", "/v1/lists/white?all=true")
        before = self.state()
        self.press("allow sender")
        self.until_text(".decisions", "on the white list")
        self.assertEqual(len(self.rows("white")), 1)
        self.press("Undo")
        self.until(lambda: "on the white list" not in self.text(".decisions"), "the sender stays allowed")
        self.assertEqual(self.state(), before)

    def test_a_message_without_sender_has_nobody_to_block(self):
        message, = self.rate(SPAM, number=None)
        self.open(self.service, f"#/message/{message}")
        self.assertIn("without a sender", self.text(".decisions"))
        self.assertNotIn("block sender", self.texts(".decisions button"))

    def test_what_cannot_be_done_is_said(self):
        message, = self.rate(SPAM, number="no number")
        self.open(self.service, f"#/message/{message}")
        self.press("block sender")
        self.until_text("[role=alert]", "cannot be put on a list")
        self.open(self.service, "#/message/99")
        self.until_text("[role=alert]", "no message 99")
        self.service.kill()
        self.press("Try again")
        self.until_text("[role=alert]", "does not answer")

    def test_filters_search_and_older_messages(self):
        self.rate(*(f"{SPAM} {i}" for i in range(30)))
        first, *_ = self.rate("Cl\u0430im it, unsure", HAM)
        self.service.post("/v1/mark", {"as": "spam", "message": first})
        self.open(self.service)
        self.assertEqual(self.excerpts(), [f"{SPAM} {i}" for i in range(29, 4, -1)])
        self.click("#older")
        self.until(lambda: len(self.excerpts()) == 30, "the older ones do not come")
        self.assertEqual(self.texts("#older"), [])
        self.js("document.querySelector('input[value=ham]').click()")
        self.until(lambda: HAM in self.excerpts() and SPAM not in self.text("#messages"), "the filter does nothing")
        self.js("document.querySelector('input[name=rating][value=\"\"]').click()")
        self.find("#search").send_keys("claim it", Keys.ENTER)
        self.until(lambda: self.excerpts() == ["Cl\u0430im it, unsure"], "the search finds something else")
        self.find("#search").clear()
        self.find("#search").send_keys(NUMBER[3:], Keys.ENTER)
        self.until(lambda: len(self.excerpts()) == 25, "numbers are not found")
        self.js("const select = document.getElementById('corrected'); select.value = 'true';"
                "select.dispatchEvent(new Event('change'))")
        self.until(lambda: self.excerpts() == ["Cl\u0430im it, unsure"], "the corrected ones are others")
        self.assertIn("you said: spam", self.text("#messages"))
        self.click("#messages a")
        self.until_text("#text", "Cl\u0430im")
        self.driver.back()
        self.until(lambda: self.excerpts() == ["Cl\u0430im it, unsure"], "coming back loses the filters")

    def test_new_messages_come_with_refresh(self):
        self.open(self.service)
        self.assertIn("There is nothing here", self.text("main"))
        self.rate(SPAM)
        self.click("#refresh")
        self.until(lambda: self.excerpts() == [SPAM], "the message does not come")

    def test_a_second_tab_sees_what_the_first_does(self):
        message, = self.rate(SPAM)
        before = self.state()
        self.open(self.service, f"#/message/{message}")
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.open(self.service, f"#/message/{message}")
        self.press("not spam")
        self.until_text(".decisions", "You said: not spam")
        self.driver.switch_to.window(first)
        self.until_text(".decisions", "You said: not spam")
        self.press("Undo")
        self.until(lambda: "You said" not in self.text(".decisions"), "the correction stays")
        self.assertEqual(self.state(), before)
        self.driver.switch_to.window(self.driver.window_handles[1])
        self.until(lambda: "You said" not in self.text(".decisions"), "the other tab does not hear of it")

    def test_the_weeks_are_drawn(self):
        spam, _, unsure = self.rate(SPAM, HAM, UNSURE)
        self.service.post("/v1/mark", {"as": "ham", "message": spam})
        self.service.stop()
        with sqlite3.connect(self.journal) as file:
            file.execute("UPDATE message SET time = time - 14 * 86400000 WHERE id = ?", (unsure,))
        self.service = self.start("--journal", self.journal)
        self.open(self.service, "#/weeks")
        self.assertEqual([len(self.texts(f"#{name} svg rect")) for name in ("by-verdict", "corrections", "unsure")],
                         [3, 1, 1])
        self.assertTrue(any("unsure: 100 %" in text for text in self.texts("#unsure rect title")))
        rows = [[cell.text for cell in row.find_elements(By.CSS_SELECTOR, "td")]
                for row in self.driver.find_elements(By.CSS_SELECTOR, "tbody tr")]
        self.assertEqual(len(rows), 8)
        self.assertEqual(rows[0], ["1", "0", "1", "1", "0", "0 %"])
        self.assertEqual(rows[2], ["0", "1", "0", "0", "0", "100 %"])
        self.assertEqual(self.complaints(), [])


class Lists(BrowserTest):
    def setUp(self):
        super().setUp()
        self.service = self.start()

    def numbers(self, name):
        return self.texts(f"#{name} .number")

    def test_entries_are_added_moved_removed_and_put_back(self):
        self.open(self.service, "#/lists")
        self.find("#black-number").send_keys(NUMBER)
        self.find("#black-name").send_keys("Shop", Keys.ENTER)
        self.until(lambda: self.numbers("black") == [NUMBER], "the number is not there")
        self.assertIn("Shop", self.text("#black .entries"))
        self.find("#white-number").send_keys(NUMBER, Keys.ENTER)
        self.until(lambda: (self.numbers("black"), self.numbers("white")) == ([], [NUMBER]), "it does not move")
        self.click("#white .entries button")
        self.until(lambda: self.numbers("white") == [], "it is not removed")
        self.press("Put back")
        self.until(lambda: self.numbers("white") == [NUMBER], "it is not put back")
        self.find("#white-number").send_keys("no number", Keys.ENTER)
        self.until_text("#white [role=alert]", "cannot be added")
        self.assertEqual(self.numbers("white"), [NUMBER])

    def test_import_and_export(self):
        downloads = self.folder / "downloads"
        self.driver.execute_cdp_cmd("Browser.setDownloadBehavior",
                                    {"behavior": "allow", "downloadPath": str(downloads)})
        numbers = self.folder / "numbers.csv"
        numbers.write_text("number,name\n" + "".join(f"+45{i:08},Name {i}\n" for i in range(250)), encoding="utf-8")
        self.open(self.service, "#/lists")
        self.find("#black-import").send_keys(str(numbers))
        self.click("#black-import-button")
        self.until_text("#black .told", "250 numbers read, 250 added.")
        self.assertIn("250 entries", self.text("#black .count"))
        self.assertEqual(len(self.numbers("black")), 100)
        self.press("Show more")
        self.until(lambda: len(self.numbers("black")) == 200, "there are no more")
        self.click("#black-export")
        saved = downloads / "black-list.csv"
        self.until(saved.exists, "nothing is saved")
        listed = self.service.get("/v1/lists/black?format=csv").body
        self.until(lambda: saved.read_bytes() == listed, "the file is another than the list")
        # What was exported can be imported.
        self.find("#white-import").send_keys(str(saved))
        self.click("#white-import-button")
        self.until_text("#white .told", "250 numbers read, 250 added.")
        self.until(lambda: self.numbers("black") == [], "the other list keeps them")
        numbers.write_text("number\n+451\nno number\n", encoding="utf-8")
        self.find("#black-import").send_keys(str(numbers))
        self.click("#black-import-button")
        self.until_text("#black [role=alert]", "3")
        self.assertEqual(self.rows("black"), [])
        self.click("#black-import-button")
        self.until(lambda: "Choose a file" in self.text("#black .told") or self.text("#black [role=alert]"), "no word")


class WithoutJournal(BrowserTest):
    def test_it_says_so_and_still_explains(self):
        service = self.start()
        before = self.counts()
        for view in ("", "#/messages", "#/weeks", "#/message/1"):
            self.open(service, view)
            self.assertIn("keeps no messages", self.text("#no-journal"), view)
        self.click("main a[href='#/explain']")
        self.until(lambda: self.find("#body").is_displayed(), "the view does not come")
        self.find("#body").send_keys("WINNER! Claim it")
        self.find("#number").send_keys(NUMBER)
        self.press("Explain")
        self.until_text("#explanation", "classifier" if "classifier" in self.text("#step") else "few")
        self.assertEqual(self.texts("#explanation .read mark"), ["winn", "clai"])
        self.assertEqual(self.text("#explanation .read"), "winner! claim it")
        self.assertEqual(self.texts("#explanation .read .unread")[:1], ["! "])
        self.show("#/lists")
        self.until_text("main", "The list is empty.")
        self.assertEqual(self.counts(), before)


class Tokens(BrowserTest):
    def test_it_is_asked_for_kept_and_forgotten(self):
        file = self.folder / "token"
        file.write_text(TOKEN)
        file.chmod(0o600)
        service = self.start("--token-file", file, "--journal", self.journal)
        service.headers = {"Authorization": "Bearer " + TOKEN}
        message = service.post("/v1/rate", {"body": SPAM, "number": NUMBER}).json["message"]
        before = self.state()
        self.open(service, f"#/message/{message}")
        self.until(lambda: self.find("#token").is_displayed(), "the token is not asked for")
        self.assertNotIn(SPAM, self.text("body"))
        self.find("#token").send_keys("wrong" * 4, Keys.ENTER)
        self.until_text("[role=alert]", "not the token")
        self.find("#token").send_keys(TOKEN, Keys.ENTER)
        self.until_text("#text", SPAM)
        self.press("not spam")
        self.until_text(".decisions", "You said: not spam")
        self.press("Undo")
        self.until(lambda: "You said" not in self.text(".decisions"), "the correction stays")
        self.assertEqual(self.state(), before)
        self.driver.refresh()
        self.until_text("#text", SPAM)
        addresses = self.js("return [location.href, document.referrer, ...performance.getEntries().map((e) => e.name)]")
        self.assertGreater(len(addresses), 5)
        self.assertNotIn(TOKEN, " ".join(addresses))
        self.assertEqual(self.js("return [localStorage.length, document.cookie]"), [0, ""])
        self.driver.switch_to.new_window("tab")
        self.open(service)
        self.until(lambda: self.find("#token").is_displayed(), "another tab knows the token")
        self.find("#token").send_keys(TOKEN, Keys.ENTER)
        self.until(lambda: self.excerpts() == [SPAM], "the tab does not open")
        self.click("#forget")
        self.until(lambda: self.find("#token").is_displayed(), "the token is not forgotten")
        self.assertEqual(self.js("return sessionStorage.length"), 0)
        self.assertEqual(self.excerpts(), [])


class Looks(BrowserTest):
    def setUp(self):
        super().setUp()
        self.service = self.start("--journal", self.journal)
        self.ids = [self.service.post("/v1/rate", {"body": body, "number": number}).json["message"]
                    for body, number in ((SPAM, NUMBER), (LONG, "1" * 60), (SPAM + " " + LONG, LONG),
                                         (HAM + " " + UNSURE, NUMBER))]
        self.service.post("/v1/mark", {"as": "ham", "message": self.ids[0]})
        self.service.post("/v1/sender", {"as": "blocked", "message": self.ids[0]})
        self.service.post("/v1/lists/white", {"number": "2" * 29, "name": "W" * 29})
        self.views = ["#/messages", "#/lists", "#/weeks", "#/explain",
                      *(f"#/message/{message}" for message in self.ids)]

    def each_view(self):
        self.open(self.service, "#/explain")
        for view in self.views:
            self.show(view)
            if view == "#/messages":
                self.js("document.querySelector('input[name=rating][value=\"\"]').click()")
                self.until(lambda: len(self.excerpts()) == len(self.ids), "not all messages are shown")
            yield view

    def test_narrow_windows_need_no_scrolling_to_the_side(self):
        self.size(360, 740)
        for view in self.each_view():
            self.assertLessEqual(self.js("return document.documentElement.scrollWidth"), 360, view)
            self.assertEqual(self.js(
                "return [...document.querySelectorAll('main *')].filter((e) => e.getClientRects().length > 0 "
                "&& !e.closest('.text, .excerpt, svg, legend, caption') && e.getBoundingClientRect().right > 360.5)"
                ".map((e) => e.outerHTML.slice(0, 100))"), [], view)

    def test_wide_windows_show_both_lists_side_by_side(self):
        self.open(self.service, "#/lists")
        tops = self.js("return ['black', 'white'].map((id) => document.getElementById(id).getBoundingClientRect().top)")
        self.assertEqual(tops[0], tops[1])
        self.assertLessEqual(self.js("return document.documentElement.scrollWidth"), 1280)

    def test_texts_stand_out_in_the_light_and_in_the_dark(self):
        for scheme in ("light", "dark"):
            self.scheme(scheme)
            for view in self.each_view():
                ratio, where = self.js(CONTRAST)
                self.assertGreaterEqual(ratio, 4.5, f"{scheme} {view}: {where}")
            ground = self.js("return getComputedStyle(document.body).backgroundColor")
            self.assertEqual(sum(map(int, re.findall(r"\d+", ground)[:3])) < 200, scheme == "dark")

    def test_everything_has_a_name(self):
        for view in self.each_view():
            self.assertEqual(self.js(
                "return [...document.querySelectorAll('input, select, textarea, button, a')].filter((e) => "
                "!(e.textContent.trim() || e.getAttribute('aria-label') || e.labels?.length)).map((e) => e.outerHTML)"),
                [], view)
            self.assertEqual(len(self.texts("h1")), 1)


class KeyboardOnly(BrowserTest):
    def tab_to(self, selector):
        """Presses the tabulator until the focus is there, and it can be seen."""
        for _ in range(80):
            self.keys(Keys.TAB)
            if self.js("return document.activeElement.matches(arguments[0])", selector):
                self.assertTrue(self.js(
                    "const e = document.activeElement.matches('.choice input') ? document.activeElement.nextSibling : "
                    "document.activeElement; return getComputedStyle(e).outlineStyle !== 'none'"), selector)
                return
        self.fail(f"the keyboard does not reach {selector}")

    def keys(self, *keys):
        webdriver.ActionChains(self.driver, duration=0).send_keys(*keys).perform()

    def until_focus(self, selector):
        self.until(lambda: self.js("return document.activeElement.matches(arguments[0])", selector),
                   f"the focus does not come to {selector}")

    def test_the_whole_walk(self):
        service = self.start("--journal", self.journal)
        for body in (SPAM, UNSURE):
            service.post("/v1/rate", {"body": body, "number": NUMBER})
        before = self.state()
        self.open(service)
        self.tab_to("#skip")
        self.keys(Keys.ENTER)
        self.until_focus("main")
        self.tab_to("input[value=spam]")
        self.keys(Keys.ARROW_RIGHT)
        self.until(lambda: self.excerpts() == [UNSURE], "the arrow chooses nothing")
        self.keys(Keys.ARROW_LEFT)
        self.until(lambda: self.excerpts() == [SPAM], "the arrow chooses nothing")
        self.tab_to("#messages a")
        self.keys(Keys.ENTER)
        self.until_text("#text", SPAM)
        self.tab_to("[data-value=ham]")
        self.keys(Keys.ENTER)
        self.until_text(".decisions", "You said: not spam")
        self.until_focus("[aria-label='The message'] .undo")
        self.tab_to("[data-value=blocked]")
        self.keys(Keys.SPACE)
        self.until_text(".decisions", "on the black list")
        self.until_focus("[aria-label='The sender'] .undo")
        self.assertNotEqual(self.state(), before)
        self.keys(Keys.ENTER)
        self.until_focus("[data-value=blocked]")
        self.until(lambda: "on the black list" not in self.text(".decisions"), "the sender stays blocked")
        webdriver.ActionChains(self.driver).key_down(Keys.SHIFT).send_keys(Keys.TAB).key_up(Keys.SHIFT).perform()
        self.until_focus("[aria-label='The message'] .undo")
        self.keys(Keys.ENTER)
        self.until_focus("[data-value=ham]")
        self.until(lambda: "You said" not in self.text(".decisions"), "the correction stays")
        self.assertEqual(self.state(), before)

    def test_the_lists(self):
        service = self.start()
        self.open(service, "#/lists")
        self.tab_to("#white-number")
        self.keys("+4599", Keys.ENTER)
        self.until(lambda: self.texts("#white .number") == ["+4599"], "the number is not there")
        self.until_focus("#white-number")
        self.tab_to("#white .entries button")
        self.keys(Keys.ENTER)
        self.until(lambda: self.texts("#white .number") == [], "it is not removed")
        self.until(lambda: self.js("return document.activeElement.textContent") == "Put back", "the focus is lost")
        self.keys(Keys.ENTER)
        self.until(lambda: self.texts("#white .number") == ["+4599"], "it is not put back")


class Hostile(BrowserTest):
    def assert_harmless(self, where):
        self.assertIsNone(self.js("return window.hit ?? null"), where)
        foreign = "script, iframe, img, style, meta[http-equiv]"
        self.assertEqual(len(self.texts(foreign)), 1, where)  # the page's own module
        self.assertEqual(self.js("return [...document.querySelectorAll('a')].filter((a) => "
                                 "!/^#/.test(a.getAttribute('href'))).length"), 0, where)
        self.assertEqual(self.js("return [...document.querySelectorAll('*')].flatMap((e) => [...e.attributes])"
                                 ".filter((a) => /^on|^style$/.test(a.name)).length"), 0, where)
        # Nothing that turns directions or cannot be seen is left.
        self.assertNotRegex(self.text("body"), "[\u202a-\u202e\u2066-\u2069\u200b\u00ad\u0007\u2028]", where)

    def test_stored_texts_and_numbers_are_data(self):
        service = self.start("--journal", self.journal)
        pairs = [(body, HOSTILE_SENDERS[i % len(HOSTILE_SENDERS)]) for i, body in enumerate(HOSTILE)]
        ids = [service.post("/v1/rate", {"body": body, "number": number}).json["message"] for body, number in pairs]
        self.open(service)
        self.js("document.querySelector('input[name=rating][value=\"\"]').click()")
        self.until(lambda: len(self.excerpts()) == len(HOSTILE), "not all are there")
        self.assert_harmless("the list")
        for message, (body, number) in zip(ids, pairs):
            self.show(f"#/message/{message}")
            self.until_text("main", f"message {message}")
            self.assert_harmless(body)
            if body == body.encode("ascii", "ignore").decode():
                self.assertEqual(self.text("#text"), body)
            if number.isascii():
                self.assertEqual(self.text("h1"), number)
        self.show(f"#/message/{ids[6]}")
        self.until_text("#text", "pay U+202E054 evilU+202C to U+2066meU+2069 U+200Bnow")
        self.until_text("h1", "B\u0430nk" if "B\u0430nk" == pairs[6][1] else "")
        self.assertIn("characters that are not seen", self.text("#disguised"))
        self.show(f"#/message/{ids[7]}")
        self.until_text("#text", "Cl\u0430im")
        self.assertEqual("".join(self.texts("#text .alike")),
                         "\u0430\u043e\u0456\uff37\uff29\uff2e\uff2e\uff25\uff32\U0001d430\U0001d422\U0001d427")
        title = self.js("return document.querySelector('#text .alike').title")
        self.assertEqual(title[:16], "U+0430, Cyrillic")
        self.until_text(".read", "claim your prize")
        self.assertEqual(self.complaints(), [])

    def test_entries_of_lists_and_pasted_texts_are_data(self):
        service = self.start()
        for number, name in (("<img/src=x/onerror=hit=1>", "<script>hit=1</script>"), ("'\"><b>", "\u202eevil\u202c")):
            self.assertEqual(service.post("/v1/lists/black", {"number": number, "name": name}).status, 201)
        self.open(service, "#/lists")
        self.assertEqual(self.texts("#black .number"), ["<img/src=x/onerror=hit=1>", "'\"><b>"])
        self.assert_harmless("the lists")
        self.click("#black .entries button")
        self.until_text("#black .told", "<img/src=x/onerror=hit=1> was removed.")
        self.assert_harmless("a removed number")
        self.show("#/explain")
        self.until(lambda: self.find("#body").is_displayed(), "the view does not come")
        for body in HOSTILE[:7]:
            self.js("document.getElementById('body').value = arguments[0]", body)
            self.js("document.getElementById('number').value = arguments[0]", "'\"><b>")
            self.press("Explain")
            self.until(lambda: self.text("#step") and self.text("#explanation .text")[:4] == body[:4], "no explanation")
            self.js("document.getElementById('body').value = ''; document.querySelector('#body').textContent = ''")
            self.assert_harmless(body)

    def test_the_policy_stops_what_would_get_in_all_the_same(self):
        service = self.start()
        self.open(service, "#/lists")
        for script in ("const s = document.createElement('script'); s.textContent = 'window.hit = 1';"
                       "document.body.append(s)",
                       "document.body.innerHTML = '<img src=x onerror=\"window.hit = 1\">'",
                       "const b = document.createElement('b'); b.setAttribute('onclick', 'window.hit = 1');"
                       "document.body.append(b); b.click()",
                       "const f = document.createElement('form'); f.action = '/v1/lists/black'; f.method = 'post';"
                       "document.body.append(f); f.submit()"):
            try:
                self.js(script)
            except JavascriptException:
                pass
        self.assertIsNone(self.js("return window.hit ?? null"))
        self.assertEqual(self.js("return location.pathname"), "/")
        blocked = self.js("return fetch('http://127.0.0.1:1/').then(() => 'sent', (e) => e.name)")
        self.assertEqual(blocked, "TypeError")
        self.assertTrue(any("Content Security Policy" in text for text in self.complaints()))


if __name__ == "__main__":
    unittest.main()
