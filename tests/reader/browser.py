"""A headless Chromium as the scripts of tests/reader use it, which looks at all that a page does."""

import json
import pathlib
import re

from selenium import webdriver
from selenium.common.exceptions import (ElementClickInterceptedException, ElementNotInteractableException,
                                        NoSuchElementException, StaleElementReferenceException)
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from reader import until

WIDE, NARROW = (1280, 800), (390, 844)
SWITCHES = ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--lang=en")
NOT_YET = (StaleElementReferenceException, NoSuchElementException, ElementNotInteractableException,
           ElementClickInterceptedException)
SEEN = """return [...document.querySelectorAll(arguments[0])].filter(element => {
  const text = (element.textContent + ' ' + (element.getAttribute('aria-label') ?? '')).replace(/\\s+/g, ' ');
  return text.includes(arguments[1]) && element.checkVisibility({visibilityProperty: true, opacityProperty: true})
    && (element.getClientRects().length > 0);
})"""
# A frame is no page, and what its article lacks is not the reader's.
PAGE_RULES = ["landmark-one-main", "page-has-heading-one", "region", "heading-order", "image-alt",
              "link-name", "bypass"]
AXE = """const [only, not, done] = arguments;
const rules = Object.fromEntries(not.map(rule => [rule, {enabled: false}]));
axe.run(document, {iframes: false, resultTypes: ['violations'], ...(only ? {runOnly: only} : {rules})}).then(
  result => done(result.violations.map(v => `${v.id}: ${v.nodes.map(n => n.html).slice(0, 3).join(' ')}`)), done)"""
# In the frame, whose sandbox runs nothing, nothing can be looked for, so the page gives its place to it.
SHOW_FRAME = """const frame = document.querySelector('iframe').contentDocument.documentElement;
document.documentElement.replaceWith(document.importNode(frame, true));"""


class Browser:
    def __init__(self, axe):
        options = webdriver.ChromeOptions()
        for switch in SWITCHES:
            options.add_argument(switch)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self._axe = pathlib.Path(axe).read_text(encoding="utf-8")

    def look(self, size=WIDE, dark=False, script=True):
        """How the page is looked at from now on."""
        run = self.driver.execute_cdp_cmd
        run("Emulation.setDeviceMetricsOverride",
            {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": False})
        run("Emulation.setEmulatedMedia",
            {"features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        run("Emulation.setScriptExecutionDisabled", {"value": not script})

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def seen(self, css, text=""):
        """The elements that can be seen and hold the text."""
        return self.run(SEEN, css, text)

    def see(self, css, text=""):
        """The first one, for which it waits."""
        return until(lambda: self._tried(lambda: self.seen(css, text)),
                     lambda: f"{css} with {text!r} in {self.text()[-300:]!r}")[0]

    def miss(self, css, text=""):
        until(lambda: self._tried(lambda: not self.seen(css, text)), lambda: f"no {css} with {text!r}")

    def text(self):
        return self.run("return document.body.innerText")

    def texts(self, css):
        return self._tried(lambda: [re.sub(r"\s+", " ", element.text) for element in self.seen(css)])

    @staticmethod
    def _tried(action):
        """Its result; none while the page is being changed."""
        try:
            return action()
        except NOT_YET:
            return None

    def click(self, css, text=""):
        until(lambda: self._tried(lambda: self.see(css, text).click() or True), f"a click at {css} with {text!r}")

    def submit(self, action, **fields):
        """Fills the form of that action and sends it; a value of True is the one to click, an empty one clears."""
        def attempt():
            form = self.see(f"form[action^='{action}']:has({','.join(f'[name={name}]' for name in fields) or '*'})")
            for name, value in fields.items():
                field = form.find_element("css selector", f"[name={name}]:not([type=hidden])")
                if field.get_attribute("type") not in ("file", "radio"):
                    field.clear()
                    field.send_keys(value)
                elif field.get_attribute("type") == "file":
                    field.send_keys(value)
                else:
                    form.find_element("css selector", f"[name={name}][value='{value}']").click()
            form.find_element("css selector", "button, input[type=submit]").click()
            return True
        until(lambda: self._tried(attempt), f"the form {action}")

    def enter(self, css, text):
        """Types the text in the place of what a field holds, and Enter."""
        def attempt():
            field = self.see(css)
            field.clear()
            field.send_keys(text, Keys.ENTER)
            return True
        until(lambda: self._tried(attempt), f"{text!r} in {css}")

    def keys(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def violations(self):
        """What keeps some people from using what is shown, in both widths and schemes, and from the article."""
        size = tuple(self.run("return [innerWidth, innerHeight]"))
        found = []
        for where, rules in (("page", []), ("article", PAGE_RULES)):
            for width, dark, only in ((WIDE, False, None), (NARROW, True, None), (WIDE, True, ["color-contrast"]),
                                      (NARROW, False, ["color-contrast"])):
                self.look(width, dark)
                if not self.run("return 'axe' in window"):
                    self.run(self._axe)
                found += [f"{where} {width} dark={dark} {violation}"
                          for violation in self.driver.execute_async_script(AXE, only, rules)]
            if where == "article" or not self.run("return document.querySelector('iframe') !== null"):
                break
            self.run(SHOW_FRAME)
        self.look(size)
        return found

    def complaints(self):
        """What the browser's console says since it was last asked."""
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] in ("WARNING", "SEVERE")]

    def requests(self):
        """The addresses that the browser has asked for since, but for those that a policy kept it from."""
        asked = {}
        for entry in self.driver.get_log("performance"):
            event = json.loads(entry["message"])["message"]
            parameters = event["params"]
            if event["method"] == "Network.requestWillBeSent":
                asked[parameters["requestId"]] = parameters["request"]["url"]
            elif event["method"] == "Network.loadingFailed" and parameters.get("blockedReason") == "csp":
                asked.pop(parameters["requestId"], None)
        return [url for url in asked.values() if re.match("(http|ws)s?:", url)]
