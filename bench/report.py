"""The table, the drawings and the budget of bench/run."""
import json
import re
import subprocess

TOLERANCE = 0.05
# What a budget holds: counts that repeat, never times.
BUDGETED = ("instructions", "allocations", "peak")


def ratio(row, floor, figure):
    if figure not in row or not floor or not floor.get(figure):
        return ""
    return f"{row[figure] / floor[figure]:.2f}"


def number(row, figure):
    return f"{row[figure]:,.0f}" if figure in row else ""


def floors_of(rows):
    return {(row["workload"], row["size"]): row for row in rows if row["role"] == "floor"}


def called(row):
    return row["contender"] if row["role"] == "peer" else f"{row['contender']} ({row['role']})"


def print_costs(rows):
    print("| workload | size | contender | ns | x floor | ns of processor | x floor | instructions "
          "| x floor | allocations | peak heap, bytes |")
    print("|---|---:|---|---:|---:|---:|---:|---:|---:|---:|---:|")
    floors = floors_of(rows)
    for row in rows:
        floor = floors.get((row["workload"], row["size"]))
        cells = [cell for figure in ("ns", "cpu", "instructions")
                 for cell in (number(row, figure), ratio(row, floor, figure))]
        print(f"| {row['workload']}, per {row['unit']} | {row['size']:,} | {called(row)} "
              f"| {' | '.join(cells)} "
              f"| {number(row, 'allocations')} | {number(row, 'peak')} |")


def print_arm(rows):
    print("\n| as 32-bit ARM | size | contender | instructions | x floor |")
    print("|---|---:|---|---:|---:|")
    floors = floors_of(rows)
    for row in rows:
        floor = floors.get((row["workload"], row["size"]))
        print(f"| {row['workload']}, per {row['unit']} | {row['size']:,} | {called(row)} "
              f"| {number(row, 'instructions')} | {ratio(row, floor, 'instructions')} |")


def print_growth(rows):
    print("\n| growth | size | ns of processor per unit | peak heap, bytes per unit "
          "| recorded pauses, s |")
    print("|---|---:|---:|---:|---:|")
    for row in rows:
        pauses = f"{row['paused'] / 1e6:,.1f}" if row["paused"] else ""
        print(f"| {row['workload']}, per {row['unit']} | {row['size']:,} | {row['cpu']:,.0f} "
              f"| {row['peak'] / row['size']:,.0f} | {pauses} |")


def print_footprint(rows):
    print("\n| footprint | figure | unit |\n|---|---:|---|")
    for row in rows:
        print(f"| {row['what']} | {row['figure']:,} | {row['unit']} |")


def print_tables(results):
    tables = {"costs": print_costs, "arm": print_arm, "growth": print_growth,
              "footprint": print_footprint}
    for part, rows in results.items():
        if rows:
            tables[part](rows)


def draw(results, folder):
    """Processor time a unit against size: workloads of several sizes with all their contenders, and
    what grows, a drawing a kind of unit. A level line is a cost that grows straight."""
    drawings = {}
    for row in results["costs"]:
        add_to(drawings, row["workload"], row, row["contender"])
    for row in results["growth"]:
        add_to(drawings, f"growth by {row['unit']}", row, row["workload"])
    for title, (unit, lines) in drawings.items():
        if any(len(points) > 2 for points in lines.values()):
            name = re.sub("[^a-z0-9]+", "-", title.lower())
            plot(title, "size", f"ns of processor per {unit}", lines, f"{folder}/{name}.svg")


def add_to(drawings, title, row, line):
    if "cpu" in row:  # another process's work shows in times by the clock alone
        _, lines = drawings.setdefault(title, (row["unit"], {}))
        lines.setdefault(line, []).append((row["size"], row["cpu"]))


def plot(title, across, up, lines, path):
    """Lines of points on logarithmic axes, with what the axes are called."""
    data = "".join(
        f"$line{index} << END\n" + "".join(f"{size} {cost}\n" for size, cost in points) + "END\n"
        for index, points in enumerate(lines.values()))
    curves = ", ".join(f"$line{index} with linespoints title '{name}'"
                       for index, name in enumerate(lines))
    script = (f"{data}set terminal svg size 720,420 background rgb 'white' font 'sans,12'\n"
              f"set output '{path}'\nset title '{title}'\nset logscale xy\nset grid\n"
              f"set key outside below noenhanced\nset xlabel '{across}'\n"
              f"set ylabel '{up}'\nplot {curves}\n")
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def budget_of(results):
    """What must not change unnoticed: our own counts and the library's size."""
    figures = {f"{row['workload']}, {row['size']}, {figure}": round(row[figure], 1)
               for row in results["costs"] if row["role"] == "ours"
               for figure in BUDGETED if figure in row}
    figures.update({row["what"]: row["figure"] for row in results["footprint"] if row["budget"]})
    return figures


def write_budget(figures, path):
    with open(path, "w", encoding="utf-8") as file:
        json.dump(figures, file, indent=1)
        file.write("\n")


def keeps_budget(figures, path):
    with open(path, encoding="utf-8") as file:
        budget = json.load(file)
    wrong = [f"{what}: {figures.get(what)} instead of {budget.get(what)}"
             for what in sorted({*figures, *budget})
             if not within(figures.get(what), budget.get(what))]
    for line in wrong:
        print(f"budget: {line}")
    if wrong:
        print(f"Where the change is meant: bench/run --quick --record, and commit {path}.")
    return not wrong


def within(figure, recorded):
    if figure is None or recorded is None:
        return False
    return abs(figure - recorded) <= TOLERANCE * recorded
