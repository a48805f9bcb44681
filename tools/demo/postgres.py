"""PostgreSQL servers of one's own: each in a folder, on a Unix socket there, for nobody else."""

import glob
import os
import pwd
import select
import shutil
import signal
import subprocess
import time

import plant

START_SECONDS = 180
USER = "corvenna"
PROGRAMS = ("initdb", "pg_basebackup", "postgres", "psql")


class Missing(Exception):
    """What a machine lacks for it."""


def program(name):
    found = sorted(glob.glob(f"/usr/lib/postgresql/*/bin/{name}"))
    if not found:
        raise Missing(f"no PostgreSQL on this machine: {name} is missing (Debian: postgresql-15)")
    return found[-1]


def as_somebody():
    """PostgreSQL does not run for root. What goes before its commands then."""
    if os.geteuid() != 0:
        return []
    somebody = pwd.getpwnam("nobody")
    command = ["setpriv", f"--reuid={somebody.pw_uid}", f"--regid={somebody.pw_gid}",
               "--clear-groups"]
    if shutil.which("setpriv") is None or subprocess.run(
            command + ["true"], capture_output=True, check=False).returncode != 0:
        raise Missing("no PostgreSQL for this root: setpriv cannot become another user")
    return command


def check():
    """Throws Missing where no server can run."""
    as_somebody()
    for name in PROGRAMS:
        program(name)


class Server(plant.Process):
    """One server. `settings` are those of its configuration file."""

    END = signal.SIGINT  # at once, but in order; SIGQUIT ends it as a crash does

    def __init__(self, folder, **settings):
        self.folder = folder
        self.settings = {"listen_addresses": "", "unix_socket_directories": folder,
                         "dynamic_shared_memory_type": "mmap", **settings}
        self.before = as_somebody()
        self.programs = {name: program(name) for name in PROGRAMS}
        self.environment = {**os.environ, "PGOPTIONS": "-c search_path=corvenna,public"}
        super().__init__([self.programs["postgres"], "-D", self.data], os.path.join(folder, "log"))
        os.makedirs(folder, mode=0o700, exist_ok=True)
        if self.before:
            os.chown(folder, pwd.getpwnam("nobody").pw_uid, -1)

    @property
    def data(self):
        return os.path.join(self.folder, "data")

    def run(self, name, *options):
        ran = subprocess.run([*self.before, self.programs[name], *options], capture_output=True,
                             text=True, cwd=self.folder, check=False)
        assert ran.returncode == 0, ran.stderr

    def make(self, *options):
        """An empty one; `options` are initdb's."""
        self.run("initdb", "--pgdata", self.data, "--username", USER, "--no-sync",
                 "--encoding", "UTF8", "--locale", "C", *options)
        self.configure()

    def copy(self, other):
        """A standby of another one, which runs."""
        self.run("pg_basebackup", "--pgdata", self.data, "--host", other.folder, "--username", USER,
                 "--checkpoint", "fast", "--write-recovery-conf", "--no-sync")
        self.configure()

    def configure(self):
        """What stands last in the file counts."""
        with open(os.path.join(self.data, "postgresql.conf"), "a", encoding="utf-8") as file:
            file.writelines(f"{name} = '{value}'\n" for name, value in self.settings.items())

    def start(self):
        super().start(cwd=self.folder)
        deadline = time.monotonic() + START_SECONDS
        while self.psql("postgres", "SELECT 1", check=False) != [("1",)]:
            assert self.process.poll() is None, self.last_words(5)
            assert time.monotonic() < deadline, "PostgreSQL did not start"
            time.sleep(0.05)

    def stop(self, number=END):
        self.process.send_signal(number)
        self.process.wait(timeout=START_SECONDS)

    def kill(self):
        """As a loss of power does: nothing of it goes on for a moment, or is left afterwards."""
        number = self.process.pid
        self.process.send_signal(signal.SIGSTOP)  # it has no more children from here on
        os.waitpid(number, os.WUNTRACED)
        with open(f"/proc/{number}/task/{number}/children", encoding="ascii") as children:
            others = [os.pidfd_open(int(child)) for child in children.read().split()]
        for process in others:
            signal.pidfd_send_signal(process, signal.SIGKILL)
        self.process.kill()
        self.process.wait(timeout=START_SECONDS)
        for process in others:
            select.select([process], [], [], START_SECONDS)
            os.close(process)
        # What the system keeps of a server that cannot tidy up.
        with open(os.path.join(self.data, "postmaster.pid"), encoding="utf-8") as file:
            segment = file.read().splitlines()[6].split()[1]
        subprocess.run(["ipcrm", "-m", segment], check=False, stderr=subprocess.DEVNULL)

    def address(self, database):
        return f"postgresql://{USER}@/{database}?host={self.folder}"

    def psql(self, database, statement, check=True):
        """The rows of a statement, as texts."""
        ran = subprocess.run([self.programs["psql"], "-X", "-A", "-t", "-q", "-F", "\x1f", "-v",
                              "ON_ERROR_STOP=1", "-c", statement, self.address(database)],
                             capture_output=True, text=True, check=False,
                             env=self.environment)
        assert not check or ran.returncode == 0, ran.stderr
        return [tuple(line.split("\x1f")) for line in ran.stdout.splitlines()]
