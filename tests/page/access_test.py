# SPDX-License-Identifier: Apache-2.0
"""The access code: good, bad, kept and forgotten; and the figures for the operator."""
from fixture import PageTest


class Access(PageTest):
    code_at_start = False

    def give(self, code, keep=False):
        field = self.browser.by_id("code")
        field.clear()
        field.send_keys(code)
        if keep != self.browser.by_id("keep").is_selected():
            self.browser.click("#keep")
        self.browser.click("#access-form button")

    def kept(self):
        return self.browser.run("return localStorage.getItem('tarn.access-code')")

    def test_it_is_kept_only_where_that_is_asked_for(self):
        self.give(self.service.code)
        self.browser.wait_for_text("#status", "The access code is set")
        self.assertIsNone(self.kept())
        self.assertEqual(self.browser.run("return document.getElementById('code').value"), "")
        self.browser.driver.refresh()
        self.browser.wait(lambda: self.browser.by_id("code").is_displayed())
        self.give(f" {self.service.code}\n".strip(), keep=True)
        self.browser.wait_for_text("#status", "The access code is set")
        self.assertEqual(self.kept(), self.service.code)
        self.browser.driver.refresh()
        self.browser.wait(lambda: self.browser.by_id("access-held").is_displayed())
        self.browser.click("#forget")
        self.browser.wait_for_text("#status", "forgotten")
        self.assertIsNone(self.kept())
        self.assertTrue(self.browser.by_id("code").is_displayed())

    def test_text_that_is_no_code_is_refused_at_once(self):
        for text in ("hello", self.service.code[:-1], self.service.code[:-1] + "x"):
            self.give(text)
            self.browser.wait_for_text("#access-fault", "80 hexadecimal digits")
        self.assertIsNone(self.kept())

    def test_a_part_of_the_page_that_could_not_be_loaded_is_loaded_later(self):
        self.service.stop()
        self.give(self.service.code)
        self.browser.wait_for_text("#access-fault", "A part of the page cannot be loaded")
        self.service.serve()
        self.browser.click("#access-form button")
        self.browser.wait_for_text("#status", "The access code is set")

    def test_a_code_that_the_server_does_not_know_is_asked_for_again(self):
        self.give(self.service.code[:-4] + "0000")
        self.browser.wait_for_text("#status", "The access code is set")
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "does not know this access code")
        self.assertTrue(self.browser.by_id("code").is_displayed())

    def test_a_sound_without_a_code_is_not_sent(self):
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "paste the access code")

    def test_each_browser_has_an_identity_of_its_own_that_stays(self):
        identity = "return (await import('./account.js')).deviceId().join()"
        first = self.browser.run_async(identity)
        self.assertEqual(self.browser.run_async(identity), first)
        self.assertEqual(len(first.split(",")), 16)
        self.browser.run("localStorage.clear()")
        self.assertNotEqual(self.browser.run_async(identity), first)


class Figures(PageTest):
    def figure(self, name):
        lines = self.browser.text("#figures-list").splitlines()
        return lines[lines.index(name) + 1] if name in lines else None

    def test_they_follow_the_server(self):
        self.browser.click("#figures summary")
        self.browser.wait(lambda: self.figure("Recordings") == "5")
        self.assertEqual(self.figure("Catalogue"), "available")
        before = int(self.figure("Matched"))
        self.browser.choose(self.service.known[2])
        self.browser.wait(lambda: int(self.figure("Matched")) == before + 1)
        self.browser.wait(lambda: self.browser.run("return document.querySelector('polyline').points.length") >= 2)
        self.service.stop()
        self.browser.wait_for_text("#figures-note", "cannot be read")
