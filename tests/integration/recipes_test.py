"""The Yocto recipe and the Buildroot package are well formed and agree with CMakeLists.txt."""

import hashlib
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import kconfiglib

ROOT = pathlib.Path(__file__).resolve().parents[2]
YOCTO = ROOT / "packaging/yocto/meta-corvenna"
BUILDROOT = ROOT / "packaging/buildroot"
CMAKE = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
# A pkg-config module of CMakeLists.txt, and what brings it.
BRINGS = {
    "libxml-2.0": ("libxml2", "libxml2"),
    "libcurl": ("curl", "libcurl"),
    "sqlite3": ("sqlite3", "sqlite"),
    "zlib": ("zlib", "zlib"),
    "RapidJSON": ("rapidjson", "rapidjson"),
}


def version():
    return re.search(r"^project\(corvenna VERSION (\S+)", CMAKE, re.MULTILINE).group(1)


def modules():
    return re.findall(r"^pkg_check_modules\(\w+ REQUIRED IMPORTED_TARGET (\S+)\)", CMAKE, re.MULTILINE)


def brought_by(column):
    return sorted(BRINGS[module][column] for module in modules())


def options():
    return set(re.findall(r"^option\((\w+)", CMAKE, re.MULTILINE))


def lean(text):
    """What a build of the library alone switches off."""
    return sorted(re.findall(r"-D(\w+)=(\w+)", text))


LEAN = [("CORVENNA_BENCHMARKS", "OFF"), ("CORVENNA_TESTS", "OFF"), ("CORVENNA_TOOLS", "OFF")]
ASSIGNMENT = re.compile(
    r'([A-Za-z_][\w.${}-]*(?::[\w${}-]+)*)\s*(\?\?=|\?=|:=|\+=|=\+|\.=|=\.|=)\s*"([^"]*)"$')


def read_recipe(path):
    """The variables of a file of BitBake's, without their joining; all that it has is an assignment,
    a class or a comment."""
    found, classes, line = {}, [], ""
    for number, part in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        line += part
        if line.endswith("\\"):
            line = line[:-1]
            continue
        assignment = ASSIGNMENT.match(line)
        if assignment:
            found[assignment.group(1)] = assignment.group(3).strip()
        elif line.startswith("inherit "):
            classes += line.split()[1:]
        elif line and not line.startswith("#"):
            raise AssertionError(f"{path.name}:{number}: neither assignment nor class: {line}")
        line = ""
    if line:
        raise AssertionError(f"{path.name}: the last line goes on")
    return found, classes


class Project(unittest.TestCase):
    def test_each_module_is_brought_by_something(self):
        self.assertEqual(sorted(modules()), sorted(BRINGS))

    def test_what_a_lean_build_switches_off_exists(self):
        self.assertLessEqual({name for name, _ in LEAN}, options())

    def test_the_page_names_what_a_sysroot_needs(self):
        page = (ROOT / "docs/building.md").read_text(encoding="utf-8")
        for module in modules():
            self.assertIn(f"(`{module}.pc`)", page)
        minimum = re.search(r"cmake_minimum_required\(VERSION (\S+)\)", CMAKE).group(1)
        self.assertIn(f"| CMake | {minimum} or later |", page)
        for block in re.findall(r"(?:-D CORVENNA_\w+=\w+\s*)+", page):
            self.assertEqual(sorted(re.findall(r"-D (CORVENNA_\w+)=(\w+)", block)), LEAN)

    def test_the_page_for_hosts_names_each_exported_name(self):
        page = (ROOT / "docs/integration.md").read_text(encoding="utf-8")
        names = (ROOT / "cmake/exports.txt").read_text(encoding="utf-8").split()
        accessors = [name for name in names if name.endswith("Instance")]
        self.assertEqual(len(accessors), 9, "what the page calls one and eight more")
        for name in set(names) - set(accessors) - {"main"}:
            self.assertRegex(page, rf"`[^`]*\b{name}\b[^`]*`")


class Yocto(unittest.TestCase):
    def setUp(self):
        recipes = list(YOCTO.glob("recipes-*/*/*.bb"))
        self.assertEqual(len(recipes), 1)
        self.path = recipes[0]
        self.recipe, self.classes = read_recipe(self.path)

    def test_version(self):
        self.assertEqual(self.path.name, f"corvenna_{version()}.bb")

    def test_dependencies(self):
        self.assertEqual(sorted(self.recipe["DEPENDS"].split()), brought_by(0))

    def test_options(self):
        self.assertEqual(lean(self.recipe["EXTRA_OECMAKE"]), LEAN)

    def test_licence(self):
        licence, digest = re.fullmatch(r"file://(\w+);md5=(\w+)",
                                       self.recipe["LIC_FILES_CHKSUM"]).groups()
        self.assertEqual(hashlib.md5((ROOT / licence).read_bytes()).hexdigest(), digest)
        self.assertEqual(self.recipe["LICENSE"], "Apache-2.0")

    def test_source_is_the_archive_of_a_release(self):
        self.assertEqual(self.recipe["CORVENNA_SOURCE"], "file://corvenna-${PV}.tar.gz")
        self.assertIn("/corvenna-$version.tar.gz\n",
                      (ROOT / "cmake/source-archive").read_text(encoding="utf-8"))

    def test_classes_for_cmake_and_pkg_config(self):
        self.assertEqual(self.classes, ["cmake", "pkgconfig"])

    def test_the_library_without_a_version_is_not_for_development_alone(self):
        self.assertEqual((self.recipe["SOLIBS"], self.recipe["FILES_SOLIBSDEV"]), (".so", ""))

    def test_layer(self):
        layer, classes = read_recipe(YOCTO / "conf/layer.conf")
        self.assertEqual(classes, [])
        name = layer["BBFILE_COLLECTIONS"]
        for variable in ("BBFILE_PATTERN", "BBFILE_PRIORITY", "LAYERDEPENDS", "LAYERSERIES_COMPAT"):
            self.assertTrue(layer[f"{variable}_{name}"])
        pattern = layer["BBFILES"].replace("${LAYERDIR}/", "")
        self.assertIn(self.path, YOCTO.glob(pattern))


class Buildroot(unittest.TestCase):
    def kconfig(self, *switched_off):
        """The menu, in one in which all that it asks for is there but for these."""
        text = (BUILDROOT / "package/corvenna/Config.in").read_text(encoding="utf-8")
        symbols = sorted(set(re.findall(r"\bBR2_\w+", text)) - {"BR2_PACKAGE_CORVENNA"})
        with tempfile.TemporaryDirectory() as folder:
            top = pathlib.Path(folder) / "Config.in"
            rows = [f"config {symbol}\n\tbool \"{symbol}\"\n" for symbol in symbols]
            top.write_text("\n".join(rows) + f'\nsource "{BUILDROOT}/Config.in"\n', encoding="utf-8")
            os.environ["BR2_EXTERNAL_CORVENNA_PATH"] = str(BUILDROOT)
            menu = kconfiglib.Kconfig(str(top), warn_to_stderr=False)
        self.assertEqual(menu.warnings, [])
        for symbol in symbols:
            if not symbol.startswith("BR2_PACKAGE_"):
                menu.syms[symbol].set_value("n" if symbol in switched_off else "y")
        return menu

    def make(self, *variables):
        """What make finds in the package's file."""
        text = "cmake-package :=\ninclude $(BR2_EXTERNAL_CORVENNA_PATH)/external.mk\nall:\n"
        text += "".join(f"\t@echo '$({name})'\n" for name in variables)
        done = subprocess.run(["make", "--warn-undefined-variables", "-f", "-"], input=text,
                              capture_output=True, text=True, check=False,
                              env={**os.environ, "BR2_EXTERNAL_CORVENNA_PATH": str(BUILDROOT)})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.splitlines()

    def test_the_menu_offers_it_and_selects_its_libraries(self):
        menu = self.kconfig("BR2_STATIC_LIBS")
        package = menu.syms["BR2_PACKAGE_CORVENNA"]
        self.assertTrue(package.set_value("y"))
        self.assertEqual(package.str_value, "y")
        for name in [*brought_by(1), "openssl"]:
            self.assertEqual(menu.syms[f"BR2_PACKAGE_{name.upper()}"].str_value, "y", name)

    def test_without_what_it_needs_the_menu_says_so(self):
        for missing in ("BR2_INSTALL_LIBSTDCPP", "BR2_TOOLCHAIN_USES_GLIBC",
                        "BR2_TOOLCHAIN_HAS_THREADS", "BR2_TOOLCHAIN_GCC_AT_LEAST_12", ""):
            off = ["BR2_STATIC_LIBS", missing] if missing else []
            menu = self.kconfig(*off)
            package = menu.syms["BR2_PACKAGE_CORVENNA"]
            package.set_value("y")
            self.assertEqual(package.str_value, "n", missing)
            comments = [node for node in menu.node_iter() if node.item == kconfiglib.COMMENT]
            self.assertEqual([kconfiglib.expr_value(node.dep) for node in comments], [2], missing)

    def test_version_and_dependencies(self):
        found, dependencies = self.make("CORVENNA_VERSION", "CORVENNA_DEPENDENCIES")
        self.assertEqual(found, version())
        self.assertEqual(sorted(dependencies.split()),
                         sorted([*brought_by(1), "host-pkgconf", "openssl"]))

    def test_options(self):
        self.assertEqual(lean(self.make("CORVENNA_CONF_OPTS")[0]), LEAN)

    def test_source_and_licence(self):
        site, licence = self.make("CORVENNA_SITE", "CORVENNA_LICENSE_FILES")
        self.assertEqual(pathlib.Path(site).resolve(), ROOT)
        self.assertTrue((ROOT / licence).is_file())

    def test_the_name_that_variables_have(self):
        description = dict(line.split(": ", 1) for line in (BUILDROOT / "external.desc").read_text(
            encoding="utf-8").splitlines())
        self.assertEqual(description["name"], "CORVENNA")


if __name__ == "__main__":
    unittest.main()
