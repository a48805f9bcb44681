"""The tables and drawings of bench/fleet/run."""

import os

import report

# Of a row: heading, and what stands there.
RATES = {
    "case": lambda row: row["case"],
    "engine": lambda row: row["engine"],
    "processes": lambda row: row["clouds"],
    "gateways": lambda row: f"{row['senders']:,}",
    "requests/s": lambda row: f"{rate(row):,.0f}",
    "points/s": lambda row: points_of(row),
    "took, s": lambda row: f"{row['seconds']:.1f}",
    "p50, ms": lambda row: time_of(row, "p50"),
    "p95": lambda row: time_of(row, "p95"),
    "p99": lambda row: time_of(row, "p99"),
    "longest": lambda row: time_of(row, "max"),
    "sent again": lambda row: f"{row.get('again', 0):,}",
    "busy elsewhere": lambda row: f"{row['elsewhere']:.1f}",
}
COSTS = {
    **{heading: RATES[heading] for heading in ("case", "engine", "processes", "gateways")},
    "s of processor: clouds": lambda row: cost(row, "cloud"),
    "databases": lambda row: cost(row, "database"),
    "balancer": lambda row: cost(row, "balancer"),
    "plug-ins": lambda row: cost(row, "plug-ins"),
    "waits for the disk": lambda row: f"{row['syncs'] * 1000 / max(1, row['requests']):,.0f}",
    "requests a commit": lambda row: f"{row['committed'] / max(1, row['commits']):.1f}",
    "bytes in": lambda row: f"{row['bytes_in'] / max(1, row['requests']):,.0f}",
    "bytes out": lambda row: f"{row['bytes_out'] / max(1, row['requests']):,.0f}",
}
GROWTH = {
    "engine": RATES["engine"],
    "samples stored": lambda row: f"{row['samples']:,}",
    **{heading: RATES[heading] for heading in ("requests/s", "p50, ms", "p95", "p99")},
    **{heading: COSTS[heading] for heading in ("s of processor: clouds", "databases",
                                              "waits for the disk")},
    "bytes a sample": lambda row: f"{row['bytes']:.1f}",
    "busy elsewhere": RATES["busy elsewhere"],
}
TEXTS = ("case", "engine")


def rate(row):
    return row["requests"] / row["seconds"]


def points_of(row):
    """Of what was measured: a gateway with the plug-in sends before and after it, too."""
    documents = row.get("documents", row["requests"])
    return f"{documents * row['points'] / row['seconds']:,.0f}" if documents else ""


def time_of(row, name):
    return f"{row[name]:.1f}" if name in row else ""


def cost(row, name):
    """Of 1,000 requests."""
    return f"{row[name] * 1000 / max(1, row['requests']):.2f}" if name in row else ""


def print_table(columns, rows):
    """Without columns that say nothing of any row."""
    cells = {name: [str(cell(row)) for row in rows] for name, cell in columns.items()}
    cells = {name: column for name, column in cells.items() if any(column)}
    print("| " + " | ".join(cells) + " |")
    print("|" + "|".join("---" if name in TEXTS else "---:" for name in cells) + "|")
    for line in zip(*cells.values()):
        print("| " + " | ".join(line) + " |")


def print_questions(rows):
    """A line a question, a column for each number of samples on each engine."""
    columns = list(dict.fromkeys((row["engine"], row["samples"]) for row in rows))
    cells = {(row["question"], row["engine"], row["samples"]):
             f"{row['p50']:.1f}, {row['max']:.1f}, {row['processor']:.1f}" for row in rows}
    print("| ms: median, longest, processor | "
          + " | ".join(f"{engine}, {samples:,}" for engine, samples in columns) + " |")
    print("|---|" + "---:|" * len(columns))
    for question in dict.fromkeys(row["question"] for row in rows):
        print(f"| {question} | " + " | ".join(cells[question, *column] for column in columns) + " |")


def print_all(results):
    for columns, rows in ((RATES, results["rows"]), (COSTS, results["rows"]),
                          (GROWTH, results["growth"])):
        if rows:
            print_table(columns, rows)
            print()
    if results["questions"]:
        print_questions(results["questions"])


def name_of(row):
    processes = "1 process" if row["clouds"] == 1 else f"{row['clouds']} processes"
    return f"{row['engine']}, {processes}"


def lines_of(rows, name, size, figure):
    lines = {}
    for row in rows:
        lines.setdefault(name(row), []).append((row[size], figure(row)))
    return lines


def draw(results, folder):
    os.makedirs(folder, exist_ok=True)
    load = [row for row in results["rows"] if row["case"] == "documents"]
    by_load = {
        "rate": ("documents", "documents a second", rate),
        "latency": ("99 of 100 answered within", "ms", lambda row: row["p99"]),
        "cost": ("processor of clouds and databases", "ms of processor per document",
                 lambda row: (row["cloud"] + row.get("database", 0)) * 1000 / row["requests"]),
    }
    for name, (title, unit, figure) in by_load.items():
        plot(f"{folder}/{name}.svg", title, "gateways", unit,
             lines_of(load, name_of, "senders", figure))
    plot(f"{folder}/growth.svg", "storing, by what is stored", "samples",
         "ms of processor per document",
         lines_of(results["growth"], name_of, "samples", by_load["cost"][2]))
    for engine in dict.fromkeys(row["engine"] for row in results["questions"]):
        plot(f"{folder}/questions-{engine.lower()}.svg", f"page and API, {engine}", "samples", "ms",
             lines_of([row for row in results["questions"] if row["engine"] == engine],
                      lambda row: row["question"], "samples", lambda row: row["p50"]))


def plot(path, title, size, unit, lines):
    if any(len(points) > 1 for points in lines.values()):
        report.plot(title, size, unit, lines, path)
