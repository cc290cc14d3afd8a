# SPDX-License-Identifier: Apache-2.0
"""Files: known, unknown and useless ones, long ones, and a server that goes and comes back."""
import re

from fixture import PageTest
from proxy import Proxy
from service import EXCERPT_START


class Files(PageTest):
    def assert_shows(self, piece):
        self.browser.wait(lambda: self.browser.text("#result-title") == piece["title"])
        self.assertIn(piece["artist"], self.browser.text("#result-body"))

    def test_a_dropped_file_is_recognised_with_its_place(self):
        self.browser.drop(self.service.known[0])
        self.assert_shows(self.service.pieces[0])
        result = self.browser.text("#result")
        self.assertIn("Maps of Small Places", result)
        confidence = int(re.search(r"(\d+) %", result)[1])
        self.assertGreater(confidence, 85)
        self.assertEqual(self.browser.run("return document.querySelector('#result meter').value"), confidence)
        minutes, seconds = map(int, re.search(r"at (\d+):(\d\d) of 0:50", result).groups())
        self.assertAlmostEqual(60 * minutes + seconds, EXCERPT_START, delta=1)
        bar, marker = [self.browser.run(f"return document.querySelector('{each}').getBoundingClientRect().toJSON()")
                       for each in (".bar", ".marker")]
        share = (marker["x"] + marker["width"] / 2 - bar["x"]) / bar["width"]
        self.assertAlmostEqual(share, EXCERPT_START / 50, delta=0.03)
        self.assertEqual(self.browser.run("return document.activeElement.id"), "result-title")
        self.assert_no_faults()

    def test_an_encoded_file_that_is_chosen_is_recognised(self):
        self.browser.choose(self.service.encoded)
        self.assert_shows(self.service.pieces[0])

    def test_further_copies_in_the_catalogue_are_named(self):
        self.browser.choose(self.service.known[2])
        self.assert_shows(self.service.pieces[2])
        self.assertRegex(self.browser.text("#result-body"), r"Further copies\nT-[0-9a-f]{16}\n")

    def test_a_second_file_takes_the_place_of_the_first_and_both_are_in_the_history(self):
        for number in (0, 1):
            self.browser.choose(self.service.known[number])
            self.assert_shows(self.service.pieces[number])
        lines = [each.text for each in self.browser.all("#history-list li")]
        self.assertEqual(len(lines), 2)
        for line, number in zip(lines, (1, 0)):
            self.assertIn(self.service.pieces[number]["title"], line)
            self.assertIn(f"known {number}.wav", line)

    def test_unknown_music_is_said_to_be_unknown(self):
        self.browser.choose(self.service.unknown)
        self.browser.wait_for_text("#status", "Not recognised")
        self.assertEqual(self.browser.text("#result-title"), "This music is not known here")
        self.assertIn("Ask the owner of the server", self.browser.text("#result-body"))
        self.assertEqual(self.browser.all("#result meter"), [])

    def test_useless_files_are_refused_with_a_reason(self):
        nonsense = self.service.folder / "nonsense.mp3"
        nonsense.write_bytes(b"no music at all " * 1000)
        for path, reason in ((self.service.short, "at least 7 seconds"), (nonsense, "finds no sound in this file")):
            with self.subTest(path.name):
                self.browser.choose(path)
                self.browser.wait_for_text("#status", reason)
                self.assertEqual(self.browser.text("#result"), "")
        self.browser.choose(self.service.known[0])  # and the page goes on
        self.assert_shows(self.service.pieces[0])

    def test_a_server_that_is_gone_is_asked_again_when_it_is_back(self):
        self.service.stop()
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "The server does not answer")
        self.assertEqual(self.browser.text("#result"), "")
        self.service.serve()
        self.browser.click("#again")
        self.assert_shows(self.service.pieces[0])

    def test_a_long_file_shows_its_tracks_in_order(self):
        self.browser.choose(self.service.long)
        self.browser.wait(lambda: self.browser.by_id("list-button").is_displayed())
        self.browser.click("#list-button")
        self.browser.wait_for_text("#status", "3 tracks found")
        lines = [each.text for each in self.browser.all("#list-tracks li")]
        for line, number, start in zip(lines, (0, 1, 2), (0, 61, 91)):
            self.assertIn(self.service.pieces[number]["title"], line)
            minutes, seconds = map(int, re.match(r"(\d+):(\d\d) to ", line).groups())
            self.assertAlmostEqual(60 * minutes + seconds, start, delta=10)

    def test_it_works_under_a_path_of_a_proxy(self):
        proxy = Proxy(self.service.address)
        try:
            self.browser.open(proxy.url, self.service.code)
            self.browser.choose(self.service.known[1])
            self.assert_shows(self.service.pieces[1])
            self.assert_no_faults()
        finally:
            proxy.close()

    def test_times(self):
        """Shows how long it takes; how long that may be depends on the machine."""
        for number in (0, 1, 2):
            self.browser.choose(self.service.known[number])
            self.assert_shows(self.service.pieces[number])
        times = self.browser.run("const measures = performance.getEntriesByType('measure');"
                                 "return measures.map(({name, duration}) => [name, duration])")
        for name in ("tarn-file-to-answer", "tarn-fingerprint"):
            own = [duration for each, duration in times if each == name]
            self.assertEqual(len(own), 3)
            print(f"{name} of 30 s: {', '.join(f'{each:.1f}' for each in own)} ms", end="; ")
