"""Debian's Chromium, driven through its driver (W3C WebDriver, as plain HTTP on the loopback
interface)."""

import base64
import json
import pathlib
import shutil
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

PHONE = (390, 844)
DESKTOP = (1280, 900)
LIMIT_S = 300  # only bounds a failure
ELEMENT_KEY = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {"Tab": "\ue004", "Enter": "\ue007", "Space": " ", "Right": "\ue014", "Left": "\ue012"}


class Browser:
    def __init__(self, *arguments):
        self.profile = tempfile.mkdtemp(prefix="chromium-")
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        self.address = None
        for line in self.driver.stdout:
            if "started successfully on port" in line:
                self.address = "http://127.0.0.1:" + line.rstrip(".\n").split()[-1]
                break
        assert self.address, "chromedriver did not start"
        self.session = ""
        self.session = "/session/" + self.start(arguments)["sessionId"]
        self.foreign = []

    def start(self, arguments):
        options = {
            "args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--disable-background-networking", "--disable-component-update", "--no-first-run",
                     "--disable-sync", f"--user-data-dir={self.profile}", *arguments],
            "perfLoggingPrefs": {"enableNetwork": True, "enablePage": False},
        }
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"},
                  "acceptInsecureCerts": True,
                  "timeouts": {"script": LIMIT_S * 1000, "pageLoad": LIMIT_S * 1000}}
        return self.call("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + self.session + path, data=data, method=method,
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=LIMIT_S) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(f"{path}: {error.read().decode()[:2000]}") from None

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait(LIMIT_S)
            self.driver.stdout.close()
            shutil.rmtree(self.profile, ignore_errors=True)

    # ---- what a person does

    def open(self, address):
        self.call("POST", "/url", {"url": address})

    def size(self, size, dark=False):
        width, height = size
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height,
                 deviceScaleFactor=2 if width < 600 else 1, mobile=width < 600)
        scheme = "dark" if dark else "light"
        self.cdp("Emulation.setEmulatedMedia",
                 features=[{"name": "prefers-color-scheme", "value": scheme}])

    def press(self, *keys):
        actions = []
        for key in keys:
            value = KEYS.get(key, key)
            actions += [{"type": "keyDown", "value": value}, {"type": "keyUp", "value": value}]
        self.call("POST", "/actions",
                  {"actions": [{"type": "key", "id": "keyboard", "actions": actions}]})

    def click(self, selector):
        element = self.call("POST", "/element", {"using": "css selector", "value": selector})
        self.call("POST", f"/element/{element[ELEMENT_KEY]}/click", {})

    # ---- what a person sees

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def runAsync(self, script, *arguments):
        return self.call("POST", "/execute/async", {"script": script, "args": list(arguments)})

    def text(self, selector):
        """As shown; None if it is not shown."""
        return self.run("const node = document.querySelector(arguments[0]);"
                        "return node && node.checkVisibility() ? node.innerText : null;", selector)

    def waitFor(self, selector, condition):
        """condition: a text that has to be shown, or a function of what is shown."""
        isMet = condition if callable(condition) else lambda text: condition in text
        end = time.monotonic() + LIMIT_S
        text = None
        while time.monotonic() < end:
            text = self.text(selector)
            if text is not None and isMet(text):
                return text
            time.sleep(0.05)
        raise AssertionError(f"{selector} shows {text!r} after {LIMIT_S} s, not {condition!r}")

    def waitForScript(self, script, *arguments):
        end = time.monotonic() + LIMIT_S
        while not self.run(script, *arguments):
            if time.monotonic() > end:
                raise AssertionError(f"not true after {LIMIT_S} s: {script}")
            time.sleep(0.05)

    def screenshot(self, path):
        path = pathlib.Path(path)
        path.parent.mkdir(parents=True, exist_ok=True)
        picture = self.cdp("Page.captureScreenshot", format="png", captureBeyondViewport=True)
        path.write_bytes(base64.b64decode(picture["data"]))

    # ---- what a developer sees

    def cdp(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def console(self):
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def requests(self):
        """The addresses that the page has asked for since the last call."""
        found = []
        for entry in self.call("POST", "/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                found.append(message["params"]["request"]["url"])
        return found
