"""examples/toolchain/check-library: whether a library will be loaded where a sysroot is the root."""

import os
import pathlib
import subprocess
import tempfile
import unittest

PROGRAM = pathlib.Path(__file__).resolve().parents[2] / "examples/toolchain/check-library"
LIBRARY = pathlib.Path(os.environ["CORVENNA_BUILD"]) / "libcorvenna.so"
C_COMPILER = os.environ["CORVENNA_CC"]


class CheckLibrary(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.sysroot = self.folder / "root"
        (self.sysroot / "usr/lib").mkdir(parents=True)

    def needed(self):
        """Every library that the plug-in needs, and the file that this machine has of it."""
        said = subprocess.run(["ldd", str(LIBRARY)], capture_output=True, text=True, check=True).stdout
        rows = [line.split() for line in said.splitlines()]
        return {pathlib.Path(row[0]).name: row[-2] for row in rows if row[-2].startswith("/")}

    def install(self, *left_out):
        for name, path in self.needed().items():
            if name not in left_out:
                (self.sysroot / "usr/lib" / name).symlink_to(path)

    def build(self, name, *flags, source="int gFound;\n"):
        text = self.folder / f"{name}.c"
        text.write_text(source, encoding="utf-8")
        built = self.folder / name
        subprocess.run([C_COMPILER, "-shared", "-fPIC", str(text), "-o", str(built), *flags],
                       check=True)
        return built

    def check(self, library=LIBRARY):
        done = subprocess.run([str(PROGRAM), str(library), str(self.sysroot)], capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def test_a_sysroot_that_has_all(self):
        self.install()
        status, said = self.check()
        self.assertEqual(status, 0, said)
        self.assertIn("libcurl.so.4: /usr/lib/libcurl.so.4", said)

    def test_a_library_that_is_missing(self):
        self.install("libcurl.so.4")
        status, said = self.check()
        self.assertEqual(status, 1)
        self.assertIn("libcurl.so.4: not in the sysroot", said)

    def test_a_library_that_is_too_old(self):
        self.install("libxml2.so.2")
        self.build("old", "-Wl,-soname,libxml2.so.2").rename(self.sysroot / "usr/lib/libxml2.so.2")
        status, said = self.check()
        self.assertEqual(status, 1)
        self.assertIn("libxml2.so.2: the sysroot's has no LIBXML2_2.", said)

    def test_no_c_library(self):
        self.install("libc.so.6")
        status, said = self.check()
        self.assertEqual(status, 1)
        self.assertIn("the sysroot has no C library", said)

    def test_another_machine(self):
        self.install("libc.so.6")
        other = bytearray(pathlib.Path(self.needed()["libc.so.6"]).read_bytes())
        other[18:20] = (40).to_bytes(2, "little")  # EM_ARM
        (self.sysroot / "usr/lib/libc.so.6").write_bytes(other)
        status, said = self.check()
        self.assertEqual(status, 1)
        self.assertRegex(said, "built for .*; the sysroot is .*ARM")

    def test_a_folder_of_the_build_machine(self):
        self.install()
        status, said = self.check(self.build("with_path", "-Wl,-rpath,/home/builder/lib"))
        self.assertEqual(status, 1)
        self.assertIn("RPATH", said)


if __name__ == "__main__":
    unittest.main()
