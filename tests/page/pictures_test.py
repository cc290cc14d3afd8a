# SPDX-License-Identifier: Apache-2.0
"""The pictures of the documents, made where TARN_PAGE_PICTURES says; docs/images has copies."""
import fixture
from fixture import PageTest


class Pictures(PageTest):
    def test_show_an_answer_and_a_search(self):
        fixture.PICTURES.mkdir(parents=True, exist_ok=True)
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#result-body", "On this album")
        self.browser.by_id("query").send_keys(f"{self.service.pieces[0]['artist']}\n")
        self.browser.wait_for_text("#catalogue-note", "5 recordings.")
        self.browser.run("document.activeElement.blur()")
        # All of the page, and on a narrow screen what the answer says.
        self.picture("page.png", 900, None, "light", "header")
        self.picture("page-narrow-dark.png", 360, 960, "dark", "#status")

    def picture(self, name, width, height, scheme, first):
        self.browser.size(width, height or 100)
        if height is None:
            self.browser.size(width, self.browser.run("return document.documentElement.scrollHeight"))
        self.browser.scheme(scheme)
        self.browser.finish_animations()
        self.browser.run("document.querySelector(arguments[0]).scrollIntoView()", first)
        path = fixture.PICTURES / name
        self.browser.driver.save_screenshot(str(path))
        self.assertGreater(path.stat().st_size, 5000)
