"""What tests/mutate makes of a line, what it leaves alone, and the list of equivalent mutants."""

import pathlib
import unittest

from known import read_blocks
from operators import mutants_of
from source import read_lines

PROJECT = pathlib.Path(__file__).resolve().parents[2]


def changes(text, path="log/x.cpp"):
    return {mutant.new.strip() for mutant in mutants_of(path, text)}


class Operators(unittest.TestCase):
    def test_comparisons_move_their_limit_or_turn_round(self):
        self.assertLessEqual({"a = b <= 3;", "a = b >= 3;"}, changes("    a = b < 3;"))
        self.assertIn("a = b != 3;", changes("    a = b == 3;"))

    def test_numbers_become_their_neighbours_in_their_own_spelling(self):
        self.assertLessEqual({"f(9);", "f(11);"}, changes("    f(10);"))
        self.assertLessEqual({"f(0401);", "f(0377);"}, changes("    f(0400);"))
        self.assertNotIn("f(-1);", changes("    f(0);"))
        self.assertEqual({";"}, changes("    f(-1);"))

    def test_conditions_are_negated_and_never_met(self):
        self.assertLessEqual({"if (!(a && b)) {", "if (false) {"}, changes("    if (a && b) {"))

    def test_conditions_that_declare_stay(self):
        self.assertEqual(set(), changes("    if (const char *at = Find(text)) {"))

    def test_statements_and_guards_are_dropped(self):
        self.assertIn(";", changes("    queue_.Clear();"))
        self.assertIn(";", changes("    const XmlGuard guard;"))

    def test_declarations_stay(self):
        self.assertNotIn(";", changes("    const int length = Length(text);"))
        self.assertNotIn(";", changes("    return Length(text);"))

    def test_results_are_replaced(self):
        self.assertIn("return -1;", changes("    return 0;"))
        self.assertIn("return false;", changes("    return true;"))
        self.assertIn("return {};", changes("    return Length(text);"))

    def test_texts_get_another_letter_but_conversions_stay(self):
        self.assertIn('f("abdd %s");', changes('    f("abcd %s");'))
        self.assertEqual(set(), {new for new in changes('    f("%zu");') if "%zu" not in new and new != ";"})

    def test_comments_texts_and_directives_hold_no_code(self):
        self.assertEqual(set(), changes("// a < 3\n#define A (b < 3)\n/* return 0; */"))
        self.assertEqual(set(), {new for new in changes('    f("a < 3");') if "<=" in new})

    def test_declared_sizes_of_headers_stay(self):
        self.assertEqual(set(), changes("constexpr int kMost = 3;", "log/x.h"))
        self.assertIn("constexpr int kMost = 4;", changes("constexpr int kMost = 3;"))

    def test_lines_keep_their_numbers(self):
        mutant = mutants_of("log/x.cpp", "// first\n\n    ++count;")[0]
        self.assertEqual((3, "    ++count;"), (mutant.number, mutant.old))


class Lines(unittest.TestCase):
    def test_a_digit_separator_begins_no_text(self):
        self.assertEqual("a = 1'000 < b;", read_lines("a = 1'000 < b;")[0].code)


class Blocks(unittest.TestCase):
    def test_hold_path_lines_and_reason(self):
        self.assertEqual([("log/x.cpp", "a;", "b;", "Why so.")],
                         read_blocks("# Why\n# so.\nlog/x.cpp:7\n-    a;\n+    b;\n"))

    def test_a_reason_and_a_path_may_serve_several_changes(self):
        self.assertEqual([("log/x.cpp", "a;", "b;", "Why."), ("log/x.cpp", "a;", "c;", "Why.")],
                         read_blocks("# Why.\nlog/x.cpp\n-a;\n+b;\n-a;\n+c;\n"))

    def test_a_change_without_an_old_line_is_refused(self):
        with self.assertRaises(ValueError):
            read_blocks("log/x.cpp\n+b;\n")


class EquivalentMutants(unittest.TestCase):
    def test_have_a_reason_each(self):
        for path, old, new, reason in read_blocks((PROJECT / "tests/mutants.txt").read_text()):
            with self.subTest(path=path, old=old, new=new):
                self.assertTrue(reason)


if __name__ == "__main__":
    unittest.main()
