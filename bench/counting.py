"""What one job of a benchmark program costs: time, instructions, heap. See bench/support/cost.h."""
import json
import re
import subprocess
import sys


def output_of(command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}: exit code {result.returncode}\n{result.stderr}")
    return result


def times(program, size, contenders, rounds, seconds):
    """Nanoseconds of a job by contender, as (by the clock, of the processor on the job's threads):
    medians of rounds that are taken in random turns."""
    # Not re.escape: to the programs' regular expressions an escaped blank is a mistake.
    names = "|".join(name.replace(".", "[.]") for name in contenders)
    result = output_of(
        [program, *([f"--size={size}"] if size else []), f"--benchmark_filter=^({names})(/.*)?$",
         "--benchmark_enable_random_interleaving=true", f"--benchmark_repetitions={rounds}",
         f"--benchmark_min_time={seconds}", "--benchmark_report_aggregates_only=true",
         "--benchmark_format=json"])
    # Behind a slash stands how a program takes its times.
    return {row["run_name"].partition("/")[0]: (row["real_time"],
                                                row.get("processor", row["cpu_time"]))
            for row in json.loads(result.stdout)["benchmarks"]
            if row["aggregate_name"] == "median"}


def contenders(program, emulator=()):
    """Those that this build has and that do their job in the program itself."""
    return output_of([*emulator, program, "--list"]).stdout.split("\n")


# Counts what happens inside of the measured job, on the thread that does it.
CALLGRIND = ("valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
             "--toggle-collect=*MeasuredJob*")


def collected(counter, program, contender, size, count):
    result = output_of([*counter, program, contender, str(size), str(count)])
    return int(re.search(r"Collected : (\d+)", result.stderr).group(1))


def instructions(counter, program, contender, size, counts):
    """User-space instructions of a job on its own thread: the difference between two counts of
    jobs, so that start-up, preparation and what only the first job pays are left out."""
    few, many = counts
    return (collected(counter, program, contender, size, many) -
            collected(counter, program, contender, size, few)) / (many - few)


def heap(program, contender, size, count):
    """Allocations, peak and rest in bytes, recorded pauses of the last of several jobs."""
    text = output_of([program, contender, str(size), str(count)]).stdout
    found = re.search(r"allocations (\d+) peak (\d+) kept (-?\d+) paused (\d+)", text)
    return dict(zip(("allocations", "peak", "kept", "paused"), map(int, found.groups())))
