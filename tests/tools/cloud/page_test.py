"""What the web page is made of."""

import re
import unittest

from cloud_server import CloudTest

SCRIPTS = ["app", "home", "gateways", "gateway", "point", "chart", "alarms", "recalls", "files",
           "trace", "faults", "live", "parts"]
FILES = {
    "/": "text/html; charset=UTF-8",
    **{f"/{name}.js": "text/javascript; charset=UTF-8" for name in SCRIPTS + ["dygraph.min"]},
    "/dygraph.min.css": "text/css; charset=UTF-8",
    "/style.css": "text/css; charset=UTF-8",
    "/icon.svg": "image/svg+xml",
}


class Files(CloudTest):
    def fetch(self, path):
        return self.cloud.request("GET", path, scheme="admin")

    def test_come_from_the_program(self):
        for path, content_type in FILES.items():
            answer = self.fetch(path)
            self.assertEqual((answer.status, answer.headers["Content-Type"]), (200, content_type))

    def test_name_nothing_outside(self):
        for path in FILES:
            text = re.sub(r"/\*! @license .*?\*/", "", self.fetch(path).text)
            found = re.findall(r"""(?:https?:)?//[\w.-]+\.\w+[^\s"'<>)]*""", text)
            self.assertEqual([one for one in found if "www.w3.org/" not in one], [], path)

    def test_have_nothing_inline(self):
        page = self.fetch("/").text
        self.assertEqual(re.findall(r"<script(?! src=)|<style|\sstyle=|\son\w+=", page), [])

    def test_the_scripts_make_no_markup_from_texts(self):
        script = "".join(self.fetch(f"/{name}.js").text for name in SCRIPTS)
        for name in ("innerHTML", "outerHTML", "insertAdjacentHTML", "document.write", "eval(",
                     "new Function", "srcdoc", "DOMParser"):
            self.assertNotIn(name, script)


if __name__ == "__main__":
    unittest.main()
