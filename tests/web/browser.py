"""The page in a real browser: opened, looked at, clicked, and asked what it has complained of."""
import contextlib
import json
import re
import tempfile
import time

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

WAIT_S = 60  # for what takes well under a second where nothing else runs
OPTIONS = ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
           "--no-first-run", "--disable-quic", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--disable-extensions",
           "--disable-background-timer-throttling", "--disable-renderer-backgrounding",
           "--disable-backgrounding-occluded-windows", "--force-color-profile=srgb",
           "--hide-scrollbars")


class Browser:
    """A Chromium without a screen, with a profile of its own."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        for option in (*OPTIONS, f"--user-data-dir={self._folder.name}"):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(WAIT_S)

    def close(self):
        """Ends it."""
        self.driver.quit()
        self._folder.cleanup()

    def open(self, address, width=1280, height=900):
        """A window of its own with that address."""
        self.driver.switch_to.new_window("window")
        self.driver.set_window_size(width, height)
        self.driver.get(address)
        return Page(self.driver, self.driver.current_window_handle)

    def show(self, gateway, name, **size):
        """A window that shows the switch of that name."""
        page = self.open(f"{gateway.address}#{name}", **size)
        page.wait_switch(name)
        return page

    def close_pages(self, kept):
        """Closes all windows but those."""
        for handle in self.driver.window_handles:
            if handle not in kept:
                self.driver.switch_to.window(handle)
                self.driver.close()
        self.driver.switch_to.window(kept[0])

    def complaints(self, but=None):
        """What stands in the console of the browser since the last time, as errors or warnings."""
        return [each["message"] for each in self.driver.get_log("browser")
                if each["level"] in ("SEVERE", "WARNING")
                and not (but and re.search(but, each["message"]))]


class Page:
    """One window. Parts are named as in data-part: 'port 1:1', 'card 3', 'fan 0', 'supply 1'."""

    def __init__(self, driver, handle):
        self.driver = driver
        self.handle = handle

    def front(self):
        """Makes it the window that is spoken to."""
        if self.driver.current_window_handle != self.handle:
            self.driver.switch_to.window(self.handle)

    def js(self, script, *arguments):
        """What a script returns."""
        self.front()
        return self.driver.execute_script(script, *arguments)

    def value(self, expression, *arguments):
        """What an expression is; 'arguments' in it are these."""
        return self.js(f"return ({expression})", *arguments)

    def wait(self, expression, *arguments, what=None):
        """Waits until an expression is true of the page; what it is then."""
        end = time.monotonic() + WAIT_S
        while not (value := self.value(expression, *arguments)):
            if time.monotonic() > end:
                raise AssertionError(f"{what or expression} {list(arguments)} is not so after "
                                     f"{WAIT_S} s; the page shows:\n{self.text()[:2000]}")
            time.sleep(0.02)
        return value

    def text(self):
        """All that can be read on it."""
        return self.value("document.body.innerText")

    def wait_text(self, text):
        """Waits until that can be read."""
        self.wait("document.body.innerText.includes(arguments[0])", text, what=f"'{text}' to read")

    # --- Parts of the switch ---------------------------------------------------------------------

    def part(self, name):
        """The element of a part."""
        return self.wait("document.querySelector(`[data-part=\"${arguments[0]}\"]`)", name)

    def state(self, name):
        """The state that a part is drawn in."""
        return self.value("document.querySelector(`[data-part=\"${arguments[0]}\"]`)?.dataset.state",
                          name)

    def wait_state(self, name, *states):
        """Waits until a part is drawn in one of these states."""
        self.wait("arguments[1].includes(document.querySelector("
                  "`[data-part=\"${arguments[0]}\"]`)?.dataset.state)", name, list(states),
                  what=f"the state of {name} (now {self.state(name)}) to be {states}")

    def press(self, name):
        """Opens the menu of a part by the keyboard, which needs no place on the screen."""
        self.part(name)
        self.js("document.querySelector(`[data-part=\"${arguments[0]}\"]`).focus()", name)
        self.keys(Keys.ENTER)

    # --- What can be clicked ---------------------------------------------------------------------

    def button(self, title):
        """The button that is seen and runs that line, which is its title."""
        return self.wait("[...document.querySelectorAll('button')].find((each) => each.checkVisibility()"
                         " && each.title === arguments[0])", title, what=f"the button '{title}'")

    def named(self, role, name):
        """The element that a screen reader finds by that role and name."""
        found = {"button": "button, [role=button]", "tab": "[role=tab]",
                 "textbox": "input, textarea", "combobox": "select"}[role]
        return self.wait(
            f"[...document.querySelectorAll('{found}')].find((each) => each.checkVisibility() && "
            "(each.getAttribute('aria-label') ?? (each.labels?.[0] ?? each).textContent).trim()"
            ".startsWith(arguments[0]))", name, what=f"the {role} '{name}'")

    def click(self, find, *arguments):
        """Clicks on what find(*arguments) finds, as a hand does: on what lies uppermost in the middle
        of it. It may be drawn anew in between."""
        self.front()
        for _ in range(20):
            with contextlib.suppress(StaleElementReferenceException):
                element = find(*arguments)
                self.js("arguments[0].scrollIntoView({block: 'center', inline: 'center'})", element)
                ActionChains(self.driver).move_to_element(element).click().perform()
                return
        raise AssertionError(f"{find.__name__}{arguments} finds nothing that stands still")

    def hover(self, element):
        """Rests the pointer on it."""
        self.front()
        ActionChains(self.driver).move_to_element(element).perform()

    def click_button(self, title):
        """Clicks the button that runs that line."""
        self.click(self.button, title)

    def fill(self, label, value):
        """Gives the field of that label a value, as typing or choosing does."""
        field = self.wait(
            "[...document.querySelectorAll('input, select')].find((each) => each.checkVisibility() &&"
            " (each.getAttribute('aria-label') ?? each.labels?.[0]?.textContent ?? '').trim()"
            ".startsWith(arguments[0]))", label, what=f"the field '{label}'")
        self.js("arguments[0].value = arguments[1]; "
                "arguments[0].dispatchEvent(new Event('input', {bubbles: true}));"
                "arguments[0].dispatchEvent(new Event('change', {bubbles: true}))",
                field, str(value))

    def click_tab(self, name):
        """Chooses a page behind the panel."""
        self.click(self.named, "tab", name)

    def keys(self, *keys):
        """Types at what has the focus."""
        self.front()
        ActionChains(self.driver).send_keys(*keys).perform()

    def lines(self):
        """The lines at the foot, the newest first: (line, class, what came of it)."""
        return [tuple(each) for each in self.value(
            "[...document.querySelectorAll('#verbs li')].map((each) => [each.querySelector('code')"
            ".textContent, each.className, each.querySelector('.status').textContent])")]

    def wait_line(self, line, state="done"):
        """Waits until a line was run and stands at the foot as done, or as refused; what came of
        it."""
        self.wait("[...document.querySelectorAll('#verbs li')].some((each) => each.className === "
                  "arguments[1] && each.querySelector('code').textContent === arguments[0])",
                  line, state, what=f"the line '{line}' at the foot, {state}")
        return next(text for each, how, text in self.lines() if (each, how) == (line, state))

    def wait_switch(self, name):
        """Waits until the page shows a switch that runs."""
        self.wait("document.querySelector('#instances [aria-pressed=true]')?.firstChild.textContent"
                  " === arguments[0] && !document.body.classList.contains('ended') && "
                  "document.querySelector('[data-part]')", name, what=f"the switch '{name}'")

    # --- Looks -----------------------------------------------------------------------------------

    def too_wide(self):
        """By how many pixels the page is wider than its window."""
        return self.value("document.documentElement.scrollWidth - innerWidth")

    def resize(self, width, height):
        """Gives the viewport that size, below what a window may have as well."""
        self.front()
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def say(self):
        """What is wrong with its markup, for those who can't see it: names that are missing."""
        return json.loads(self.js(NAMELESS))


NAMELESS = """
const shown = (each) => each.checkVisibility();
const nameOf = (each) => (each.getAttribute('aria-label') ?? '').trim()
  || (each.getAttribute('aria-labelledby') ?? '').split(' ').map(
       (id) => document.getElementById(id)?.textContent ?? '').join('').trim()
  || [...each.labels ?? []].map((label) => label.textContent).join('').trim()
  || each.textContent.trim() || each.title || each.getAttribute('placeholder') || '';
const found = [...document.querySelectorAll(
  'button, a[href], input, select, textarea, [role=button], [role=tab], [tabindex="0"]')];
return JSON.stringify(found.filter(shown).filter((each) => !nameOf(each))
  .map((each) => each.outerHTML.slice(0, 200)));
"""


@contextlib.contextmanager
def browser():
    """A browser for some tests."""
    opened = Browser()
    try:
        yield opened
    finally:
        opened.close()
