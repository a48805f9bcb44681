"""The web page in headless Chromium."""

import contextlib
import json
import os
import sqlite3
import tempfile
import unittest

from browser import Browser, find_chromium
from cloud_server import (CloudTest, alarm_data, devices, file_status, gateway, real_data,
                          recall_done)

VIEWS = ["#/home", "#/gateways", "#/alarms", "#/gateway/SN1/points", "#/gateway/SN1/point/02010001",
         "#/gateway/SN1/alarms", "#/gateway/SN1/recalls", "#/gateway/SN1/files",
         "#/gateway/SN1/about", "#/trace", "#/faults"]
NASTY = "<img src=x onerror='window.pwned=1'><script>window.pwned=1</script>"


@unittest.skipUnless(find_chromium(), "no Chromium on this machine")
class Page(CloudTest):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        super().setUp()
        # Before the server goes.
        self.addCleanup(self.browser.call, "Page.navigate", url="about:blank")
        self.browser.problems.clear()
        self.browser.requested.clear()
        self.browser.size(1280, 900)
        self.browser.scheme("light")

    def open(self, fragment):
        self.browser.call("Page.navigate", url="about:blank")
        self.browser.open(self.cloud.ready["page"] + fragment)

    def fill(self, time="2024-03-05 07:08:09", name="Ua"):
        self.cloud.post("/gateway", gateway().replace("Gate", name if name != "Ua" else "Gate"))
        self.cloud.post("/device/SN1", devices(names=[name]))
        self.cloud.post("/realdata/SN1",
                        real_data(time).replace('"Ua"', json.dumps(name)))
        self.cloud.post("/alarmdata/SN1", alarm_data().replace('"Ua"', json.dumps(name)))
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        self.cloud.offer(name="update-of-the-gateway-1.2.3.zip")

    def click(self, text):
        """Clicks a button as soon as it is there."""
        self.browser.wait(f"""(() => {{
            const button = [...document.querySelectorAll('main button')]
                .find(one => one.textContent === {json.dumps(text)});
            button?.click();
            return button !== undefined;
        }})()""")

    def set_field(self, label, value):
        self.browser.run(f"""(() => {{
            const label = [...document.querySelectorAll('main label')]
                .find(one => one.firstChild.data === {json.dumps(label)});
            const input = label.querySelector('input, select');
            input.value = {json.dumps(value)};
            input.dispatchEvent(new Event('change', {{bubbles: true}}));
            input.dispatchEvent(new Event('input', {{bubbles: true}}));
        }})()""")

    def wait_drawn(self):
        self.browser.wait("document.querySelector('.canvas canvas') !== null")

    def plot_name(self):
        return self.browser.run("document.querySelector('.plot').getAttribute('aria-label')")

    def columns(self):
        """The rows of the chart's drawing that have the first colour, column by column."""
        self.browser.wait("new Promise(done => requestAnimationFrame(() => done(true)))")
        return self.browser.run("""(() => {
            const canvas = document.querySelector('.canvas canvas');
            const left = 70, width = canvas.width - left - 10, height = canvas.height - 70;
            const { data } = canvas.getContext('2d').getImageData(left, 0, width, height);
            const colour = getComputedStyle(document.querySelector('.series-0')).backgroundColor.match(/\\d+/g).map(Number);
            return Array.from({ length: width }, (_, x) => Array.from({ length: height }, (_, y) => y).filter((y) => {
                const at = (y * width + x) * 4;
                return data[at + 3] > 60 && colour.every((part, i) => Math.abs(part - data[at + i]) < 60);
            }));
        })()""")

    def test_a_gateway_appears_with_its_last_contact(self):
        self.open("#/gateways")
        self.browser.wait_text("No gateway has called yet")
        self.cloud.post("/gateway", gateway())
        self.browser.wait("document.querySelector('.card h2')?.innerText === 'Gate'")
        self.browser.wait(r"/\d+ s ago/.test(document.querySelector('.card').innerText)")

    def test_current_values_follow_without_a_reload(self):
        self.fill()
        self.open("#/gateway/SN1/points")
        self.browser.wait_text("229.870 V")
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:10", "111.000"))
        self.browser.wait_text("111.000 V")
        self.assertIn("line up", self.browser.text())
        self.assertIn("line down", self.browser.text())

    def test_a_points_course_is_drawn_and_read_by_keyboard(self):
        for second in range(30):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:{second:02}",
                                                       f"{second * 2}.000"))
        self.open("#/gateway/SN1/point/02010001")
        self.wait_drawn()
        self.browser.run("document.querySelector('.plot').focus(); 0")
        for key, text in (("Home", "07:08:00"), ("ArrowRight", "07:08:01"), ("End", "07:08:29"),
                          ("ArrowLeft", "07:08:28"), ("ArrowLeft", "07:08:27")):
            self.browser.key(key)
            self.assertIn(text, self.browser.text(".reading"))
        self.assertIn("54.000 V", self.browser.text(".reading"))

    def test_a_course_of_equal_values_and_of_no_numbers_is_drawn_too(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/realdata/SN2", real_data(value="nan"))
        self.open("#/gateway/SN1/point/02010001")
        self.wait_drawn()
        self.browser.go("#/gateway/SN2/point/02010001")
        self.browser.wait_text("No numbers to draw")
        self.assertEqual(self.browser.problems, [])

    def test_large_readings_that_hardly_differ_do_not_stop_the_page(self):
        for second, value in ((9, "10000000000000000"), (10, "10000000000000002")):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:{second:02}", value))
        self.open("#/gateway/SN1/point/02010001")
        self.wait_drawn()
        self.assertIn("lowest 10000000000000000, highest 10000000000000002 V", self.plot_name())

    def test_values_at_the_ends_of_numbers_are_drawn(self):
        for second, value in enumerate(("1e308", "-1e308", "5e-324", "0", "1.7976931348623157e308")):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:{second:02}", value))
        for view in ("#/gateway/SN1/point/02010001", "#/gateway/SN1/point/02010001/week", "#/home"):
            self.open(view)
            self.browser.wait_text("live", "#live")
        self.assertEqual(self.browser.problems, [])

    def test_a_course_is_broken_where_nothing_was_sampled(self):
        for minute in list(range(0, 20)) + list(range(40, 60)):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:{minute:02}:00", f"{minute}"))
        self.open("#/gateway/SN1/point/02010001/2024-03-05 07:00:00~2024-03-05 08:00:00")
        self.wait_drawn()
        drawn = [len(rows) > 0 for rows in self.columns()]
        third = len(drawn) // 3
        self.assertTrue(all(drawn[third // 2:third * 9 // 10]))
        self.assertFalse(any(drawn[third + third // 5:2 * third - third // 5]))

    def test_a_switch_is_drawn_in_steps(self):
        for minute in range(0, 60, 5):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:{minute:02}:00",
                                                       f"{minute // 5 % 2}.000"))
        self.open("#/gateway/SN1/point/02010001/2024-03-05 07:00:00~2024-03-05 08:00:00")
        self.wait_drawn()
        columns = [rows for rows in self.columns() if rows]
        low, high = max(map(max, columns)), min(map(min, columns))
        between = [rows for rows in columns
                   if any(high + (low - high) * 0.3 < row < low - (low - high) * 0.3 for row in rows)]
        self.assertLess(len(between), len(columns) / 10)  # a line at a slant would be in all

    def test_what_was_not_reported_is_no_value(self):
        for second, value in enumerate(("230.000", "-1.000", "232.000", "-1.000")):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:{second:02}", value))
        self.open("#/gateway/SN1/point/02010001")
        self.wait_drawn()
        self.assertIn("lowest 230.000, highest 232.000 V", self.plot_name())
        self.assertNotIn("-1.000", self.browser.text())
        self.browser.go("#/gateway/SN1/points")
        self.browser.wait_text("no value")

    def test_a_range_of_time_is_chosen_and_exported(self):
        for day in (1, 4, 5):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-{day:02} 07:08:09", f"{day}.000"))
        self.open("#/gateway/SN1/point/02010001")
        for link, lowest in (("Last hour", 5), ("Last day", 4), ("Last week", 1)):
            self.browser.run(f"""[...document.querySelectorAll('main nav a')]
                .find(one => one.innerText === '{link}').click()""")
            self.browser.wait(f"""document.querySelector('.plot')?.getAttribute('aria-label')
                ?.includes('lowest {lowest}.000')""")
        self.set_field("From", "2024-03-04T00:00:00")
        self.set_field("To", "2024-03-04T23:59:59")
        self.click("Show")
        self.browser.wait("location.hash.includes('~')")
        self.browser.wait("document.querySelector('.plot')?.getAttribute('aria-label')"
                          "?.includes('lowest 4.000, highest 4.000')")
        table = self.browser.run("fetch(document.querySelector('a[download]').href)"
                                 ".then(answer => answer.text())")
        self.assertEqual([line.split(",")[0] for line in table.split("\r\n")],
                         ["time", "2024-03-04 07:08:09", ""])

    def wait_shown(self, part, delta):
        """Waits until the handles leave that part of the range between them."""
        self.browser.wait(f"""(() => {{
            const [left, right] = [...document.querySelectorAll('.zoom-handle')].map(one => parseFloat(one.style.left));
            const whole = parseFloat(document.querySelector('.dygraph-rangesel-fgcanvas').style.width);
            return Math.abs((right - left) / whole - {part}) < {delta};
        }})()""")

    def drag(self, selector, start, end):
        """Draws the mouse over an element, from one part of its width to another."""
        box = self.browser.run(f"""(() => {{
            const one = document.querySelector({json.dumps(selector)});
            one.scrollIntoView({{ block: 'center' }});
            const {{ left, top, width, height }} = one.getBoundingClientRect();
            return [left, top, width, height];
        }})()""")
        for kind, part in (("mouseMoved", start), ("mousePressed", start), ("mouseMoved", (start + end) / 2),
                           ("mouseMoved", end), ("mouseReleased", end)):
            self.browser.call("Input.dispatchMouseEvent", type=kind, x=box[0] + box[2] * part,
                              y=box[1] + box[3] / 2, button="left", clickCount=1)

    def test_the_mouse_zooms_in_the_chart_and_with_the_handles(self):
        for hour in range(24):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 {hour:02}:00:01", f"{hour}"))
        self.open("#/gateway/SN1/point/02010001/day")
        self.wait_drawn()
        self.wait_shown(1, 0.02)
        self.drag(".canvas canvas", 0.4, 0.6)
        self.wait_shown(0.2, 0.05)
        self.browser.run("document.querySelector('[aria-label=\"Whole range\"]').click()")
        self.wait_shown(1, 0.02)
        half = self.browser.run("""document.querySelector('.dygraph-rangesel-fgcanvas').offsetWidth / 2
            / document.querySelector('.zoom-handle').offsetWidth""")
        self.drag(".zoom-handle", 0.5, half)
        self.wait_shown(0.5, 0.1)
        self.assertEqual(self.browser.problems, [])

    def test_an_address_with_no_range_of_time_shows_the_last_hour(self):
        self.cloud.post("/realdata/SN1", real_data())
        for nonsense in ("nonsense", "~", "2024-03-05 07:00:00~"):
            self.open("#/gateway/SN1/point/02010001/" + nonsense)
            self.wait_drawn()
            self.assertEqual(self.browser.run("document.querySelector('main nav:not(.tabs) [aria-current]')"
                                              ".innerText"), "Last hour")

    def test_zooming_shows_more_of_a_part(self):
        for hour in range(24):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 {hour:02}:00:01", f"{hour}"))
        self.open("#/gateway/SN1/point/02010001/day")
        self.wait_drawn()
        self.assertTrue(self.browser.run("document.querySelector('.dygraph-rangesel-fgcanvas') !== null"))
        self.browser.run("document.querySelector('.plot').focus(); 0")
        self.browser.key("End")
        self.assertIn("2024-03-05 23:00:01 23.000 V", " ".join(self.browser.text(".reading").split()))
        self.browser.key("ArrowLeft")
        self.assertIn("2024-03-05 22:00:01 to 22:01:00", self.browser.text(".reading"))
        for _ in range(5):
            self.browser.key("+", text="+")
        self.browser.wait("performance.getEntriesByType('resource').some(one => "
                          "one.name.includes('/trends?') && one.name.endsWith('buckets=3601'))")
        self.browser.run("document.querySelector('[aria-label=\"Whole range\"]').click()")
        self.assertEqual(self.browser.problems, [])

    def test_several_points_are_in_one_chart(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.open("#/gateway/SN1/point/02010001")
        self.browser.wait("document.querySelector('.adder option') !== null")
        self.set_field("Another point in this chart", "02010100")
        self.click("Add")
        self.browser.wait("location.hash.includes('02010001,02010100') || location.hash.includes('%2C')")
        self.browser.wait("document.querySelectorAll('.legend li').length === 2")
        self.browser.wait("/Ua 229.870 V, Comm_Status 1/.test(document.querySelector('.reading').innerText)")
        self.assertIn("02010001, left axis", self.browser.text(".legend"))
        self.assertIn("02010100, right axis", self.browser.text(".legend"))
        self.browser.run("document.querySelector('[aria-label=\"Remove Ua\"]').click()")
        self.browser.wait("document.querySelectorAll('.legend li').length === 1")

    def test_active_alarms_of_all_gateways_come_first(self):
        for number, sn in enumerate(("SN1", "SN2", "SN3")):
            self.cloud.post("/device/" + sn, devices())
            self.cloud.post("/alarmdata/" + sn, alarm_data().replace("2024-03-05 07:08:09",
                                                                     f"2024-03-05 07:08:1{number}"))
        self.cloud.post("/alarmdata/SN2", alarm_data().replace('"flag":1', '"flag":0')
                        .replace("2024-03-05 07:08:09", "2024-03-05 07:08:20"))
        self.open("#/alarms")
        self.browser.wait("document.querySelectorAll('main section').length === 2")
        active = self.browser.text("main section")
        self.assertIn("Active alarms", active)
        self.assertIn("Meter1", active)
        self.assertEqual([sn for sn in ("SN1", "SN2", "SN3") if sn in active], ["SN1", "SN3"])
        self.browser.wait_text("ended", "main section:nth-of-type(2), main div + div section")
        self.browser.go("#/home")
        self.browser.wait_text("2 active alarms")

    def test_alarms_have_pages(self):
        for number in range(51):
            self.cloud.post("/alarmdata/SN1", alarm_data().replace(
                "2024-03-05 07:08:09", f"2024-03-05 07:{number:02}:09"))
        self.open("#/gateway/SN1/alarms")
        self.browser.wait_text("Alarms 1 to 50 of 51")
        self.click("Next")
        self.browser.wait_text("Alarms 51 to 51 of 51")
        self.click("Previous")
        self.browser.wait_text("Alarms 1 to 50 of 51")

    def test_gateways_are_searched_and_have_pages(self):
        for number in range(61):
            self.cloud.post("/gateway", gateway(sn=f"SN{number:03}").replace("Gate", f"Mill {number}"))
        self.open("#/gateways")
        self.browser.wait_text("Gateways 1 to 60 of 61")
        self.click("Next")
        self.browser.wait_text("Gateways 61 to 61 of 61")
        self.set_field("Search", "mill 17")
        self.browser.wait("document.querySelectorAll('.card').length === 1")
        self.browser.wait_text("Mill 17")
        self.set_field("Search", "nobody")
        self.browser.wait_text("No gateway has this in its texts")
        self.open("#/gateways/overdue")
        self.browser.wait_text("No gateway is overdue")

    def test_the_home_page_shows_who_is_overdue_and_last_values(self):
        self.cloud.post("/gateway", gateway())
        for second in range(3):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:0{second}", f"{second}.500"))
        with contextlib.closing(sqlite3.connect(os.path.join(self.cloud.folder, "cloud.db"))) as database:
            database.execute("UPDATE gateways SET last_contact = '2024-03-05T07:08:09.123Z'")
            database.commit()
        self.open("#/home")
        self.browser.wait_text("Overdue gateways")
        self.browser.wait_text("2.500 V")
        self.assertIn("0.500 to 2.500", self.browser.run(
            "document.querySelector('.sparkline').getAttribute('aria-label')"))

    def test_an_unknown_gateway_is_said_to_be_unknown_until_it_calls(self):
        for view in ("points", "alarms", "recalls", "files", "about", "point/02010001"):
            self.open("#/gateway/SN1/" + view)
            self.browser.wait_text("No gateway with the serial number SN1")
        self.cloud.post("/gateway", gateway())
        self.browser.wait("document.querySelector('h1').innerText === 'Gate'")

    def test_everything_has_a_name_in_the_accessibility_tree(self):
        self.fill()
        named = {"button", "link", "textbox", "searchbox", "combobox", "spinbutton", "img", "image", "table",
                 "navigation", "columnheader", "Date", "DateTime", "heading"}
        for view in VIEWS:
            with self.subTest(view=view):
                self.open(view)
                nodes = self.browser.call("Accessibility.getFullAXTree")["nodes"]
                wrong = [node["role"]["value"] for node in nodes
                         if not node["ignored"] and node["role"]["value"] in named
                         and not node.get("name", {}).get("value", "").strip()]
                self.assertEqual(wrong, [])
                self.assertEqual(sum(node.get("role", {}).get("value") == "heading"
                                     and {"name": "level", "value": {"type": "integer", "value": 1}}
                                     in node.get("properties", []) for node in nodes), 1)

    def test_alarms_are_listed(self):
        self.fill()
        self.open("#/gateway/SN1/alarms")
        text = self.browser.text()
        for part in ("2024-03-05 07:08:09", "Ua", "253.100 V", "250.000 V", "Ua, channel 2, device 1", "type -1", "active"):
            self.assertIn(part, text)

    def test_a_range_is_asked_for_and_seen_served(self):
        self.cloud.post("/gateway", gateway())
        self.open("#/gateway/SN1/recalls")
        self.set_field("From", "2024-03-05T07:00:00")
        self.set_field("To", "2024-03-05T08:00:00")
        self.browser.run("document.querySelector('main form button').focus(); 0")
        self.browser.key("Enter")
        self.browser.wait_text("waits for the gateway")
        self.assertEqual(self.cloud.get("/calldata/SN1").json["node"],
                         [{"startdt": "2024-03-05 07:00:00", "enddt": "2024-03-05 08:00:00"}])
        self.browser.wait_text("fetched by the gateway")
        self.cloud.send("DELETE", "/calldata/SN1",
                        recall_done("2024-03-05 07:00:00", "2024-03-05 08:00:00"))
        self.browser.wait("[...document.querySelectorAll('.badge')].some(one => one.innerText === 'reported done')")
        self.assertIn("0 samples of this range are here", self.browser.text())

    def test_a_recall_is_cancelled(self):
        self.fill()
        self.open("#/gateway/SN1/recalls")
        self.click("Cancel")
        self.browser.wait_text("Nothing was recalled yet")
        self.assertEqual(self.cloud.get("/calldata/SN1").text, '{"node":[]}')

    def test_a_file_is_offered_and_its_status_followed(self):
        self.cloud.post("/gateway", gateway())
        self.open("#/gateway/SN1/files")
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "my notes.txt")
            with open(path, "w") as file:
                file.write("content")
            self.browser.choose_file("main input[type=file]", path)
            self.browser.wait("document.querySelector('main input[maxlength]').value === 'my_notes.txt'")
            self.set_field("Type", "9")
            self.set_field("Directory on the gateway", "/opt/notes")
            self.click("Offer")
            self.browser.wait_text("offered")
            self.browser.wait_text("my_notes.txt")
        node = self.cloud.get("/downfile/SN1").json["node"][0]
        self.assertEqual((node["type"], node["path"]), ("9", "/opt/notes"))
        self.assertEqual(self.cloud.request("GET", "/" + node["file"]).body, b"content")
        self.cloud.send("PUT", "/downfile/SN1", file_status(node["md5"], 1))
        self.browser.wait_text("download begun")
        self.cloud.send("PUT", "/downfile/SN1", file_status(node["md5"], 2))
        self.browser.wait_text("reported done")

    def test_what_the_server_refuses_is_said(self):
        self.cloud.post("/gateway", gateway())
        self.open("#/gateway/SN1/recalls")
        self.set_field("From", "2024-03-05T09:00:00")
        self.set_field("To", "2024-03-05T08:00:00")
        self.browser.run("window.setTimeout = () => 0; 0")  # the message stays until it is looked for
        self.click("Ask for this range")
        self.browser.wait_text("in that order", "#messages")

    def test_the_trace_is_live_and_stays_open(self):
        self.open("#/trace")
        self.cloud.post("/realdata/SN1", real_data())
        self.browser.wait_text("3 stored, 0 known before")
        self.browser.run("document.querySelector('details').open = true; 0")
        self.cloud.post("/realdata/SN1", "{")
        self.browser.wait_text("no JSON")
        self.assertEqual(self.browser.run("document.querySelectorAll('details[open]').length"), 1)
        self.assertIn('"logdt":"2024-03-05 07:08:09"', self.browser.text())

    def test_the_trace_can_be_narrowed_and_paused(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/realdata/SN2", real_data())
        self.open("#/trace")
        self.browser.wait("document.querySelectorAll('details').length === 2")
        self.set_field("Show only", "sn2")
        self.browser.wait("document.querySelectorAll('details').length === 1")
        self.set_field("Show only", "")
        self.click("Pause")
        self.cloud.post("/realdata/SN3", real_data())
        before = self.browser.run("Number(document.body.dataset.refreshed)")
        self.browser.wait(f"document.body.dataset.refreshed > {before + 1}")
        self.assertNotIn("SN3", self.browser.text())
        self.click("Go on")
        self.browser.wait_text("SN3")

    def test_a_fault_is_set_and_cleared(self):
        self.open("#/faults")
        self.browser.wait_text("the server behaves")
        self.set_field("Fault", "status")
        self.set_field("Exchange", "realdata")
        self.set_field("HTTP status", "503")
        self.set_field("How often", "2")
        self.set_field("Serial number", "SN2")
        self.click("Set")
        self.browser.wait_text("SN2", "main table")
        fault = self.cloud.list("/faults")[0]
        self.assertEqual((fault["kind"], fault["exchange"], fault["sn"], fault["value"], fault["left"]),
                         ("status", "realdata", "SN2", 503, 2))
        self.browser.wait("document.querySelector('#fault-count').innerText === '1'")
        self.click("Clear")
        self.browser.wait_text("the server behaves")
        self.assertEqual(self.cloud.list("/faults"), [])

    def test_every_fault_of_the_menu_can_be_set(self):
        self.open("#/faults")
        for kind in self.cloud.list("/fault-kinds")["kinds"]:
            self.set_field("Fault", kind["name"])
            self.click("Set")
            self.browser.wait_text(kind["name"], "main table")
        self.assertEqual([fault["kind"] for fault in self.cloud.list("/faults")],
                         [kind["name"] for kind in self.cloud.list("/fault-kinds")["kinds"]])

    def test_texts_of_gateways_stay_texts(self):
        self.fill(name=NASTY)
        for view in VIEWS:
            with self.subTest(view=view):
                self.open(view)
                self.assertEqual(self.browser.run("document.querySelectorAll('main img, main script').length"), 0)
                self.assertFalse(self.browser.run("window.pwned === 1"))
        self.open("#/gateway/SN1/points")
        self.assertIn(NASTY, self.browser.text())

    def test_nothing_goes_wrong_and_nothing_foreign_is_asked_for(self):
        self.fill()
        for view in VIEWS:
            self.open(view)
            self.browser.wait_text("live", "#live")
        self.assertEqual(self.browser.problems, [])
        own = self.cloud.ready["page"]
        foreign = [url for url in self.browser.requested
                   if not url.startswith((own, "about:", "data:"))]  # data: Chromium's own icons
        self.assertEqual(foreign, [])

    def test_no_view_is_wider_than_a_phone(self):
        self.fill(name="A rather long name of a measured quantity, as they are found in practice")
        for width in (320, 390, 768):
            self.browser.size(width, 800, phone=True)
            for view in VIEWS:
                with self.subTest(width=width, view=view):
                    self.open(view)
                    self.assertLessEqual(
                        self.browser.run("document.documentElement.scrollWidth"), width)

    def test_everything_can_be_reached_by_keyboard(self):
        self.fill()
        for view in VIEWS:
            with self.subTest(view=view):
                self.open(view)
                wanted = self.browser.run("""document.querySelectorAll(
                    'a[href], button, input, select, summary, [tabindex="0"]').length
                    - document.querySelectorAll('[hidden] *:is(a, button, input, select)').length""")
                seen, idle = set(), 0
                while idle < 12:  # a date has several stops
                    self.browser.key("Tab")
                    stop = self.browser.run("""[...document.querySelectorAll('*')]
                        .indexOf(document.activeElement)""")
                    idle = idle + 1 if stop in seen else 0
                    seen.add(stop)
                reached = self.browser.run(f"""[...document.querySelectorAll('*')].filter((one, i) =>
                    {json.dumps(sorted(seen))}.includes(i) && one !== document.body
                    && one !== document.documentElement && one.id !== 'main').length""")
                self.assertEqual(reached, wanted)

    def test_the_focus_is_seen(self):
        self.open("#/gateways")
        self.browser.key("Tab")
        self.assertEqual(self.browser.run("document.activeElement.innerText"), "Skip to content")
        self.assertEqual(self.browser.run("document.activeElement.getBoundingClientRect().left"), 0)
        self.browser.key("Tab")
        self.assertIn("solid", self.browser.run("getComputedStyle(document.activeElement).outlineStyle"))

    def test_the_focus_survives_new_data(self):
        self.fill()
        self.open("#/gateway/SN1/points")
        self.browser.run("document.querySelector('[data-key=\"point 02010001\"]').focus(); 0")
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:10", "111.000"))
        self.browser.wait_text("111.000 V")
        self.assertEqual(self.browser.run("document.activeElement.dataset.key"), "point 02010001")

    def test_headings_go_down_one_step_at_a_time(self):
        self.fill()
        for view in VIEWS:
            with self.subTest(view=view):
                self.open(view)
                levels = self.browser.run(
                    "[...document.querySelectorAll('h1, h2, h3, h4')].map(one => +one.tagName[1])")
                self.assertEqual(levels.count(1), 1)
                self.assertTrue(all(after <= before + 1 for before, after in zip(levels, levels[1:])),
                                levels)

    def test_hints_in_empty_fields_have_contrast(self):
        self.fill()
        for scheme in ("light", "dark"):
            self.browser.scheme(scheme)
            self.open("#/faults")
            self.assertEqual(self.browser.run(
                "(() => { const field = document.querySelector('input[placeholder]');"
                " const hint = document.querySelector('.hint');"
                " return getComputedStyle(field, '::placeholder').color"
                " === getComputedStyle(hint).color; })()"), True)

    def test_texts_have_contrast_in_light_and_dark(self):
        self.fill()
        self.cloud.fault("any", "delay", value=0, count=9)
        grounds = set()
        for scheme in ("light", "dark"):
            self.browser.scheme(scheme)
            for view in VIEWS:
                with self.subTest(scheme=scheme, view=view):
                    self.open(view)
                    self.assertEqual(self.browser.run(CONTRAST), [])
            grounds.add(self.browser.run("getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(grounds), 2)

    def test_a_server_that_is_gone_is_noticed_and_found_again(self):
        self.open("#/gateways")
        self.browser.wait_text("live", "#live")
        self.browser.run("window.fetch = () => Promise.reject(new TypeError('gone')); 0")
        self.browser.wait_text("server not reached", "#live")


# Texts whose colour differs too little from what they stand on (WCAG AA: 4.5).
CONTRAST = """(() => {
    const parse = (text) => (text.match(/[\\d.]+/g) || []).map(Number);
    const light = ([r, g, b]) => { const part = (v) => (v /= 255) <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4;
        return 0.2126 * part(r) + 0.7152 * part(g) + 0.0722 * part(b); };
    const ground = (one) => { for (; one; one = one.parentElement) {
        const colour = parse(getComputedStyle(one).backgroundColor);
        if (colour.length === 3 || colour[3] === 1) return colour; } return [255, 255, 255]; };
    const poor = [];
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
        const one = walker.currentNode.parentElement;
        if (!walker.currentNode.data.trim() || !one.checkVisibility() || one.closest('svg, script, option')) continue;
        const a = light(parse(getComputedStyle(one).color)), b = light(ground(one));
        const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
        if (ratio < 4.5) poor.push([walker.currentNode.data.slice(0, 40), ratio]);
    }
    return poor; })()"""


if __name__ == "__main__":
    unittest.main()
