"""The web page in headless Chromium."""

import json
import os
import tempfile
import unittest

from browser import Browser, find_chromium
from cloud_server import (CloudTest, alarm_data, devices, file_status, gateway, real_data,
                          recall_done)

VIEWS = ["#/gateways", "#/gateway/SN1/points", "#/gateway/SN1/point/02010001",
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
        self.assertEqual(self.browser.run(
            "document.querySelector('.course').getAttribute('d').match(/[ML]/g).length"), 30)
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
        self.browser.wait("document.querySelector('.course') !== null")
        self.browser.go("#/gateway/SN2/point/02010001")
        self.browser.wait_text("No numbers to draw")
        self.assertEqual(self.browser.problems, [])

    def test_alarms_are_listed(self):
        self.fill()
        self.open("#/gateway/SN1/alarms")
        text = self.browser.text()
        for part in ("2024-03-05 07:08:09", "Ua", "253.100 V", "250.000 V", "-1, 1"):
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
        self.browser.wait("[...document.querySelectorAll('.badge')].some(one => one.innerText === 'served')")

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
        self.browser.wait_text("done")

    def test_what_the_server_refuses_is_said(self):
        self.cloud.post("/gateway", gateway())
        self.open("#/gateway/SN1/recalls")
        self.set_field("From", "2024-03-05T09:00:00")
        self.set_field("To", "2024-03-05T08:00:00")
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
        self.click("Set")
        self.browser.wait_text("realdata", "main table")
        fault = self.cloud.list("/faults")[0]
        self.assertEqual((fault["kind"], fault["value"], fault["left"]), ("status", 503, 2))
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
