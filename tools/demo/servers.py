"""What a fleet needs on this machine: equal clouds on a database with a synchronous standby, and a
balancer before them. All of it can be killed and comes back."""

import http.client
import os
import shutil
import socket
import subprocess
import tempfile

import plant
import postgres

BALANCER = os.path.join(plant.PROJECT, "examples/fleet/haproxy.cfg")
DATABASE = "cloud"
STEP_SECONDS = 180


def haproxy():
    """It lives where an ordinary user's PATH does not lead."""
    found = shutil.which("haproxy", path=os.environ["PATH"] + ":/usr/local/sbin:/usr/sbin:/sbin")
    if found is None:
        raise postgres.Missing("no haproxy on this machine (Debian: haproxy)")
    return found


def check():
    """Throws postgres.Missing where they cannot run."""
    haproxy()
    postgres.check()


def make_folder():
    """Not in /tmp, of which every sandbox has its own; who the databases run as gets through it."""
    folder = tempfile.mkdtemp(prefix="corvenna-fleet-", dir="/var/tmp")
    os.chmod(folder, 0o711)
    return folder


class Balancer(plant.Process):
    """haproxy with the example's configuration; only its addresses are this machine's. Connections
    that come while it is killed wait for the next one."""

    def __init__(self, folder, ports):
        self.socket = socket.create_server(("127.0.0.1", 0), backlog=1024)
        self.port = self.socket.getsockname()[1]
        self.file = os.path.join(folder, "haproxy.cfg")
        self.write(ports)
        super().__init__([haproxy(), "-db", "-f", self.file], os.path.join(folder, "haproxy.log"))

    def write(self, ports):
        """The example ends with its servers."""
        with open(BALANCER, encoding="utf-8") as example:
            lines = [line.replace("bind :8080", f"bind fd@{self.socket.fileno()}")
                     for line in example if not line.startswith("    server ")]
        lines += [f"    server cloud{number} 127.0.0.1:{port}\n"
                  for number, port in enumerate(ports, 1)]
        with open(self.file, "w", encoding="utf-8") as file:
            file.writelines(lines)

    def start(self, **how):
        super().start(pass_fds=[self.socket.fileno()], **how)

    def get(self, path):
        """Status and headers of its answer."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        try:
            connection.request("GET", path)
            answer = connection.getresponse()
            return answer.status, answer.headers
        finally:
            connection.close()

    def is_ready(self):
        return self.get("/readyz")[0] == 200


class Servers:
    def __init__(self, build, folder, clouds):
        self.primary = postgres.Server(os.path.join(folder, "db1"), wal_level="replica")
        self.standby = postgres.Server(os.path.join(folder, "db2"), wal_level="replica")
        store = (f"postgresql://{postgres.USER}@/{DATABASE}?host={self.primary.folder},"
                 f"{self.standby.folder}&target_session_attrs=read-write")
        self.clouds = [plant.Cloud(build, folder, name=f"cloud{number}",
                                   options=["--store", store, "--trusted-proxy", "127.0.0.1"])
                       for number in range(1, clouds + 1)]
        self.balancer = Balancer(folder, [cloud.port for cloud in self.clouds])

    def start_databases(self):
        self.primary.make()
        self.primary.start()
        self.primary.psql("postgres",
                          f"CREATE DATABASE {DATABASE} TEMPLATE template0 ENCODING 'UTF8'")
        self.follow()

    def start_clouds(self):
        for cloud in self.clouds:
            cloud.start()
        self.balancer.start()

    def follow(self):
        """The standby becomes a copy of the primary, which from then on waits for it."""
        self.standby.copy(self.primary)
        self.standby.start()
        self.commit_with("*")
        self.wait_for_standby()

    def commit_with(self, standbys):
        """Of whom the primary waits."""
        self.primary.psql("postgres", f"ALTER SYSTEM SET synchronous_standby_names = '{standbys}'")
        self.primary.psql("postgres", "SELECT pg_reload_conf()")

    def wait_for_standby(self):
        def synchronous():
            rows = self.primary.psql("postgres", "SELECT state, sync_state FROM pg_stat_replication")
            return rows == [("streaming", "sync")]

        plant.wait_for("the synchronous standby", synchronous, STEP_SECONDS)

    def promote(self):
        """The primary is dead; the standby takes its place, alone at first."""
        self.primary, self.standby = self.standby, self.primary
        self.commit_with("")
        self.primary.psql("postgres", "SELECT pg_promote()")

    def renew_standby(self):
        """What was the primary once comes back as a standby."""
        shutil.rmtree(self.standby.data)
        self.follow()

    def processes(self):
        return [self.balancer, *self.clouds, self.primary, self.standby]

    def end(self):
        for process in (self.balancer, *self.clouds):
            if process.is_running():
                process.kill()
        for server in (self.standby, self.primary):
            if server.is_running():
                server.stop()
        self.balancer.socket.close()
