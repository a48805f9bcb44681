"""A headless Chromium, driven through its debugging pipe."""

import base64
import itertools
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

WAIT_SECONDS = 180


def find_chromium():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        if path := shutil.which(name):
            return path
    return None


class Browser:
    """One page. What it logs and requests is kept in `problems` and `requested`."""

    def __init__(self):
        self.profile = tempfile.mkdtemp(prefix="corvenna-browser-")
        commands, self._commands = os.pipe()
        self._answers, answers = os.pipe()
        # Chromium reads commands from descriptor 3 and writes answers to 4.
        launch = f"exec 3<&{commands} 4>&{answers}; exec \"$@\""
        self.process = subprocess.Popen(
            ["bash", "-c", launch, "bash", find_chromium(), "--headless=new", "--no-sandbox",
             "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run", "--disable-quic",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--remote-debugging-pipe", f"--user-data-dir={self.profile}", "about:blank"],
            pass_fds=(commands, answers), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(commands)
        os.close(answers)
        self._buffer = b""
        self._ids = itertools.count(1)
        self._session = None
        self.problems, self.requested = [], []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target,
                                  flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self._commands)
        os.close(self._answers)
        shutil.rmtree(self.profile, ignore_errors=True)

    def _receive(self):
        while b"\0" not in self._buffer:
            ready, _, _ = select.select([self._answers], [], [], WAIT_SECONDS)
            block = os.read(self._answers, 65536) if ready else b""
            if not block:
                raise AssertionError("the browser is gone or silent")
            self._buffer += block
        message, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(message)

    def _note(self, event):
        parameters = event.get("params", {})
        if event.get("method") == "Runtime.exceptionThrown":
            self.problems.append(parameters["exceptionDetails"])
        elif event.get("method") == "Log.entryAdded":
            self.problems.append(parameters["entry"])
        elif event.get("method") == "Network.requestWillBeSent":
            self.requested.append(parameters["request"]["url"])

    def call(self, method, **parameters):
        number = next(self._ids)
        message = {"id": number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        while True:
            received = self._receive()
            if received.get("id") == number:
                if "error" in received:
                    raise AssertionError((method, received["error"]))
                return received["result"]
            self._note(received)

    def run(self, script):
        """The value of a script's last expression."""
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in result:
            raise AssertionError((script, result["exceptionDetails"]))
        return result["result"].get("value")

    def wait(self, script):
        """Waits until a script's value is true, and returns it."""
        deadline = time.monotonic() + WAIT_SECONDS
        while not (value := self.run(script)):
            if time.monotonic() > deadline:
                raise AssertionError(f"never true: {script}\n" + self.run("document.body.innerText"))
            time.sleep(0.02)
        return value

    def text(self, selector="main"):
        return self.run(f"document.querySelector({json.dumps(selector)})?.innerText ?? ''")

    def wait_text(self, text, selector="main"):
        self.wait(f"document.querySelector({json.dumps(selector)})?.innerText"
                  f".includes({json.dumps(text)})")

    def open(self, url):
        self.call("Page.navigate", url=url)
        self.wait("document.body?.dataset.refreshed > 0")

    def go(self, fragment):
        """Another view of the page that is open."""
        before = self.run("Number(document.body.dataset.refreshed)")
        self.run(f"location.hash = {json.dumps(fragment)}; 0")
        self.wait(f"document.body.dataset.refreshed > {before}"
                  " && !document.querySelector('main').innerText.includes('loading')")

    def size(self, width, height, phone=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=phone)

    def scheme(self, name):
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": name}])

    def key(self, key, text=None, shift=False):
        codes = {"Tab": 9, "Enter": 13, "ArrowLeft": 37, "ArrowRight": 39, "Home": 36, "End": 35,
                 "+": 187, "-": 189}
        pressed = {"key": key, "code": key, "windowsVirtualKeyCode": codes.get(key, 0),
                   "modifiers": 8 if shift else 0}
        if key == "Enter":
            text = "\r"
        self.call("Input.dispatchKeyEvent", type="keyDown", **pressed,
                  **({"text": text} if text else {}))
        self.call("Input.dispatchKeyEvent", type="keyUp", **pressed)

    def choose_file(self, selector, path):
        root = self.call("DOM.getDocument")["root"]["nodeId"]
        node = self.call("DOM.querySelector", nodeId=root, selector=selector)["nodeId"]
        self.call("DOM.setFileInputFiles", nodeId=node, files=[path])

    def screenshot(self, path):
        data = self.call("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))
