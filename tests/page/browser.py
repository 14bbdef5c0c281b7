# SPDX-License-Identifier: MIT
"""A headless Chromium, driven by chromedriver as W3C WebDriver has it."""
import base64
import json
import shutil
import subprocess
import time
import urllib.error
import urllib.request

DRIVER = shutil.which("chromedriver")
CHROMIUM = shutil.which("chromium") or shutil.which("google-chrome")


def is_there():
    return bool(DRIVER and CHROMIUM)


class Browser:
    def __init__(self):
        self.driver = subprocess.Popen([DRIVER, "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        try:
            self.begin()
        except BaseException:
            self.driver.kill()
            raise

    def begin(self):
        # It tells the port that it chose, on a line that ends with "port 12345."
        line = next(line for line in self.driver.stdout if "successfully on port" in line)
        self.base = "http://127.0.0.1:" + line.strip().rstrip(".").split()[-1]
        options = {"binary": CHROMIUM,
                   "args": ["--headless=new", "--no-sandbox", "--disable-gpu"]}
        logs = {"browser": "ALL", "performance": "ALL"}
        session = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": options, "goog:loggingPrefs": logs}}})
        self.base += "/session/" + session["sessionId"]

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(error.read().decode()) from error

    def open(self, url):
        self.call("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        found = self.call("POST", "/element", {"using": "css selector", "value": selector})
        return next(iter(found.values()))

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click", {})

    def type(self, selector, text):
        element = self.find(selector)
        self.call("POST", f"/element/{element}/clear", {})
        self.call("POST", f"/element/{element}/value", {"text": text})

    def press(self, selector, keys):
        self.call("POST", f"/element/{self.find(selector)}/value", {"text": keys})

    def click_at(self, x, y):
        """A click at a place of the window."""
        moves = [{"type": "pointerMove", "duration": 0, "x": round(x), "y": round(y)},
                 {"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0}]
        mouse = {"type": "pointer", "id": "mouse", "actions": moves}
        self.call("POST", "/actions", {"actions": [mouse]})

    def emulate(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def scheme(self, name):
        self.emulate("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": name}])

    def size(self, width, height):
        self.emulate("Emulation.setDeviceMetricsOverride", width=width, height=height,
                     deviceScaleFactor=1, mobile=False)

    def picture(self, path, height):
        """The upper part of the page as a PNG file."""
        width = self.run("return innerWidth")
        clip = {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}
        data = self.emulate("Page.captureScreenshot", format="png", captureBeyondViewport=True,
                            clip=clip)
        with open(path, "wb") as out:
            out.write(base64.b64decode(data["data"]))

    def complaints(self):
        """What the console was told since the last call."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def requests(self):
        """Addresses that were asked for since the last call."""
        entries = [json.loads(entry["message"])["message"]
                   for entry in self.call("POST", "/se/log", {"type": "performance"})]
        return [entry["params"]["request"]["url"] for entry in entries
                if entry["method"] == "Network.requestWillBeSent"]

    def settle(self):
        """Waits until what was asked for has been drawn."""
        self.call("POST", "/execute/async", {"args": [], "script": """const done = arguments[0];
            requestAnimationFrame(() => requestAnimationFrame(() => done()))"""})
        time.sleep(0.05)

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait(10)
            self.driver.stdout.close()
