"""A private PostgreSQL with databases for tests of a cloud that keeps its data in one."""

import atexit
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../tools/demo"))

import postgres  # noqa: E402
from postgres import Missing  # noqa: E402,F401 pylint: disable=unused-import

PASSWORD = "sesame"
# Whoever was connected before has gone: what serves somebody ends only behind him.
ALONE = """DO $$ BEGIN
    FOR turn IN 1..6000 LOOP
        EXIT WHEN NOT EXISTS (SELECT FROM pg_stat_activity WHERE datname = current_database()
                              AND backend_type = 'client backend' AND pid <> pg_backend_pid());
        PERFORM pg_sleep(0.01), pg_stat_clear_snapshot();
    END LOOP;
END $$;"""
_shared = None


class Server(postgres.Server):
    """It is gone after close()."""

    def __init__(self):
        postgres.check()
        # Nothing of this outlives the test, so that nothing needs to reach the disk.
        super().__init__(tempfile.mkdtemp(prefix="corvenna-postgres-"), fsync="off",
                         max_connections=50)
        self.databases = 0
        self.unused = []
        password = os.path.join(self.folder, "password")
        with open(password, "w", encoding="ascii") as file:
            file.write(PASSWORD + "\n")
        self.make("--auth-local", "scram-sha-256", "--pwfile", password)
        self.start()

    def close(self):
        if self.is_running():
            self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)

    def address(self, database, user=postgres.USER, password=PASSWORD):
        # A cloud that only starts is not to fail because this machine stands still for a while.
        return f"postgresql://{user}:{password}@/{database}?host={self.folder}&connect_timeout=60"

    def session(self, database):
        """A psql that takes statements as they come and ends with the first that fails."""
        return subprocess.Popen([self.programs["psql"], "-X", "-A", "-t", "-q", "-v",
                                 "ON_ERROR_STOP=1", self.address(database)],
                                text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, env=self.environment)

    def tool(self, name, database, *options):
        """One of PostgreSQL's programs that are given a database."""
        subprocess.run([postgres.program(name), "--dbname", self.address(database), *options],
                       check=True)

    def wait_for(self, standby):
        """Commits wait for a standby of that name from soon on; of none, for nobody."""
        self.psql("postgres", f"ALTER SYSTEM SET synchronous_standby_names = '{standby}'")
        self.psql("postgres", "SELECT pg_reload_conf()")

    def new_database(self):
        """An empty one; those that were given back are emptied, which is quicker."""
        if self.unused:
            name = self.unused.pop()
            self.psql(name, ALONE + "DROP SCHEMA IF EXISTS corvenna CASCADE")
            return name
        self.databases += 1
        name = f"cloud{self.databases}"
        self.psql("postgres", f"CREATE DATABASE {name} TEMPLATE template0")
        return name

    def give_back(self, name):
        self.unused.append(name)


def shared():
    """The one server of this run of tests."""
    global _shared
    if _shared is None:
        _shared = Server()
        atexit.register(_shared.close)
    return _shared
