"""A build of a private copy of the project, and test programs linked with a changed source.

The copy is built once and stays as it is: a changed file is compiled beside it, and each test
program that is asked for is linked beside it too, with the changed objects before the library's.
"""

import json
import os
import pathlib
import shlex
import shutil
import subprocess

from source import FOLDERS

CONFIGURE = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DCORVENNA_BENCHMARKS=OFF",
             "-DCORVENNA_TOOLS=OFF", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
# Quick to compile, and a mutant may leave something unused.
MUTANT_FLAGS = ["-w", "-O0", "-U_FORTIFY_SOURCE"]
LIBRARY = "libcorvenna_core.a"


def run(command, folder):
    result = subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, check=False)
    return result.returncode, result.stdout


def required(command, folder):
    code, output = run(command, folder)
    if code != 0:
        raise SystemExit(f"mutate: {' '.join(command[:4])} failed\n{output[-3000:]}")
    return output


def copy_sources(project, copy):
    """The files that git knows; those that are the same keep their times."""
    names = required(["git", "ls-files", "-z"], project).split("\0")
    for name in filter(None, names):
        here, there = project / name, copy / name
        if not here.is_file():
            continue
        if not there.exists() or here.read_bytes() != there.read_bytes():
            there.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(here, there)


class Build:
    def __init__(self, project, work):
        self.copy = work / "copy"
        # Where the presets build too, so that ccache knows the files.
        self.folder = self.copy / "build" / "mutants"
        self.changed = work / "changed"
        self.copy.mkdir(parents=True, exist_ok=True)
        copy_sources(project, self.copy)
        required(["cmake", "-S", str(self.copy), "-B", str(self.folder)] + CONFIGURE, work)
        required(["ninja", "-j2"] + self._programs(), self.folder)
        self.compilations = self._compilations()
        self.dependencies = self._dependencies()
        self.links = {}

    def _programs(self):
        """The test programs, but for the proofs."""
        targets = required(["ninja", "-t", "targets", "all"], self.folder).split("\n")
        names = [name for name, _, rule in (line.partition(": ") for line in targets)
                 if "EXECUTABLE_LINKER" in rule]
        return [name for name in names
                if name.startswith("tests/") and not name.startswith("tests/proof/")]

    def _compilations(self):
        """The command that makes each object."""
        entries = json.loads((self.folder / "compile_commands.json").read_text())
        commands = {}
        for entry in entries:
            words = shlex.split(entry["command"])
            commands[words[words.index("-o") + 1]] = words
        return commands

    def _dependencies(self):
        """The files of the project that each object is made from."""
        found = {}
        for line in required(["ninja", "-t", "deps"], self.folder).split("\n"):
            if line and not line.startswith(" "):
                files = found.setdefault(line.split(": #")[0], set())
            elif line.strip():
                path = os.path.normpath(self.folder / line.strip())
                if path.startswith(f"{self.copy}/"):
                    files.add(os.path.relpath(path, self.copy))
        return found

    def objects_of(self, path, kind):
        """The objects, whose name begins so, that a source file is part of."""
        return sorted(name for name, files in self.dependencies.items()
                      if path in files and name.startswith(kind) and name in self.compilations)

    def link_command(self, program):
        if program not in self.links:
            commands = required(["ninja", "-t", "commands", program], self.folder).split("\n")
            self.links[program] = shlex.split([line for line in commands if line][-1])
        return self.links[program]


class NotCompiling(Exception):
    pass


class Changed:
    """One changed source file, and what has been made with it so far."""

    def __init__(self, build, path, text):
        self.build = build
        self.path = path
        self.objects = {}
        shutil.rmtree(build.changed, ignore_errors=True)
        source = build.changed / "source" / path
        source.parent.mkdir(parents=True)
        source.write_text(text)
        # What includes a file by a quoted name looks beside itself first, then along the path.
        self.include = f"-I{build.changed / 'source'}"

    def program(self, program):
        """Links a test program with the change. @return its path."""
        folder = pathlib.PurePath(program).parts[1]
        below = FOLDERS[:FOLDERS.index(folder) + 1] if folder in FOLDERS else FOLDERS
        library = [name for name in self.build.objects_of(self.path, "CMakeFiles/corvenna_objects.dir")
                   if name.split("/")[2] in below]
        made = [self._object(name) for name in library]
        words = []
        for word in self.build.link_command(program):
            if word in self.build.dependencies and self.path in self.build.dependencies[word]:
                word = self._object(word)
            words.append(word)
        linked = self.build.changed / program
        linked.parent.mkdir(parents=True, exist_ok=True)
        words[words.index("-o") + 1] = str(linked)
        words[words.index(LIBRARY):words.index(LIBRARY)] = made
        command = " ".join(word if word in (":", "&&") else shlex.quote(word) for word in words)
        code, output = run(["sh", "-c", command], self.build.folder)
        if code != 0:
            raise NotCompiling(output)
        return linked

    def _object(self, name):
        if name not in self.objects:
            made = self.build.changed / "objects" / name
            made.parent.mkdir(parents=True, exist_ok=True)
            words = list(self.build.compilations[name])
            words[words.index("-o") + 1] = str(made)
            source = self.build.copy / self.path
            words = [str(self.build.changed / "source" / self.path) if word == str(source) else word
                     for word in words]
            code, output = run(words[:1] + [self.include] + words[1:] + MUTANT_FLAGS,
                               self.build.folder)
            if code != 0:
                raise NotCompiling(output)
            self.objects[name] = str(made)
        return self.objects[name]
