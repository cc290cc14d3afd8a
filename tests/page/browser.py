# SPDX-License-Identifier: Apache-2.0
"""One headless browser for all tests, whose microphone plays a file, and what a user does in it."""
import os
import shutil
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service as Driver
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

PATIENCE = 60  # seconds; a test that waits in vain fails


class Browser:
    def __init__(self, folder):
        self.sound = Path(folder) / "microphone.wav"
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--hide-scrollbars", "--disable-gpu", "--disable-dev-shm-usage",
                         "--use-fake-device-for-media-stream",
                         f"--use-file-for-fake-audio-capture={self.sound}", "--lang=en-GB",
                         # A name that is not of this machine, so that its pages are not secure.
                         "--host-resolver-rules=MAP insecure.test 127.0.0.1",
                         f"--user-data-dir={folder}/profile"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")  # Chromium has none for root
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Driver(os.environ["TARN_CHROMIUM_DRIVER"]))
        self.driver.set_script_timeout(PATIENCE)

    def close(self):
        self.driver.quit()

    # What a test sets.

    def open(self, url, code=None, width=1280, height=900):
        self.size(width, height)
        origin = "/".join(url.split("/")[:3])
        self.driver.execute_cdp_cmd("Storage.clearDataForOrigin", {"origin": origin, "storageTypes": "local_storage"})
        self.driver.get(url)
        self.wait(lambda: self.run("return document.documentElement.dataset.ready === 'true'"))
        if code is not None:
            self.by_id("code").send_keys(code)
            self.click("#access-form button")
            self.wait_for_text("#status", "The access code is set")

    def size(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def scheme(self, name):
        features = [{"name": "prefers-color-scheme", "value": name}]
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})

    def microphone(self, origin, setting, sound=None):
        """setting: "granted" or "denied"; sound: the file that it plays from the next listening on."""
        if sound is not None:
            shutil.copyfile(sound, self.sound)
        self.driver.execute_cdp_cmd("Browser.setPermission", {
            "permission": {"name": "microphone"}, "setting": setting, "origin": origin.rstrip("/")})

    # What a user does and sees.

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def run_async(self, script, *arguments):
        """script: the body of an async function, which returns a value."""
        wrapped = "const done = arguments[arguments.length - 1];" \
                  f"(async (...given) => {{{script}}})(...arguments).then(" \
                  "(value) => done({value}), (error) => done({error: String(error)}))"
        result = self.driver.execute_async_script(wrapped, *arguments)
        if "error" in result:
            raise AssertionError(result["error"])
        return result.get("value")

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def by_id(self, name):
        return self.driver.find_element(By.ID, name)

    def click(self, selector):
        self.driver.find_element(By.CSS_SELECTOR, selector).click()

    def text(self, selector):
        return "\n".join(each.text for each in self.all(selector))

    def wait(self, condition):
        return WebDriverWait(self.driver, PATIENCE, poll_frequency=0.05).until(lambda _: condition())

    def wait_for_text(self, selector, part):
        self.wait(lambda: part in self.text(selector))

    def choose(self, path):
        self.by_id("file").send_keys(str(path))

    def drop(self, path):
        """Drops a file on the page, as a file manager does."""
        for kind in ("dragEnter", "dragOver", "drop"):
            self.driver.execute_cdp_cmd("Input.dispatchDragEvent", {
                "type": kind, "x": 300, "y": 300,
                "data": {"items": [], "files": [str(path)], "dragOperationsMask": 1}})

    def finish_animations(self):
        self.run_async("await Promise.all(document.getAnimations().map(({finished}) => finished))")

    def faults(self):
        """What the browser logged as wrong since the last call: breaches of the policy, scripts that failed."""
        entries = [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] == "SEVERE"]
        # The page asks whether the server has the JSON interface, and "no" is no fault.
        return [entry for entry in entries if "/v1/version" not in entry]
