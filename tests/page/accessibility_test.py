# SPDX-License-Identifier: Apache-2.0
"""Every state of the page by the rules of accessibility: light and dark, on a narrow and on a wide screen."""
import unittest

import accessibility
from fixture import PageTest


@unittest.skipUnless(accessibility.AXE.is_file(), "axe-core is not there: run scripts/install-dependencies test, which "
                                                  "fetches it from npm's registry")
class Accessibility(PageTest):
    def assert_keeps_the_rules(self):
        for width in (320, 1280):
            for scheme in ("light", "dark"):
                with self.subTest(width=width, scheme=scheme):
                    self.browser.size(width, 800)
                    self.browser.scheme(scheme)
                    self.browser.finish_animations()
                    self.assertEqual(accessibility.faults(self.browser), [])
        self.browser.size(1280, 900)

    def choose(self, path, status):
        self.browser.choose(path)
        self.browser.wait_for_text("#status", status)

    def test_before_there_is_a_code_and_with_a_wrong_one(self):
        self.browser.open(self.service.url)
        self.assert_keeps_the_rules()
        self.browser.by_id("code").send_keys("hello")
        self.browser.click("#access-form button")
        self.browser.wait_for_text("#access-fault", "80 hexadecimal digits")
        self.assert_keeps_the_rules()

    def test_before_there_is_a_sound(self):
        self.assert_keeps_the_rules()

    def test_what_was_recognised_with_the_figures(self):
        self.browser.run("document.getElementById('figures').open = true")
        self.browser.wait_for_text("#figures-list", "Connections")
        for number in (0, 3):  # the last one has hostile texts
            self.choose(self.service.known[number], "Recognised")
            self.browser.wait_for_text("#result-body", "On this album")
            self.assert_keeps_the_rules()

    def test_what_was_not_recognised(self):
        self.choose(self.service.unknown, "Not recognised")
        self.assert_keeps_the_rules()

    def test_a_fault_and_a_microphone_that_is_not_given(self):
        port = self.service.address.rsplit(":", 1)[1]
        self.browser.open(f"http://insecure.test:{port}/", self.service.code)
        self.service.stop()
        self.choose(self.service.known[0], "The server does not answer")
        self.assertTrue(self.browser.by_id("again").is_displayed())
        self.assert_keeps_the_rules()

    def test_listening(self):
        # A microphone that falls silent after a second, so that the page goes on listening.
        self.browser.run_async("""
            const {Microphone} = await import('./microphone.js');
            Microphone.open = async (onPiece) => {
              setTimeout(() => onPiece(new Float32Array(8000).fill(0.1)));
              return {rateHz: 8000, close() {}};
            };""")
        self.browser.click("#listen-button")
        self.browser.wait_for_text("#heard", "1 s heard; next try in")
        self.assert_keeps_the_rules()

    def test_the_tracks_of_a_long_file(self):
        self.choose(self.service.long, "ecognised")
        self.browser.wait(lambda: self.browser.by_id("list-button").is_displayed())
        # The bar is there during the search alone, which is over too soon to be looked at.
        self.browser.run("document.getElementById('list-progress').hidden = false")
        self.assert_keeps_the_rules()
        self.browser.click("#list-button")
        self.browser.wait_for_text("#status", "3 tracks found")
        self.assert_keeps_the_rules()

    def test_the_search_in_the_catalogue(self):
        self.browser.wait(lambda: self.browser.by_id("catalogue").is_displayed())
        self.browser.click("#search")
        self.browser.wait_for_text("#catalogue-note", "5 recordings")
        self.assert_keeps_the_rules()

    def test_the_rules_find_what_breaks_them(self):
        small = "<button style='all:revert;min-height:0;height:9px;padding:0'>x</button>"
        cases = {
            "color-contrast": "<p style='color:#777;background:#888'>grey</p>",
            "button-name": "<button></button>",
            "target-size": small + small,
            "heading-order": "<h6>deep</h6>",
            "aria-valid-attr-value": "<p aria-describedby='nowhere'>text</p>",
            "duplicate-id": "<p id='status'>text</p>",
            "duplicate-id-active": "<p id='main'>text</p>",
            "label": "<input>",
            "image-alt": "<img src='icon.svg'>",
            "a meter without a name": "<meter></meter>",
            "a progress without a name": "<progress></progress>",
        }
        for fault, markup in cases.items():
            with self.subTest(fault):
                # The policy of the page forbids style in markup, so that the test sets it through the model.
                self.browser.run("""const box = document.createElement('div');
                    box.id = 'harm';
                    box.innerHTML = arguments[0].replace(/style=/g, 'data-style=');
                    for (const each of box.querySelectorAll('[data-style]')) each.style.cssText = each.dataset.style;
                    document.querySelector('main').append(box);""", markup)
                found = accessibility.faults(self.browser)
                self.browser.run("document.getElementById('harm').remove()")
                self.assertEqual({each.split(":")[0] for each in found}, {fault})
