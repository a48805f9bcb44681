"""Clouds of one kind with their database on this machine, and what a fleet does to them."""

import json
import os
import resource
import shutil
import subprocess
import sys
import time

import costs
import gateways
import plant
import servers

DAY = 86400
BEGIN = 1700006400  # what senders count seconds from
COUNTS = {
    "documents": "SELECT count(*) FROM documents",
    "registered": "SELECT count(*) FROM gateways WHERE registered IS NOT NULL",
    "offers": "SELECT count(*) FROM files WHERE state = 'done'",
    "recalls": "SELECT count(*) FROM recalls WHERE finished IS NOT NULL",
}


class Lost(Exception):
    """Something that a gateway was told had arrived is not in the store."""


class Alone:
    """One cloud with its SQLite file, and nothing before it."""

    def __init__(self, build, folder):
        self.clouds = [plant.Cloud(build, folder)]

    def start_databases(self):
        pass

    def start_clouds(self):
        self.clouds[0].start()

    @property
    def port(self):
        return self.clouds[0].port

    def others(self):
        return {}

    def count(self, statement):
        database = self.clouds[0].database()
        try:
            return database.execute(statement).fetchone()[0]
        finally:
            database.close()

    def size(self):
        """Bytes of the whole store."""
        return self.count("SELECT page_count * page_size FROM pragma_page_count, pragma_page_size")

    def end(self):
        self.clouds[0].stop()


class Fleet(servers.Servers):
    @property
    def port(self):
        return self.balancer.port

    def others(self):
        """What works for the clouds, by its name in the results."""
        return {"database": [self.primary, self.standby], "balancer": [self.balancer]}

    def count(self, statement):
        return int(self.primary.psql(servers.DATABASE, statement)[0][0])

    def size(self):
        return self.count("SELECT pg_database_size(current_database())")


class Site:
    """`recorded` is the folder of what a gateway sent."""

    def __init__(self, build, recorded, engine, count):
        self.build = build
        self.recorded = recorded
        self.kind = {"engine": engine, "clouds": count}
        self.folder = servers.make_folder()
        self.servers = (Alone(build, self.folder) if engine == "SQLite"
                        else Fleet(build, self.folder, count))
        self.syncs = costs.Syncs(os.path.join(build, "bench/fleet/libfleet_syncs.so"), self.folder)
        self.first = 0  # second of the next senders' first document
        self.numbers = 0  # of gateways with the plug-in

    def __enter__(self):
        try:
            with self.syncs:
                self.servers.start_databases()
                self.servers.start_clouds()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.servers.end()
        shutil.rmtree(self.folder)

    def costs(self):
        """What was used so far."""
        roles = {"cloud": self.servers.clouds, **self.servers.others()}
        used = {role: costs.processor_of(processes) for role, processes in roles.items()}
        ours = resource.getrusage(resource.RUSAGE_CHILDREN)
        return {**used, **costs.counted_by(self.servers.clouds), "syncs": self.syncs.count(),
                "load": ours.ru_utime + ours.ru_stime, "machine": costs.machine()}

    def measured(self, case, work):
        """A row: what the work says of itself, and what it cost."""
        before = self.costs()
        row = {"case": case, **self.kind, **work()}
        after = self.costs()
        row.update({name: after[name] - before[name] for name in after})
        ours = sum(row.get(name, 0) for name in ("cloud", "database", "balancer", "load", "plug-ins"))
        row["elsewhere"] = max(0, row["machine"] - ours) / row["seconds"]
        return row

    def held(self, told):
        """What the store has of all that gateways are told about."""
        return {what: self.servers.count(COUNTS[what]) for what in told}

    def complete(self, row, told, before):
        """The row with what gateways were told had arrived, and what the store has more of."""
        stored = {what: count - before[what] for what, count in self.held(told).items()}
        row.update({"told": told, "stored": stored})
        print(json.dumps(row), file=sys.stderr, flush=True)
        if any(stored[what] < told[what] for what in told):
            raise Lost(f"{row['case']}, {row['engine']}: {told} arrived, {stored} are there")
        return row

    def send(self, case, senders, *options, ends=None, first=None):
        """Senders whose documents are of a day of their own, or from a given second on. What ends
        with each of them is compared with the store, too."""
        command = [os.path.join(self.build, "bench/fleet/fleet_senders"), "--recorded", self.recorded,
                   "--port", str(self.servers.port), "--senders", str(senders),
                   "--first", str(self.first if first is None else first), *map(str, options)]
        before = self.held(COUNTS)

        def work():
            ran = subprocess.run(command, check=True, stdout=subprocess.PIPE)
            return {"senders": senders, **json.loads(ran.stdout)}

        row = self.measured(case, work)
        self.first += DAY
        told = {"documents": row["documents"], **({ends: row["ended"]} if ends else {})}
        return self.complete(row, told, before)

    def day(self):
        """What the next senders' documents are of."""
        begin = BEGIN + self.first
        return {name: text_of(second)
                for name, second in (("start", begin), ("end", begin + DAY - 1))}

    def points(self):
        """Of a recorded document."""
        with open(os.path.join(self.recorded, "realdata"), encoding="utf-8") as file:
            return file.read().count('"dblink"')

    def plug_ins(self, count, seconds, speed, source):
        """Gateways with the plug-in, each in a sandbox of its own, at their own rhythm."""
        before = self.held(["documents"])
        fleet = [gateways.Gateway(self.build, self.folder, self.numbers + number,
                                  self.servers.port, speed, source)
                 for number in range(1, count + 1)]
        self.numbers += count

        def work():
            told, used, began = arrived(fleet), costs.processor_of(fleet), time.monotonic()
            gateways.wait_for_data(fleet, 2, lambda: None)  # however slow the machine is
            time.sleep(max(0, began + seconds - time.monotonic()))
            return {"senders": count, "points": self.points(), "requests": arrived(fleet) - told,
                    "seconds": time.monotonic() - began, "plug-ins": costs.processor_of(fleet) - used}

        try:
            for gateway in fleet:
                gateway.start()
            gateways.wait_for_data(fleet, 2, lambda: None)
            row = self.measured("plug-in", work)
        finally:
            gateways.end(fleet)
        return self.complete(row, {"documents": arrived(fleet)}, before)


def arrived(fleet):
    return sum(gateway.arrived() for gateway in fleet)


def text_of(second):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(second))
