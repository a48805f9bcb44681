"""What servers used: the processor, waits for the disk, transactions, bytes."""

import mmap
import os
import shutil
import struct
import urllib.request

TICKS = os.sysconf("SC_CLK_TCK")
METRICS = {"commits": "corvenna_store_commit_requests_count",
           "committed": "corvenna_store_commit_requests_sum",
           "bytes_in": "corvenna_request_bytes_total",
           "bytes_out": "corvenna_answer_bytes_total"}


def machine():
    """Seconds that its processors worked: all but idle and waiting for the disk."""
    with open("/proc/stat", encoding="ascii") as file:
        ticks = [int(field) for field in file.readline().split()[1:9]]
    return (sum(ticks) - ticks[3] - ticks[4]) / TICKS


def processor_of(processes):
    return sum(processor(process.process.pid) for process in processes)


def processor(number):
    """Seconds of a process, of its children that live and of those that have ended."""
    try:
        with open(f"/proc/{number}/stat", encoding="ascii") as file:
            ticks = sum(int(field) for field in file.read().rsplit(")", 1)[1].split()[11:15])
        with open(f"/proc/{number}/task/{number}/children", encoding="ascii") as file:
            children = file.read().split()
    except (FileNotFoundError, ProcessLookupError):  # a worker of the database that ends just now
        return 0
    return ticks / TICKS + sum(processor(child) for child in children)


def precise(number):
    """Milliseconds of a process's threads and of its children, of those that live."""
    used = 0
    try:
        for task in os.listdir(f"/proc/{number}/task"):
            with open(f"/proc/{number}/task/{task}/schedstat", encoding="ascii") as file:
                used += int(file.read().split()[0]) / 1e6
            with open(f"/proc/{number}/task/{task}/children", encoding="ascii") as file:
                used += sum(precise(child) for child in file.read().split())
    except (FileNotFoundError, ProcessLookupError):
        pass
    return used


def counted_by(clouds):
    """What the clouds themselves count, of all exchanges together."""
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    sums = dict.fromkeys(METRICS, 0)
    for cloud in clouds:
        with opener.open(cloud.page.rstrip("/") + "/metrics", timeout=90) as answer:
            lines = answer.read().decode().splitlines()
        for line in lines:
            name, value = line.partition("{")[0].split(" ")[0], line.rsplit(" ", 1)[-1]
            for key, metric in METRICS.items():
                if name == metric:
                    sums[key] += int(float(value))
    return sums


class Syncs:
    """Counts fsync and fdatasync of the servers that are started inside of it, and can make each
    take longer (syncs.cpp)."""

    FORM = struct.Struct("=QQ")

    def __init__(self, library, folder):
        self.path = os.path.join(folder, "syncs")
        # Whoever the databases run as must be able to read and write them.
        self.library = shutil.copy(library, folder)
        os.chmod(self.library, 0o755)
        with open(self.path, "wb") as file:
            file.write(self.FORM.pack(0, 0))
        os.chmod(self.path, 0o666)
        with open(self.path, "r+b") as file:
            self.page = mmap.mmap(file.fileno(), self.FORM.size)

    def __enter__(self):
        os.environ.update({"LD_PRELOAD": self.library, "CORVENNA_SYNCS": self.path})

    def __exit__(self, *_):
        del os.environ["LD_PRELOAD"], os.environ["CORVENNA_SYNCS"]

    def count(self):
        return self.FORM.unpack(self.page)[0]

    def slow_down(self, milliseconds):
        struct.pack_into("=Q", self.page, 8, milliseconds)
