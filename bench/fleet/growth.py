"""How cost grows with the samples that are stored: of storing more, and of what the page asks for."""

import http.client
import json
import statistics
import sys
import time
import urllib.parse

import costs
import sites

GATEWAYS = 10
STEP = 60  # seconds between the documents of one gateway
MEASURED = 100  # documents of each gateway that are timed
ROUNDS = 9
GATEWAY = "/api/gateways/BENCH001"
# What the page shows, over the ranges that it offers.
QUESTIONS = {
    "page": "/",
    "overview": "/api/overview",
    "50 gateways": "/api/gateways?limit=50",
    "search of gateways": "/api/gateways?search=bench007&limit=50",
    "gateway": GATEWAY,
    "points with values": GATEWAY + "/points",
    "active alarms": "/api/alarms?state=active&limit=50",
    "newest 1,000 of a point": GATEWAY + "/points/{point}/history?limit=1000",
    "newest 20 of a day": GATEWAY + "/points/{point}/history?from={day}&to={newest}&limit=20",
    "oldest hour": GATEWAY + "/trends?points={point}&from={oldest}&to={oldest_hour}&buckets=3601",
    "last hour": GATEWAY + "/trends?points={point}&from={hour}&to={newest}&buckets=3601",
    "last day": GATEWAY + "/trends?points={point}&from={day}&to={newest}&buckets=1441",
    "last week": GATEWAY + "/trends?points={point}&from={week}&to={newest}&buckets=1441",
    "table of a day": GATEWAY + "/samples.csv?points={point}&from={day}&to={newest}",
}
AGO = {"hour": 3600, "day": 86400, "week": 7 * 86400}


def measure(site, options):
    """Rows of storing and rows of asking, for each number of stored samples."""
    site.send("registration", options.storm, "--work", "registration", ends="registered")
    storing, asking, documents = [], [], 0  # of each gateway
    for samples in options.samples:
        missing = samples // (site.points() * GATEWAYS) - documents
        if missing > 0:
            documents += add(site, "filling", documents, missing)["told"]["documents"] // GATEWAYS
        row = add(site, "growth", documents, MEASURED)
        documents += MEASURED
        storing.append({**row, "samples": samples,
                        "bytes": site.servers.size() / (documents * GATEWAYS * site.points())})
        asking += [{**site.kind, "samples": samples, **row} for row in ask_all(site, documents)]
    return storing, asking


def add(site, case, documents, more):
    """More documents of the same gateways, one behind the other."""
    return site.send(case, GATEWAYS, "--documents", more, "--step", STEP,
                     first=documents * STEP)


def ask_all(site, documents):
    """Milliseconds of each question on a connection that is kept, as a browser does."""
    address = urllib.parse.urlsplit(site.servers.clouds[0].page)
    connection = http.client.HTTPConnection(address.hostname, address.port, timeout=90)
    fields = fields_of(connection, documents)
    try:
        for name, path in QUESTIONS.items():
            path = path.format(**fields)
            get(connection, path)
            before = used_by(site)
            times = [get(connection, path)[0] for _ in range(ROUNDS)]
            row = {"question": name, "p50": statistics.median(times), "max": max(times),
                   "processor": (used_by(site) - before) / ROUNDS}
            print(json.dumps(row), file=sys.stderr, flush=True)
            yield row
    finally:
        connection.close()


def used_by(site):
    """Milliseconds of processor of who answers."""
    primary = site.servers.others().get("database", [])[:1]
    return sum(costs.precise(server.process.pid) for server in [*site.servers.clouds, *primary])


def fields_of(connection, documents):
    newest = sites.BEGIN + (documents - 1) * STEP
    times = {"newest": newest, "oldest": sites.BEGIN, "oldest_hour": sites.BEGIN + 3600,
             **{name: newest - seconds for name, seconds in AGO.items()}}
    points = json.loads(get(connection, GATEWAY + "/points")[1])
    return {"point": points[-1]["dblink"],
            **{name: urllib.parse.quote(sites.text_of(second)) for name, second in times.items()}}


def get(connection, path):
    """Milliseconds and content of an answer."""
    began = time.monotonic()
    connection.request("GET", path)
    answer = connection.getresponse()
    content = answer.read()
    took = (time.monotonic() - began) * 1000
    assert answer.status == 200, (path, answer.status, content)
    return took, content
