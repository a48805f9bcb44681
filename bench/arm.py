"""The same jobs as 32-bit ARM: instructions counted under emulation by a plug-in of the emulator
(bench/arm), beside the same floors."""
import os
import subprocess
import sys

import counting

BUILD = "build/bench-armhf"
EMULATOR = ["qemu-arm", "-L", "build/armhf-sysroot", "-plugin",
            "build/release/bench/arm/libinstruction_count.so"]


def build():
    subprocess.run(["cmake", "--preset", "armhf", "-B", BUILD, "-DCORVENNA_BENCHMARKS=ON",
                    "-DCORVENNA_TESTS=OFF", "-DCORVENNA_TOOLS=OFF"], check=True,
                   stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--target", "corvenna_benchmarks"], check=True,
                   stdout=sys.stderr)


def instructions(program, contender, size, counts):
    return counting.instructions(EMULATOR, program, contender, size, counts)


def costs(workload, size):
    """A row for each contender that the ARM build has, with its instructions alone."""
    program = f"{BUILD}/bench/{workload.program}"
    if not workload.countable or not os.path.exists(program):
        return []
    have = counting.contenders(program, EMULATOR)
    per = workload.units(size)
    return [{"workload": workload.name, "size": size, "unit": workload.unit, "contender": name,
             "role": workload.role(name),
             "instructions": instructions(program, name, size, workload.counts) / per}
            for name in workload.contenders() if name in have]


def measure(workloads):
    rows = []
    for workload in workloads:
        for size in workload.quick[:1]:  # the first thread alone is counted
            print(f"{workload.name}, {size}, 32-bit ARM", file=sys.stderr, flush=True)
            rows += costs(workload, size)
    return rows
