# SPDX-License-Identifier: Apache-2.0
"""The search in the catalogue and the tracks of an album, of a server with the JSON interface and of one without."""
from urllib.parse import parse_qs, urlsplit

import accessibility
from fixture import PageTest
from proxy import Proxy

LISTED = 20


class Interface:
    """The JSON interface as docs/manual describes it, with 25 recordings, the last of which means harm."""

    def __init__(self, service):
        self.service = service
        self.seen = []
        titles = [f"Title {number}" for number in range(1, 25)] + ["<b>bold</b>\u202e"]
        self.recordings = [{"id": number, "track_id": f"T-{number}", "title": title, "artist": "Somebody",
                            "duration_ms": 61000} for number, title in enumerate(titles, 1)]

    def answer(self, target, authorization):
        url = urlsplit(target)
        self.seen.append((target, authorization))
        if url.path == "version":
            return 200, {"name": "tarn-server", "version": "0"}
        if authorization != f"Bearer {self.service.code}":
            return 401, {}
        if url.path.startswith("albums/"):
            titles = [piece["title"] for piece in self.service.pieces]
            return 200, {"album_id": url.path[7:],
                         "tracks": [{"id": i, "track_id": f"T-{i}", "title": title} for i, title in enumerate(titles)]}
        asked = parse_qs(url.query)
        query, after = asked.get("query", [""])[0], int(asked.get("after", ["0"])[0])
        found = [each for each in self.recordings if query.lower() in each["title"].lower() and each["id"] > after]
        answer = {"recordings": found[:LISTED]}
        if len(found) > LISTED:
            answer["next_after"] = found[LISTED - 1]["id"]
        return 200, answer


class Catalogue(PageTest):
    def setUp(self):
        super().setUp()
        self.interface = Interface(self.service)
        self.proxy = Proxy(self.service.address, self.interface.answer)
        self.addCleanup(self.proxy.close)

    def open_with_interface(self):
        self.browser.open(self.proxy.url, self.service.code)
        self.browser.wait(lambda: self.browser.by_id("catalogue").is_displayed())

    def titles(self):
        return [each.text for each in self.browser.all("#catalogue-list li")]

    def test_it_is_listed_page_by_page(self):
        self.open_with_interface()
        self.browser.click("#catalogue-form button")
        self.browser.wait_for_text("#catalogue-note", "20 recordings, and there may be more")
        self.browser.click("#catalogue-more")
        self.browser.wait_for_text("#catalogue-note", "25 recordings.")
        self.assertEqual(self.titles()[0], "Title 1, Somebody (1:01)")
        self.assertEqual(self.titles()[-1], "<b>bold</b>, Somebody (1:01)")
        self.assertFalse(self.browser.by_id("catalogue-more").is_displayed())
        self.browser.size(320, 800)
        self.assertEqual(accessibility.is_wider_than_the_screen(self.browser), "")

    def test_it_is_searched_for_words(self):
        self.open_with_interface()
        self.browser.by_id("query").send_keys("title 24&limit=1\n")
        self.browser.wait_for_text("#catalogue-note", "0 recordings.")
        self.browser.by_id("query").clear()
        self.browser.by_id("query").send_keys("title 24\n")
        self.browser.wait_for_text("#catalogue-note", "1 recording.")
        self.assertEqual(self.titles(), ["Title 24, Somebody (1:01)"])

    def test_the_tracks_of_the_album_are_shown_with_a_result(self):
        self.open_with_interface()
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#result-body", "On this album")
        shown = [each.text for each in self.browser.all("#result-body ol li")]
        self.assertEqual(shown, [piece["title"] for piece in self.service.pieces])
        album = [target for target, _ in self.interface.seen if target.startswith("albums/")]
        self.assertRegex(album[0], r"^albums/A-[0-9a-f]{16}$")

    def test_the_code_goes_to_an_interface_that_is_there_and_over_secure_connections_only(self):
        self.open_with_interface()
        self.assertEqual(self.interface.seen, [("version", None)])
        self.interface.seen.clear()
        insecure = self.proxy.url.replace("127.0.0.1", "insecure.test")
        self.browser.open(insecure, self.service.code)
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "Recognised")
        self.assertEqual(self.interface.seen, [])
        self.assertFalse(self.browser.by_id("catalogue").is_displayed())

    def test_it_is_hidden_where_the_server_has_no_interface(self):
        proxy = Proxy(self.service.address, lambda target, authorization: (404, {}))
        self.addCleanup(proxy.close)
        self.browser.open(proxy.url, self.service.code)
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "Recognised")
        self.assertFalse(self.browser.by_id("catalogue").is_displayed())
        self.assertNotIn("On this album", self.browser.text("#result"))
