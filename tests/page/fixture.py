# SPDX-License-Identifier: Apache-2.0
"""What the tests share: one browser, one server, and a picture of the page where a test fails."""
import os
import shutil
import tempfile
import unittest
from pathlib import Path

from browser import Browser
from service import Service

# Where pictures of failures go, and those of the documents.
PICTURES = Path(os.environ.get("TARN_PAGE_PICTURES", "."))

shared = {}


def set_up():
    folder = tempfile.mkdtemp(prefix="tarn-page-")
    shared["folder"] = folder
    shared["service"] = Service(folder)
    shared["browser"] = Browser(folder)


def tear_down():
    if "browser" in shared:
        shared["browser"].close()
    if "service" in shared:
        shared["service"].stop()
    shutil.rmtree(shared["folder"], ignore_errors=True)


class PageTest(unittest.TestCase):
    """Each test begins with a server that answers, and a page that was just opened and knows the account."""

    maxDiff = None
    code_at_start = True

    @property
    def service(self):
        return shared["service"]

    @property
    def browser(self):
        return shared["browser"]

    def setUp(self):
        if self.service.process is None:
            self.service.serve()
        self.browser.scheme("light")
        self.open_page()

    def open_page(self, **options):
        self.browser.open(self.service.url, self.service.code if self.code_at_start else None, **options)
        self.browser.faults()  # of the page before

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before:
            PICTURES.mkdir(parents=True, exist_ok=True)
            name = PICTURES / f"failed {self.id()}.png"
            shared["browser"].driver.save_screenshot(str(name))
            print(f"the page as it was: {name}")

    def assert_no_faults(self):
        self.assertEqual(self.browser.faults(), [])
