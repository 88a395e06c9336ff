"""The console in the page: typed as at a terminal."""
import pcsim
import pytest
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

pytestmark = pytest.mark.usefixtures("lab")


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch for all tests of this file."""
    with pcsim.Switch(ports=4, name="typed") as switch:
        yield switch


class Console:
    """The tab with the prompt."""

    def __init__(self, page):
        self.page = page
        page.click_tab("Console")
        self.wait_prompt("typed> ")
        page.wait("document.activeElement.id === 'console-line'")
        self.control("l")

    def wait_prompt(self, text):
        """Waits until that stands before the line."""
        self.page.wait("document.querySelector('.entry .prompt').textContent === arguments[0]", text)

    def type(self, *keys):
        """Types."""
        self.page.keys(*keys)

    def control(self, key):
        """Presses a key with Ctrl."""
        self.page.front()
        ActionChains(self.page.driver).key_down(Keys.CONTROL).send_keys(key).key_up(
            Keys.CONTROL).perform()

    def wait_line(self, text):
        """Waits until that stands in the line."""
        self.page.wait("document.getElementById('console-line').value === arguments[0]", text)

    def wait_log(self, text):
        """Waits until that is all above the prompt."""
        self.page.wait("document.querySelector('.terminal pre').textContent === arguments[0]", text,
                       what=f"{self.log()!r} to become {text!r}")

    def log(self):
        """What is above the prompt."""
        return self.page.value("document.querySelector('.terminal pre').textContent")


@pytest.fixture(name="console")
def one_console(switch, open_page):
    """A console that shows nothing yet."""
    console = Console(open_page(switch.name))
    console.page.js("localStorage.removeItem('console-history')")
    return console


def test_a_line_and_its_answer(console, switch):
    console.type("vlan create 7", Keys.ENTER, "echo made", Keys.ENTER)
    console.wait_log("typed> vlan create 7\ntyped> echo made\nmade\n")
    assert switch.run("show vlans").data["vlans"][0]["vlan"] == 7
    console.type("vlan create 9999", Keys.ENTER)
    console.page.wait_text("error: VLAN '9999' is not a number from 1 to 4094")


def test_tab_completes(console):
    console.type("show coun", Keys.TAB)
    console.wait_line("show counters ")
    console.control("u")
    console.type("show po", Keys.TAB)
    console.wait_log("typed> show po\nports  port   power  poe\n")
    console.wait_line("show po")


def test_a_question_mark_tells_what_may_follow(console):
    console.type("show po?")
    console.page.wait_text("the front panel")
    console.wait_line("show po")
    console.control("u")
    console.type('echo "why?"', Keys.ENTER)
    console.page.wait("document.querySelector('.terminal pre').textContent.endsWith('\\nwhy?\\n')")


def test_what_was_typed_comes_back(console, switch, open_page):
    console.type("echo 1", Keys.ENTER, "echo 2", Keys.ENTER, "half", Keys.UP)
    console.wait_line("echo 2")
    console.type(Keys.UP)
    console.wait_line("echo 1")
    console.type(Keys.DOWN, Keys.DOWN)
    console.wait_line("half")
    other = Console(open_page(switch.name))
    other.type(Keys.UP, Keys.UP, Keys.ENTER)
    other.wait_log("typed> echo 1\n1\n")


def test_a_block(console):
    console.type("repeat 2", Keys.ENTER)
    console.wait_prompt("...> ")
    console.type("echo hi", Keys.ENTER, "end", Keys.ENTER)
    console.wait_log("typed> repeat 2\n...> echo hi\n...> end\nhi\nhi\n")
    console.type("repeat 2", Keys.ENTER)
    console.wait_prompt("...> ")
    console.control("c")
    console.wait_prompt("typed> ")


def test_what_runs_is_interrupted(console):
    console.type("sleep 3600000", Keys.ENTER)
    console.page.wait("document.querySelector('.entry button').checkVisibility()")
    console.control("c")
    console.wait_log("typed> sleep 3600000\nerror: interrupted\n")
    console.type("sleep 3600000", Keys.ENTER, "echo behind", Keys.ENTER)
    console.page.click(console.page.named, "button", "Interrupt")
    console.wait_prompt("typed> ")
    assert "behind" not in console.log()


def test_several_lines_are_pasted(console):
    console.page.js("""
        const data = new DataTransfer();
        data.setData("text", "echo one\\necho\\ttwo\\necho thr");
        document.getElementById("console-line").dispatchEvent(
          new ClipboardEvent("paste", {clipboardData: data, cancelable: true, bubbles: true}));""")
    console.wait_log("typed> echo one\none\ntyped> echo two\ntwo\n")
    console.wait_line("echo thr")


def test_the_prompt_tells_that_the_clock_stands(console, switch):
    switch.time.stop()
    console.page.wait("document.querySelector('.entry .prompt').textContent"
                      ".startsWith('typed (stopped ')")
    switch.time.run()
    console.wait_prompt("typed> ")


def test_much_output_leaves_the_page_quick(console, tmp_path, switch):
    (tmp_path / "macs").write_text("".join(
        f"02:00:00:00:{n // 256:02x}:{n % 256:02x} 30 1:1\n" for n in range(20000)))
    switch.run(f"fdb load {tmp_path}/macs create-vlans")
    console.type("show fdb limit 20000", Keys.ENTER, "echo done", Keys.ENTER)
    console.page.wait("document.querySelector('.terminal pre').textContent.endsWith('\\ndone\\n')")
    assert "characters were too many at once" in console.log()
    assert len(console.log()) < 500_000


def test_a_switch_that_ends_and_comes_back(run_folder, open_page):
    with pcsim.Switch(ports=1, name="typed-away") as switch:
        page = open_page(switch.name)
        page.click_tab("Console")
        page.wait("document.querySelector('.entry .prompt').textContent === 'typed-away> '")
        switch.close()
        page.wait_text("typed-away has ended; start it again, or choose another switch.")
    with pcsim.Switch(ports=1, name="typed-away"):
        page.wait_text("typed-away runs again.")
        page.js("document.getElementById('console-line').focus()")
        page.keys("echo back", Keys.ENTER)
        page.wait("document.querySelector('.terminal pre').textContent.endsWith('\\nback\\n')")
        assert page.value("document.querySelectorAll('.terminal .wrong').length") == 1


def test_a_page_that_may_only_look(switch, start, open_page):
    page = open_page(switch.name, start("--read-only", token="another-token-of-tests"))
    page.click_tab("Console")
    page.wait_text("This page is read-only: it may look, but has no console.")
    assert not page.value("document.getElementById('console-line').checkVisibility()")
