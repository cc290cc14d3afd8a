# SPDX-License-Identifier: Apache-2.0
"""The page on small and large screens, light and dark, by keyboard, and with texts that mean harm."""
import unicodedata

import accessibility
from fixture import PageTest
from selenium.webdriver.common.keys import Keys


class Everybody(PageTest):
    def test_nothing_is_wider_than_the_screen(self):
        for number in (0, 3):  # the last one has hostile texts
            self.browser.choose(self.service.known[number])
            self.browser.wait_for_text("#status", "Recognised")
            self.browser.run("document.getElementById('status').textContent = ''")
            self.browser.run("document.getElementById('figures').open = true")
            self.browser.wait_for_text("#figures-list", "Connections")
            for width in (320, 1280):
                with self.subTest(number=number, width=width):
                    self.browser.size(width, 800)
                    self.assertEqual(accessibility.is_wider_than_the_screen(self.browser), "")
            self.browser.size(1280, 900)
        self.browser.run("const wide = document.body.appendChild(document.createElement('p'));"
                         "wide.style.width = '4000px'; wide.textContent = 'wide'")
        self.assertNotEqual(accessibility.is_wider_than_the_screen(self.browser), "")

    def test_colours_differ_between_light_and_dark(self):
        ground = "return getComputedStyle(document.body).backgroundColor"
        light = self.browser.run(ground)
        self.browser.scheme("dark")
        self.assertNotEqual(self.browser.run(ground), light)

    def test_the_tabulator_reaches_every_control_and_shows_where_it_is(self):
        self.browser.wait(lambda: self.browser.by_id("catalogue").is_displayed())
        order = accessibility.tab_order(self.browser)
        self.assertEqual([each["id"] for each in order],
                         ["skip", "forget", "file", "listen-button", "query", "search", "summary"])
        for each in order:
            self.assertRegex(each["outline"], r"^solid [2-9]", each["id"])

    def test_the_code_is_given_by_keyboard(self):
        self.browser.open(self.service.url)
        self.browser.run("document.querySelector('.skip').focus()")
        accessibility.press(self.browser, Keys.TAB, self.service.code, Keys.ENTER)
        self.browser.wait_for_text("#status", "The access code is set")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "file")

    def test_nothing_moves_for_those_who_want_that(self):
        transition = "return getComputedStyle(document.getElementById('listen-button')).transitionDuration"
        self.assertNotEqual(self.browser.run(transition), "0s")
        self.browser.driver.execute_cdp_cmd(
            "Emulation.setEmulatedMedia", {"features": [{"name": "prefers-reduced-motion", "value": "reduce"}]})
        self.assertEqual(self.browser.run(transition), "0s")

    def test_what_happens_is_announced(self):
        self.assertEqual(self.browser.by_id("status").get_attribute("role"), "status")
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", f"Recognised: {self.service.pieces[0]['title']}, by ")

    def test_hostile_texts_are_shown_as_text_and_cut(self):
        title = self.browser.driver.title
        self.browser.choose(self.service.known[3])
        self.browser.wait_for_text("#result-title", "<img src=x onerror=")
        shown = self.browser.run("return document.getElementById('result').textContent")
        self.assertIn("</bdi><script>document.title='harmed'</script> of lies", shown)
        self.assertLess(len(shown), 800)
        self.assertLess(len(self.browser.text("#history-list")), 400)
        hidden = [each for each in shown if unicodedata.category(each) in ("Cc", "Cf") and each != "\n"]
        self.assertEqual(hidden, [])
        self.assertEqual(self.browser.all("#result img, #result script, #history img"), [])
        self.assertEqual(self.browser.driver.title, title)
        self.assert_no_faults()
