# SPDX-License-Identifier: Apache-2.0
"""Listening, with a microphone that plays a file, that is refused, and that browsers do not give."""
import accessibility
from fixture import PageTest
from selenium.webdriver.common.keys import Keys


class Microphone(PageTest):
    def test_known_music_is_recognised_by_keyboard_alone_and_the_microphone_let_go(self):
        self.browser.microphone(self.service.url, "granted", self.service.known[1])
        self.browser.run("document.getElementById('file').focus()")
        accessibility.press(self.browser, Keys.TAB, Keys.ENTER)
        self.browser.wait_for_text("#heard", "s heard; next try in")
        self.browser.wait(lambda: self.browser.run("return document.getElementById('level').value") > 0.05)
        self.assertEqual(accessibility.unnamed(self.browser), [])
        self.browser.wait(lambda: self.browser.text("#result-title") == self.service.pieces[1]["title"])
        self.assertEqual(self.browser.text("#listen-button"), "Listen")
        self.assertFalse(self.browser.by_id("listening").is_displayed())
        self.assert_no_faults()

    def test_it_stops_when_asked_to(self):
        self.browser.microphone(self.service.url, "granted", self.service.unknown)
        self.browser.click("#listen-button")
        self.browser.wait_for_text("#heard", "1 s heard")
        self.browser.click("#listen-button")
        self.browser.wait_for_text("#status", "Stopped")
        self.assertFalse(self.browser.by_id("listening").is_displayed())

    def test_a_refused_microphone_is_said_to_be_refused(self):
        self.browser.microphone(self.service.url, "denied")
        self.browser.click("#listen-button")
        self.browser.wait_for_text("#status", "The microphone was refused")
        self.assertEqual(self.browser.text("#listen-button"), "Listen")

    def test_an_insecure_page_says_why_it_has_no_microphone(self):
        port = self.service.address.rsplit(":", 1)[1]
        self.browser.open(f"http://insecure.test:{port}/", self.service.code)
        self.assertFalse(self.browser.by_id("listen-button").is_enabled())
        self.assertIn("open this page by https", self.browser.text("#listen-help"))
        self.browser.choose(self.service.known[0])  # files need none
        self.browser.wait(lambda: self.browser.text("#result-title") == self.service.pieces[0]["title"])

    def test_unknown_music_is_asked_about_four_times_in_30_seconds(self):
        """The sound of half a minute at once, from a microphone of the test's own."""
        asked = self.browser.run_async("""
            const {Microphone} = await import('./microphone.js');
            const {Listening} = await import('./listening.js');
            const open = Microphone.open;
            let heard = 0, end;
            const asked = [];
            Microphone.open = async (onPiece) => {
              setTimeout(async () => {
                while (heard < 40 && end === undefined) {
                  onPiece(new Float32Array(800));
                  heard += 0.1;
                  await null;
                  await null;
                  await null;
                }
              });
              return {rateHz: 8000, close() { end = heard; }};
            };
            const recognise = async () => { asked.push(Math.round(heard)); return {found: false}; };
            const recogniser = {begin() {}, add() {}, recognise};
            const answer = await new Listening(recogniser).run(() => {});
            Microphone.open = open;
            return {asked, found: answer.found, end: Math.round(end)};""")
        self.assertEqual(asked["asked"], [8, 12, 20, 30])
        self.assertFalse(asked["found"])
        self.assertEqual(asked["end"], 30)
