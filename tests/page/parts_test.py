# SPDX-License-Identifier: Apache-2.0
"""Parts of the page by themselves: texts, times, lists of tracks, metrics."""
from fixture import PageTest


class Parts(PageTest):
    code_at_start = False

    def test_texts_are_one_short_line(self):
        cases = [
            ("plain", "plain"),
            ("two\nlines\tand more", "two lines and more"),
            ("\u202eturned\u202c", "turned"),
            ("a\u0000\u0007b", "a b"),
            ("  blank  ", "blank"),
            ("\u200b\u200e", "nothing"),
            ("", "nothing"),
            (None, "nothing"),
            ("\U0001f3b5" * 300, "\U0001f3b5" * 200 + "…"),
            ("x" * 200, "x" * 200),
            ("x" * 201, "x" * 200 + "…"),
            (" " * 70000 + "x", "…"),
        ]
        shown = self.browser.run_async(
            "const {shown} = await import('./text.js'); return given[0].map((each) => shown(each, 'nothing'))",
            [text for text, _ in cases])
        for (text, wanted), got in zip(cases, shown):
            self.assertEqual(got, wanted, repr(text)[:50])

    def test_times_are_in_minutes_and_hours(self):
        times = self.browser.run_async(
            "const {time} = await import('./text.js'); return given[0].map(time)",
            [0, 999, 59999, 60000, 3599999, 3661000])
        self.assertEqual(times, ["0:00", "0:00", "0:59", "1:00", "59:59", "1:01:01"])

    def test_windows_cover_a_recording(self):
        windows = self.browser.run_async(
            "const {windowsOf} = await import('./track_list.js'); return given[0].map(windowsOf)",
            [5000, 12000, 17999, 18000, 30000])
        self.assertEqual(windows, [[0], [0], [0], [0, 6000], [0, 6000, 12000, 18000]])

    def test_neighbours_with_the_same_answer_are_one_track(self):
        cases = [  # answers of windows in order, and the tracks with the numbers of their first and last windows
            ("aaa", [("a", 0, 2)]),
            ("aabb", [("a", 0, 1), ("b", 2, 3)]),
            ("a-a", [("a", 0, 2)]),
            ("aba", [("a", 0, 2), ("b", 1, 1)]),
            ("a--a", [("a", 0, 0), ("a", 3, 3)]),
            ("A-a", [("A", 0, 2)]),  # A has the copy a
            ("aAa", [("a", 0, 2)]),
            ("--", []),
        ]
        for answers, wanted in cases:
            entries = self.browser.run_async("""
                const {TrackList, kStepMs, kWindowMs} = await import('./track_list.js');
                const list = new TrackList();
                Array.from(given[0]).forEach((id, i) => list.add(i * kStepMs,
                  {found: id !== '-', tracks: [{trackId: id}], albums: [],
                   place: {companions: id === 'A' ? ['a'] : []}}));
                return list.entries.map(({answer, fromMs, toMs}) =>
                  [answer.tracks[0].trackId, fromMs / kStepMs, (toMs - kWindowMs) / kStepMs]);""", answers)
            self.assertEqual([tuple(each) for each in entries], wanted, answers)

    def test_metrics_are_read_and_summed(self):
        text = ('# HELP x\ntarn_requests_total{kind="fingerprint",outcome="matched"} 3\n'
                'tarn_requests_total{kind="items",outcome="not_found"} 2\n'
                'tarn_requests_total{kind="json_recognise",outcome="not_found"} 4\ntarn_catalogue_recordings 12\n'
                'tarn_catalogue_up 1\nnonsense\n'
                'tarn_request_seconds_bucket{stage="total",le="0.001"} 1\n'
                'tarn_request_seconds_bucket{stage="total",le="0.0025"} 4\n'
                'tarn_request_seconds_bucket{stage="total",le="+Inf"} 5\n')
        figures = dict(self.browser.run_async(
            "const {figuresOf, readMetrics} = await import('./figures.js');"
            "return figuresOf(readMetrics(given[0]))", text))
        self.assertEqual(figures["Recognitions"], "7")
        self.assertEqual(figures["Matched"], "3")
        self.assertEqual(figures["Not found"], "4")
        self.assertEqual(figures["Recordings"], "12")
        self.assertEqual(figures["Half of all requests within"], "2.5 ms")
        self.assertEqual(figures["Waiting"], "not known")

    def test_the_middle_of_the_channels_is_heard(self):
        """Opposite channels cancel out: what is decoded is their mean."""
        peaks = self.browser.run_async("""
            const {decodeFile} = await import('./decoding.js');
            const frames = 22050;
            const make = (sign) => {
              const data = new DataView(new ArrayBuffer(44 + frames * 4));
              const text = (at, word) => Array.from(word).forEach((c, i) => data.setUint8(at + i, c.charCodeAt(0)));
              text(0, 'RIFF'); data.setUint32(4, 36 + frames * 4, true); text(8, 'WAVEfmt ');
              data.setUint32(16, 16, true); data.setUint16(20, 1, true); data.setUint16(22, 2, true);
              data.setUint32(24, 22050, true); data.setUint32(28, 88200, true); data.setUint16(32, 4, true);
              data.setUint16(34, 16, true); text(36, 'data'); data.setUint32(40, frames * 4, true);
              for (let i = 0; i < frames; ++i) {
                data.setInt16(44 + i * 4, 16384, true);
                data.setInt16(46 + i * 4, sign * 16384, true);
              }
              return new File([data], 'x.wav');
            };
            const peak = async (sign) => {
              const {samples, rateHz} = await decodeFile(make(sign));
              return [samples.length, rateHz, Math.max(...samples.slice(100, 20000).map(Math.abs))];
            };
            return [await peak(1), await peak(-1)];""")
        for (frames, rate, peak), wanted in zip(peaks, (0.5, 0)):
            self.assertEqual((frames, rate), (22050, 22050))
            self.assertAlmostEqual(peak, wanted, places=4)
