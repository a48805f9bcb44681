"""What happens to a fleet's clouds, a row or more of results each."""

import json
import urllib.request

import gateways

SOURCE = ("--source", "wave", "--wave-size", "1x1x97")
SPEED = 60  # a document a second of each gateway
RHYTHM = 1  # seconds, as the gateways with the plug-in have it then
BACKLOG = 60  # documents of an hour
OFFERED = bytes(range(256)) * 400  # 102,400 bytes
RECALLED_STEP = 300  # seconds, what gateways have unless told otherwise
SLOW = 20  # milliseconds more for each wait for the disk


def documents(site, options):
    """Of gateways that the store has never heard of, and then as fast as they are answered, on a
    store that has only what the rows before brought."""
    return [site.send("first document", options.senders[-1], "--documents", 1),
            *(site.send("documents", senders, "--seconds", options.seconds)
              for senders in options.senders)]


def plug_ins(site, options):
    """The plug-in, and as many light-weight senders at the same rhythm beside it."""
    rows = []
    for count in dict.fromkeys(map(gateways.possible, options.plug_ins)):
        seconds = 3 * options.seconds
        rows.append(site.plug_ins(count, seconds, SPEED, SOURCE))
        rows.append(site.send("rhythm", count, "--seconds", seconds, "--rhythm", RHYTHM))
    return rows


def backlog(site, options):
    """All gateways come back at one moment, each with the documents of an hour."""
    return [site.send("backlog", options.senders[-1], "--documents", BACKLOG, "--step", 60)]


def registration(site, options):
    """All gateways start at one moment."""
    return [site.send("registration", options.storm, "--work", "registration", ends="registered")]


def offers(site, options):
    """A file for every gateway; each learns of it with its next document."""
    for number in range(1, options.senders[-1] + 1):
        ask(site, f"/api/gateways/BENCH{number:03}/files?name=update.bin&type=0", OFFERED)
    return [site.send("offers", options.senders[-1], "--work", "offers", ends="offers")]


def recalls(site, options):
    """A day of every gateway is asked for again, and none of it is there yet."""
    day = json.dumps(site.day()).encode()
    for number in range(1, options.recalled + 1):
        ask(site, f"/api/gateways/BENCH{number:03}/recalls", day)
    return [site.send("recalls", options.recalled, "--work", "recalls", "--documents",
                      options.recalled_documents, "--step", RECALLED_STEP, ends="recalls")]


def slow_store(site, options):
    """Each wait for the disk takes longer."""
    site.syncs.slow_down(SLOW)
    try:
        return [site.send("slow store", options.senders[-1], "--seconds", options.seconds)]
    finally:
        site.syncs.slow_down(0)


def ask(site, path, body):
    """Of the clouds' own API."""
    page = site.servers.clouds[0].page.rstrip("/")
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    with opener.open(urllib.request.Request(page + path, data=body), timeout=90) as answer:
        return answer.read()
