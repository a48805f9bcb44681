"""What the tests of rules find, in small trees made for it."""

import pathlib
import tempfile
import unittest

import behaviour_tags
import behaviour_tests
import included_files
import includes
import log_messages


class Rule(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, path, text):
        path = self.root / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def found(self):
        return "\n".join(self.rule.violations(self.root))


class Includes(Rule):
    rule = includes

    def test_downwards_and_beside_is_good(self):
        self.write("plugin/plugin.cpp", '#include <string>\n#include "plugin/cloud.h"\n')
        self.write("plugin/cloud.h", '#include "http/http.h"\n')
        self.write("http/http.h", '#include "config/sys_set.h"\n')
        self.assertEqual(self.found(), "")

    def test_a_folder_above_is_named(self):
        self.write("log/log.cpp", '#include "config/sys_set.h"\n')
        self.assertIn("log/log.cpp includes config/sys_set.h: log/ may include base/", self.found())

    def test_neighbours_never_meet(self):
        for one, other in (("http", "message"), ("message", "packfile"), ("packfile", "http")):
            self.write(f"{one}/a.h", f'#include "{other}/b.h"\n')
            self.assertIn(f"{one}/a.h includes {other}/b.h", self.found())

    def test_what_only_tests_and_programs_have_stays_out(self):
        for folder in ("tests", "tools", "bench"):
            self.write("plugin/a.cpp", f'#  include "{folder}/b.h"\n')
            self.assertIn(f"plugin/a.cpp includes {folder}/b.h", self.found())

    def test_folders_of_the_cloud_have_their_order(self):
        self.write("tools/cloud/main.cpp", '#include "tools/cloud/admin/admin_site.h"\n')
        self.write("tools/cloud/store/a.cpp", '#include "tools/common/b.h"\n#include "base/c.h"\n'
                   '#include "tools/cloud/document/d.h"\n')
        self.assertEqual(self.found(), "")
        for header in ("http/a.h", "admin/a.h", "options.h"):
            self.write("tools/cloud/store/a.cpp", f'#include "tools/cloud/{header}"\n')
            self.assertIn(f"tools/cloud/store/a.cpp includes tools/cloud/{header}", self.found())

    def test_a_circle_goes_through_sources_and_headers(self):
        self.write("base/a.h", "")
        self.write("base/a.cpp", '#include "base/a.h"\n#include "base/b.h"\n')
        self.write("base/b.h", '#include "base/c.h"\n')
        self.write("base/c.cpp", '#include "base/a.h"\n')
        self.assertIn("in a circle: base/a, base/b, base/c", self.found())


class BehaviourTests(Rule):
    rule = behaviour_tests

    def setUp(self):
        super().setUp()
        self.write("tests/log/a_test.cpp", "TEST_F(Log, IsCut) {\nTEST_P(Log,\n       IsCounted) {\n")
        self.write("tests/tools/b_test.py", "class Page(Case):\n    def test_opens(self):\n")
        self.write("tests/CMakeLists.txt", "add_test(NAME cloud/${suite}\n")

    def names(self, cell):
        self.write("docs/behaviour/log.md", f"| behaviour | test |\n|---|---|\n| `It` is | {cell} |\n")
        return self.found()

    def test_names_that_exist(self):
        self.assertEqual(self.names("`Log.IsCut`, `...IsCounted`*, `Log.Is...` (`Elsewhere.*`), `Log`"),
                         "")
        self.assertEqual(self.names("`Page.test_opens`, `b_test.Page`, `cloud/page`"), "")

    def test_names_that_do_not(self):
        for name in ("Log.IsCutt", "Log.Cut...", "Lag.*", "Page.test_closes", "shroud/page"):
            self.assertEqual(self.names(f"`Log.IsCut`, `{name}`"),
                             f"docs/behaviour/log.md:3: there is no test {name}")


class BehaviourTags(Rule):
    rule = behaviour_tags

    def of(self, code, *rows):
        self.write("log/log.cpp", code)
        self.write("docs/behaviour/log.md", "\n".join(f"| {row} | `A.B` |" for row in rows) + "\n")
        return self.found()

    def test_a_tag_with_its_row(self):
        code = "int Log::Cut(int a) {\n    if (a) {\n        // Ours: at\n        // once.\n    }\n}\n"
        self.assertEqual(self.of(code, "Ours, `Log::Cut`: at once"), "")

    def test_a_tag_without_a_row(self):
        self.assertIn("log/log.cpp:1: 1 \"On purpose\" in Cut, 0 in docs/behaviour/log.md",
                      self.of("// On purpose: odd.\nint Cut();\n", "Ours, `Cut`: odd"))

    def test_two_tags_and_one_row(self):
        code = "void Cut() {\n    a();  // Ours: a.\n    b();  // Ours: b.\n}\n"
        self.assertIn("log/log.cpp:2, log/log.cpp:3: 2 \"Ours\" in Cut, 1 in",
                      self.of(code, "Ours, `Cut`: a"))

    def test_a_row_without_a_tag(self):
        self.assertIn("docs/behaviour/log.md:1: no \"Ours:\" in Cut", self.of("", "Ours, `Cut`: a"))

    def test_a_row_without_a_name(self):
        self.assertIn("docs/behaviour/log.md:1: the row does not name", self.of("", "Ours: a"))

    def test_names_of_all_kinds_of_places(self):
        for code, name in (
                ("constexpr Row kRows[] = {\n    {1},  // Ours: x\n};\n", "kRows"),
                ("/// Ours: x\nconstexpr Row kRow{1};\n", "kRow"),
                ("class Log {\n    // Ours: x\n    int a_;\n};\n", "Log::a_"),
                ("class Log {\n    int Cut() {\n        // Ours: x\n    }\n};\n", "Log::Cut"),
                ("Log::Log(int a) : a_(a) {\n    // Ours: x\n}\n", "Log::Log"),
                ("// Ours: x\ntemplate <class T>\nstruct Queue {};\n", "Queue"),
                ("namespace a {\nvoid f() { g([] {\n    // Ours: x\n}); }\n}\n", "f"),
                ("std::mutex gLock;  // Ours: x\n", "gLock")):
            self.assertEqual(self.of(code, f"Ours, `{name}`: x"), "", code)


class IncludedFiles(Rule):
    rule = included_files

    def setUp(self):
        super().setUp()
        self.write("examples/a.c", "int a;\n")

    def of(self, path, content):
        self.write("docs/a.md", f"A file:\n\n<!-- whole: {path} -->\n```c\n{content}```\n")
        return self.found()

    def test_the_same(self):
        self.assertEqual(self.of("examples/a.c", "int a;\n"), "")

    def test_another_content_and_its_cure(self):
        self.assertIn("docs/a.md: the block is not examples/a.c", self.of("examples/a.c", "int b;\n"))
        included_files.write(self.root)
        self.assertEqual(self.found(), "")

    def test_no_file(self):
        self.assertEqual(self.of("examples/b.c", ""), "docs/a.md: there is no examples/b.c")

    def test_no_block(self):
        self.write("docs/a.md", "<!-- whole: examples/a.c -->\nint a;\n")
        self.assertIn("has no block behind it", self.found())


class LogMessages(Rule):
    rule = log_messages

    def of(self, code, *rows, path="plugin/a.cpp"):
        self.write(path, code)
        self.write("docs/troubleshooting.md", "".join(f"| {row} | means | do |\n" for row in rows))
        return self.found()

    def test_a_message_with_its_row(self):
        self.assertEqual(self.of('log_Text(kLogInfo, "on %d", a);\n', "`on %d` | INFO | text"), "")
        self.assertEqual(self.of('log_DB(kLogWarn,\n    // why\n    "on");\n',
                                 "`on` | WARN | database"), "")

    def test_a_message_without_a_row(self):
        self.assertEqual(self.of('log_Text(kLogInfo, "on");\n'),
                         "plugin/a.cpp: no row in docs/troubleshooting.md for `on` | INFO | text")

    def test_a_row_without_a_message(self):
        self.assertEqual(self.of("", "`on` | INFO | text"),
                         "docs/troubleshooting.md:1: the library has no message `on` | INFO | text")

    def test_another_text_level_or_sink(self):
        for row in ("`on ` | INFO | text", "`on` | WARN | text", "`on` | INFO | database"):
            found = self.of('log_Text(kLogInfo, "on");\n', row)
            self.assertIn("no row in", found)
            self.assertIn("has no message", found)

    def test_a_row_without_advice(self):
        self.write("docs/troubleshooting.md", "| `on` | INFO | text | means | |\n| `off` |\n")
        self.assertIn("troubleshooting.md:1: not text, level", self.found())
        self.assertIn("troubleshooting.md:2: not text, level", self.found())

    def test_a_second_row(self):
        row = "`on` | INFO | text"
        self.assertIn("docs/troubleshooting.md:2: a second row",
                      self.of('log_Text(kLogInfo, "on");\n', row, row))

    def test_a_text_in_pieces_is_one(self):
        self.assertEqual(self.of('log_Text(kLogInfo, "a \\"b\\" "\n  "c\\n", d);\n',
                                 '`a \\"b\\" c\\n` | INFO | text'), "")

    def test_a_text_with_a_name(self):
        self.assertEqual(self.of('constexpr char kOn[] = "on";\nlog_Text(kLogInfo, kOn);\n',
                                 "`on` | INFO | text"), "")

    def test_texts_of_a_table(self):
        self.write("config/b.cpp", 'constexpr RootRule kRoot = {\n "r", "one", "two", "three",\n};\n')
        self.assertEqual(self.of('log_Text(kLogError, "%s", rule.missing);\nlog_Text(kLogError, "%s", '
                                 'root == nullptr ? rule.empty : rule.wrongRoot);\n',
                                 *(f"`{text}` | ERROR | text" for text in ("one", "two", "three"))), "")

    def test_a_text_from_elsewhere_is_found_out(self):
        for argument in ('"%s", text', "text", '"%s", rule.missing'):
            self.assertIn("stands where", self.of(f"log_Text(kLogError, {argument});\n"))

    def test_a_level_that_is_no_name_is_found_out(self):
        self.assertIn("is not understood", self.of('log_Text(5, "on");\n'))

    def test_what_is_printed(self):
        code = 'std::printf("on\\n");\n'
        self.assertEqual(self.of(code, "`on\\n` |  | standard output"), "")
        self.assertIn("no row in", self.of(code))
        self.write("plugin/a.cpp", "")
        self.assertEqual(self.of(code, path="plugin/main.cpp"), "")


if __name__ == "__main__":
    unittest.main()
