# SPDX-License-Identifier: MIT
"""The HTML report in a real browser. Without one there is nothing to test: exit status 77.
usage: page_test.py ZVPROBE MEDIA_FOLDER"""
import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

import browser
import streams

PROBE, MEDIA = (os.path.abspath(path) for path in sys.argv[1:3]) if len(sys.argv) > 2 else ("", "")
MOST = 1_000_000
RIGHT = "\ue014"  # the key, as WebDriver writes it
# A name of a file may hold anything but "/".
HOSTILE_NAME = "<script>bad()<\u2028\"'&.ts"

PLOTTED = """const view = document.querySelector(`[data-plot="${arguments[0]}"]`).view;
return view.plan.series.map(({label, lows, highs}) => ({label, lows, highs}))"""
PAINTED = """return [...document.querySelectorAll(".canvas canvas")].map((canvas) => {
    const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
    const colours = new Set();
    for (let i = 0; i < data.length; i += 4)
        if (data[i + 3] > 200) colours.add(data[i] << 16 | data[i + 1] << 8 | data[i + 2]);
    return colours.size;
})"""
ROWS = """const table = [...document.querySelectorAll("table")]
    .find((one) => one.caption.textContent === arguments[0]);
return [...table.tBodies[0].rows].map((row) => [...row.cells].map((cell) => cell.textContent))"""


# The heading that is there now is not there after a renewal.
MARK = "document.querySelector('#report h1').marked = true"
IS_RENEWED = "return !document.querySelector('#report h1').marked"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.place = pathlib.Path(cls.folder.name)
        streams.faulty().write(cls.place / "faulty.ts")
        streams.hostile().write(cls.place / HOSTILE_NAME)
        cls.browser = browser.Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        cls.folder.cleanup()

    def setUp(self):
        self.browser.scheme("light")
        self.browser.size(1200, 1000)

    def probe(self, *arguments):
        return subprocess.check_output([PROBE, *map(str, arguments)], cwd=self.place)

    def show(self, *sources):
        """Makes the page of the sources and opens it, without a complaint or a request."""
        self.probe("--html", "page.html", *sources)
        url = (self.place / "page.html").as_uri()
        self.browser.open("about:blank")
        self.browser.complaints(), self.browser.requests()
        self.browser.open(url)
        self.browser.settle()
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual([one for one in self.browser.requests() if one not in (url, "data:,")], [])
        resources = self.browser.run("return performance.getEntriesByType('resource').length")
        self.assertEqual(resources, 0)

    def text(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).textContent", selector)

    def packet_counts(self):
        return [int(row[4].replace("\u202f", "")) for row in self.browser.run(ROWS, "PIDs")]

    def range(self):
        return self.text(".range")

    def test_every_format_is_painted_and_fits_a_phone(self):
        for name in ("single.ts", "three-programs.ts", "h264-aac.flv", "mpeg1-layer3.mp3"):
            self.show(f"{MEDIA}/{name}")
            self.assertEqual(self.text("h1"), name)
            painted = self.browser.run(PAINTED)
            self.assertGreater(len(painted), 2, name)
            self.assertGreater(min(painted), 2, name)
            self.browser.size(360, 740)
            self.browser.settle()
            width = self.browser.run("return document.documentElement.scrollWidth")
            self.assertLessEqual(width, 360, name)
            self.browser.size(1200, 1000)

    def test_plots_show_the_history_of_the_json_report(self):
        self.show("faulty.ts")
        source = json.loads(self.probe("--json", "--history", "faulty.ts"))["sources"][0]["mpegts"]
        history = source["history"]
        rates = {one["label"].split()[0]: one["highs"] for one in self.browser.run(PLOTTED, "rate")}
        self.assertEqual(len(rates), len(history["packets"]))
        for row in history["packets"]:
            shown = rates["null" if row["pid"] == streams.NULL_PID else hex(row["pid"])]
            for rate, count in list(zip(shown, row["packets"]))[:-1]:
                self.assertAlmostEqual(rate, count * 1504 / history["step_s"], places=3)
        for plot, rows in (("pcr-interval", "pcr"), ("table-interval", "tables")):
            for shown, row in zip(self.browser.run(PLOTTED, plot), history[rows], strict=True):
                for ours, theirs in zip(shown["highs"], row["interval_ms"]["max"], strict=True):
                    self.assertEqual(ours, None if theirs is None else round(theirs, 3))
        sums = [sum(sum(row["counts"]) for row in history["events"] if row["number"][0] == first)
                for first in "123"]
        self.assertEqual([sum(row["highs"]) for row in self.browser.run(PLOTTED, "events")], sums)
        self.assertGreater(sums[0], 0)

    def test_a_click_on_a_mark_zooms_all_plots(self):
        self.show("faulty.ts")
        self.assertIn("all of it", self.range())
        self.browser.run("""document.querySelector("[data-plot=events]")
            .scrollIntoView({block: "center"})""")
        place = self.browser.run("""const {place, chart, timeline} =
            document.querySelector('[data-plot=events]').view;
            const box = chart.over.getBoundingClientRect();
            return [box.left + chart.valToPos(4.06, "x"), box.top + box.height / 6]""")
        self.browser.click_at(*place)
        self.browser.settle()
        self.assertNotIn("all of it", self.range())
        ranges = self.browser.run("""return [...document.querySelectorAll(".canvas")]
            .map(({view}) => [view.chart.scales.x.min, view.chart.scales.x.max])""")
        self.assertEqual(len({tuple(one) for one in ranges}), 1)
        low, high = ranges[0]
        self.assertTrue(low > 2 and 4 < high < 7 and low < 4, ranges[0])
        self.browser.run("""[...document.querySelectorAll("button")]
            .find((one) => one.textContent === "All of it").click()""")
        self.assertIn("all of it", self.range())

    def test_plots_of_the_latest_time_tell_times_since_the_first_packet(self):
        began = 10_000_020
        self.show("faulty.ts")
        page = (self.place / "page.html").read_text()
        head, rest = page.split('id="data">')
        data, tail = rest.split("</script>", 1)
        data = json.loads(data)
        report = data["sources"][0]["mpegts"]
        report["history"]["start_s"] = began
        report["clock"]["duration_s"] += began
        events = report["events"]["list"]["rows"]
        self.assertGreater(len(events), 1)
        for row in events[1:]:
            row[0] += began
        (self.place / "later.html").write_text(f'{head}id="data">{json.dumps(data)}</script>{tail}')
        self.browser.open((self.place / "later.html").as_uri())
        self.browser.settle()
        self.assertEqual(self.browser.complaints(), [])
        self.assertIn("The plots show the last 0:00:10.", self.text("#report"))
        self.assertEqual(self.range(), "all of it: 2777:47:00.0 to 2777:47:10.0")
        scale = "return document.querySelector('[data-plot=rate]').view.chart.scales.x"
        self.assertEqual(self.browser.run(scale)["min"], began)
        self.assertGreater(min(self.browser.run(PAINTED)), 2)
        self.browser.press(".cursor input", RIGHT * 3)
        self.assertEqual(self.text(".clock"), "2777:47:00.3")
        links = self.browser.run("""const table = [...document.querySelectorAll("table")]
            .find((one) => one.caption.textContent === "Events");
            window.links = [...table.tBodies[0].rows].map((row) => row.querySelector("button"));
            return links.map((one) => one !== null)""")
        self.assertEqual(links, [False] + [True] * (len(events) - 1))
        self.browser.run("links[1].click()")
        zoomed = self.browser.run(scale)
        self.assertLessEqual(zoomed["min"], events[1][0])
        self.assertGreaterEqual(zoomed["max"], events[1][0])
        self.assertLess(zoomed["max"] - zoomed["min"], 5)

    def test_the_keyboard_moves_the_cursor_and_hides_series(self):
        self.show("faulty.ts")
        self.browser.press(".cursor input", RIGHT * 3)
        self.assertIn("bit/s", self.text(".legend .value"))
        self.assertEqual(self.text(".clock"), "0:00:00.3")
        top = "return document.querySelector('[data-plot=rate]').view.chart.data[1][9]"
        before = self.browser.run(top)
        self.browser.press(".legend button", " ")
        self.assertLess(self.browser.run(top), before)

    def test_tables_sort_and_filter(self):
        self.show("faulty.ts")
        self.browser.run("""window.table = [...document.querySelectorAll(".table")].find((one) =>
            one.querySelector("caption").textContent === "PIDs");
            window.sort = [...table.querySelectorAll(".sort")]
                .find((one) => one.textContent === "Packets");
            sort.click()""")
        counts = self.packet_counts()
        self.assertEqual(counts, sorted(counts, reverse=True))
        self.browser.run("sort.click()")
        order = self.browser.run("return sort.closest('th').getAttribute('aria-sort')")
        self.assertEqual(order, "ascending")
        self.assertEqual(self.packet_counts(), counts[::-1])
        self.browser.run("table.querySelector('.tick input').click()")
        self.assertEqual([row[0] for row in self.browser.run(ROWS, "PIDs")], ["0x101"])
        self.browser.run("table.querySelector('.tick input').click()")
        self.browser.type("input[type=search]", "0x20")
        self.assertEqual([row[0] for row in self.browser.run(ROWS, "PIDs")], ["0x200"])

    def test_names_stay_text(self):
        self.show(HOSTILE_NAME)
        self.assertEqual(self.text("h1"), HOSTILE_NAME)
        self.assertIn(streams.HOSTILE, self.text(".tree summary"))
        self.assertEqual(self.browser.run("return document.scripts.length"), 2)
        self.assertEqual(self.browser.run("return document.querySelectorAll('b b').length"), 0)

    def test_no_other_script_runs(self):
        self.show("faulty.ts")
        self.browser.run("""const script = document.createElement("script");
            script.textContent = "window.ran = true"; document.body.append(script);
            fetch("data:,x").catch(() => {})""")
        self.browser.settle()
        self.assertIsNone(self.browser.run("return window.ran"))
        self.assertGreater(len(self.browser.complaints()), 0)

    def test_dark_readers_get_a_dark_page(self):
        self.show("faulty.ts")
        ground = """return getComputedStyle(document.body).backgroundColor
            .match(/[0-9]+/g).map(Number)"""
        stroke = "return document.querySelector('[data-plot=rate]').view.chart.series[1].stroke()"
        light = self.browser.run(stroke)
        self.assertGreater(min(self.browser.run(ground)), 200)
        self.browser.scheme("dark")
        self.browser.settle()
        self.assertLess(max(self.browser.run(ground)), 50)
        self.assertNotEqual(self.browser.run(stroke), light)
        self.assertEqual(self.browser.complaints(), [])

    def test_a_printer_finds_the_plots_painted(self):
        self.show(f"{MEDIA}/single.ts")
        painted = self.browser.run('dispatchEvent(new Event("beforeprint"));' + PAINTED)
        self.assertGreater(len(painted), 2)
        self.assertGreater(min(painted), 2)

    def test_several_sources_have_a_page_each(self):
        self.show("faulty.ts", f"{MEDIA}/h264-aac.flv", f"{MEDIA}/mpeg1-layer3.mp3")
        self.browser.click("nav button:nth-child(2)")
        self.browser.settle()
        self.assertEqual(self.text("h1"), "h264-aac.flv")
        self.assertEqual(self.text("[aria-current]")[2:], "h264-aac.flv")
        self.assertGreater(min(self.browser.run(PAINTED)), 2)

    def test_a_day_of_all_pids_is_a_small_page(self):
        streams.a_day_of_all_pids().write(self.place / "day.ts")
        self.show("day.ts")
        self.assertLess(os.path.getsize(self.place / "page.html"), MOST)
        self.assertGreater(len(self.browser.run(ROWS, "PIDs")), 200)
        self.assertGreater(min(self.browser.run(PAINTED)), 2)

    def test_a_watch_renews_its_page_until_the_reader_works_with_it(self):
        with self.watch() as address:
            self.open_live_page(address)
            self.assertIn("three-programs.ts", self.text("h1"))
            self.wait_until_renewed()
            self.assertGreater(min(self.browser.run(PAINTED)), 2)
            self.browser.run(MARK)
            self.browser.click("#report h2")
            self.assertEqual(self.text(".watch button"), "Renew")
            time.sleep(6)
            self.assertFalse(self.browser.run(IS_RENEWED), "it stays")
            self.browser.click(".watch button")
            self.wait_until(IS_RENEWED)
            self.assertEqual(self.text(".watch button"), "Stop")
            self.assertEqual(self.browser.complaints(), [])

    def test_the_page_of_a_watch_outlives_the_watch(self):
        with self.watch() as address:
            self.open_live_page(address)
        note = "return document.querySelector('.watch span').textContent"
        self.wait_until(note + ".startsWith('No answer since ')")
        self.assertGreater(min(self.browser.run(PAINTED)), 2)
        port = address.rsplit(":", 1)[1]
        with self.watch(port):
            self.wait_until(note + ".startsWith('Renewed')")
            self.wait_until_renewed()
        with self.watch(port, "other"):
            self.wait_until(note + ".startsWith('Not watched since ')")

    def test_the_list_of_a_watch_outlives_the_watch(self):
        packets = "return document.querySelector('td:nth-child(2)').textContent"
        with self.watch("0", f"{MEDIA}/three-programs.ts", "none") as address:
            self.open_list(address)
            self.browser.run("document.querySelector('td a').focus()")
            before = self.browser.run(packets)
            self.wait_until(f"{packets} !== '{before}'")
            self.assertEqual(self.browser.run("return document.activeElement.localName"), "a")
            self.assertEqual(self.browser.complaints(), [])
        self.wait_until("return document.title.startsWith('no answer')")
        self.assertRegex(self.text("#note"), r"^No answer since \d\d:\d\d:\d\d$")
        self.assertIn("three-programs.ts", self.text("table"))
        # The page that was there shows what is new: a load would have met the error.
        self.browser.run("window.stays = true")
        with self.watch(address.rsplit(":", 1)[1], "other"):
            self.wait_until("return document.title === '1 away - zvprobe'")
            self.assertEqual([self.text("#note"), self.text("td a")], ["", "other"])
            self.assertTrue(self.browser.run("return window.stays"))

    def test_the_list_of_a_watch_renews_itself_without_scripts(self):
        self.browser.emulate("Emulation.setScriptExecutionDisabled", value=True)
        try:
            with self.watch() as address:
                self.open_list(address)
                time.sleep(6)
                self.assertGreater(self.browser.requests().count(address + "/"), 1)
                self.browser.open("about:blank")  # which asks for nothing when the watch is gone
        finally:
            self.browser.emulate("Emulation.setScriptExecutionDisabled", value=False)

    def open_list(self, address):
        self.browser.open("about:blank")
        self.browser.complaints(), self.browser.requests()
        self.browser.open(address)

    @contextlib.contextmanager
    def watch(self, port="0", *sources):
        sources = sources or [f"{MEDIA}/three-programs.ts"]
        with subprocess.Popen([PROBE, "monitor", "--listen", port, *sources],
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as watch:
            try:
                yield next(line for line in watch.stderr if "answers" in line).split()[1][:-1]
            finally:
                watch.terminate()
                watch.communicate()

    def open_live_page(self, address):
        self.open_list(address)
        self.wait_until("return document.querySelector('td a')")
        self.browser.complaints()
        self.browser.click("td a")
        self.wait_until("return document.querySelector('.watch button')")

    def wait_until_renewed(self):
        self.browser.run(MARK)
        self.wait_until(IS_RENEWED)

    def wait_until(self, script):
        for _ in range(100):
            if self.browser.run(script):
                return
            time.sleep(0.1)
        self.fail(script)


if __name__ == "__main__":
    if not browser.is_there():
        print("no Chromium with chromedriver here: nothing is tested")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
