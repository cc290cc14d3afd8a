# SPDX-License-Identifier: Apache-2.0
"""The pictures of the documents, made where TARN_PAGE_PICTURES says; docs/images has copies."""
import fixture
from fixture import PageTest

NAMES = ("page.png", "page-narrow-dark.png")


class Pictures(PageTest):
    def test_show_an_answer(self):
        fixture.PICTURES.mkdir(parents=True, exist_ok=True)
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "Recognised")
        self.browser.run("document.activeElement.blur(); scrollTo(0, 0)")
        for name, width, height, scheme in ((NAMES[0], 900, 960, "light"), (NAMES[1], 360, 960, "dark")):
            self.browser.size(width, height)
            self.browser.scheme(scheme)
            self.browser.finish_animations()
            path = fixture.PICTURES / name
            self.browser.driver.save_screenshot(str(path))
            self.assertGreater(path.stat().st_size, 5000)
