"""What measures how a page keeps up: another client of the socket, scripts that note what the page
shows and when, and far more events than anybody could read."""
import threading
import time

import pcsim


class Witness:
    """When events came to another program, in s since 1970, by their texts."""

    def __init__(self, switch):
        self._stream = switch.events(["port"])
        self.seen = {}
        self._reading = threading.Thread(target=self._read)
        self._reading.start()

    def _read(self):
        try:
            for event in self._stream:
                self.seen.setdefault(event.text, []).append(time.time())
        except (pcsim.Error, OSError):
            pass  # it was closed

    def close(self):
        """Ends it."""
        self._stream.close()
        self._reading.join()

    def delays(self, lit):
        """By how many s each change that a page has noted came behind its event, in order."""
        heard = {state: iter(next(times for text, times in self.seen.items()
                                  if f"Port 1:2 link {state}" in text))
                 for state in ("up", "down")}
        return sorted(at - next(heard[state]) for state, at in lit)


LIGHT_SEEN = """
window.lit = [];
const part = document.querySelector('[data-part="port 1:2"]');
new MutationObserver(() => requestAnimationFrame(
  () => lit.push([part.dataset.state, Date.now() / 1000])))
  .observe(part, {attributes: true, attributeFilter: ["data-state"]});
"""


FRAMES = """
window.frames_seen = [];
const note = (at) => { frames_seen.push(at); requestAnimationFrame(note); };
requestAnimationFrame(note);
"""


class Storm:
    """1,000 events a second, of a fan that is asked for one speed after the other."""

    def __init__(self, name, seconds):
        self._switch = pcsim.connect(name)
        self.sent = 0
        self._end = time.monotonic() + seconds
        self._blowing = threading.Thread(target=self._blow)
        self._blowing.start()

    def _blow(self):
        with self._switch:
            begin = time.monotonic()
            while time.monotonic() < self._end:
                due = int(1000 * (time.monotonic() - begin)) - self.sent
                self._switch.batch([f"fan 0 speed {(self.sent + n) % 90 + 10}"
                                    for n in range(due)])
                self.sent += due
                time.sleep(0.02)

    def wait(self):
        """Waits for its end."""
        self._blowing.join()
