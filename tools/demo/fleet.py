"""A fleet on this machine: gateways, a balancer, equal clouds, a database with a synchronous standby.
One cloud and then the database's primary are killed; nothing that a gateway was told had arrived may
be missing, or be there twice.

Started by ./demo --fleet. Exits with 0 only if all of it holds.
"""

import argparse
import shutil
import sys
import time

import gateways
import plant
import postgres
import servers

CLOUDS = 3
GATEWAYS = 20
SAMPLES = 3  # of each gateway between two blows


class Fleet(plant.Steps):
    def __init__(self, options):
        self.build = options.build
        self.gateway_count = gateways.possible(options.gateways)
        self.folder = servers.make_folder()
        self.servers = servers.Servers(self.build, self.folder, CLOUDS)
        self.gateways = []

    # --- The steps -------------------------------------------------------------------------------

    def databases(self):
        self.servers.start_databases()
        version = self.servers.primary.psql("postgres", "SHOW server_version")[0][0]
        return f"PostgreSQL {version}: a primary, and a standby that has every commit"

    def cloud_processes(self):
        self.servers.start_clouds()
        ports = ", ".join(str(cloud.port) for cloud in self.servers.clouds)
        return f"{CLOUDS} on ports {ports}, haproxy before them on {self.servers.balancer.port}"

    def start_gateways(self):
        for number in range(1, self.gateway_count + 1):
            gateway = gateways.Gateway(self.build, self.folder, number, self.servers.balancer.port)
            gateway.start()
            self.gateways.append(gateway)
        found = self.wait(self.all_registered, "the registration of all")
        return f"{found} gateways registered, each with the plug-in and folders of its own"

    def all_registered(self):
        """As the last of the clouds shows them."""
        known = self.servers.clouds[-1].ask("/api/gateways")
        count = sum(1 for gateway in known if gateway["registered"])
        return count if count == self.gateway_count else None

    def data(self):
        total = gateways.wait_for_data(self.gateways, SAMPLES, self.check_alive)
        return f"every gateway was told of {SAMPLES} more samples; {total} in all"

    def asked_here_served_there(self):
        """What is asked of one process any other one hands out."""
        gateway = self.gateways[0]
        times = [row[0] for row in gateway.ask("SELECT time FROM sample ORDER BY time LIMIT 2")]
        path = f"/api/gateways/{gateway.serial}/recalls"
        here, *_, there = self.servers.clouds
        here.ask(path, body={"start": gateways.local(times[0]), "end": gateways.local(times[-1])})
        self.wait(lambda: there.ask(path)[0]["state"] == "served", "the recall")
        return "a recall asked of the first cloud is served, says the third"

    def one_cloud_dies(self):
        self.servers.clouds[0].kill()
        told = self.data()
        self.servers.clouds[0].start()
        return f"killed, and started again afterwards; meanwhile {told}"

    def primary_dies(self):
        began = time.monotonic()
        self.servers.primary.kill()
        balancer = self.servers.balancer
        self.wait(lambda: not balancer.is_ready(), "a balancer that knows of no cloud that is ready")
        self.servers.promote()
        self.wait(balancer.is_ready, "a cloud that is ready")
        return (f"killed; the standby is the primary now, and the clouds store again"
                f" {time.monotonic() - began:.1f} s later")

    def stop_gateways(self):
        for gateway in self.gateways:
            self.expect(gateway.stop() == 0, f"{gateway.serial} ended with 0")
        return f"all {self.gateway_count} ended with 0"

    def nothing_is_missing(self):
        compared = [gateways.compare(gateway, self.servers.primary) for gateway in self.gateways]
        values, alarms = (sum(column) for column in zip(*compared))
        self.expect(values > 0 and alarms > 0, "something had arrived")
        return (f"{values} values and {alarms} alarms that gateways were told had arrived are in the"
                f" store, each once and as it was")

    # --- Helpers ---------------------------------------------------------------------------------

    def wait(self, check, what):
        return plant.wait_for(what, check, servers.STEP_SECONDS, self.check_alive)

    def check_alive(self):
        for process in (*self.gateways, self.servers.balancer):
            process.check_running()

    def tell(self):
        for name, step in (("databases", self.databases), ("clouds", self.cloud_processes),
                           ("gateways", self.start_gateways), ("data", self.data),
                           ("equal clouds", self.asked_here_served_there),
                           ("a cloud dies", self.one_cloud_dies),
                           ("the primary dies", self.primary_dies),
                           ("data again", self.data), ("stop", self.stop_gateways),
                           ("nothing missing", self.nothing_is_missing)):
            self.step(name, step)

    def show_logs(self):
        plant.show_logs((*self.servers.processes(), *self.gateways[:2]), 15)

    def end(self):
        gateways.end(self.gateways)
        self.servers.end()
        shutil.rmtree(self.folder)


def parse(arguments):
    parser = argparse.ArgumentParser(prog="demo --fleet")
    parser.add_argument("--build", required=True)
    parser.add_argument("--gateways", type=int, default=GATEWAYS)
    return parser.parse_args(arguments)


def main():
    options = parse(sys.argv[1:])
    plant.end_on_signals()
    try:
        servers.check()
    except postgres.Missing as missing:
        print(f"demo: {missing}", file=sys.stderr)
        return 2
    return Fleet(options).run()


if __name__ == "__main__":
    sys.exit(main())
