"""The jobs that bench/run measures: a row each, with ours, the floor and the peers."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Workload:
    name: str
    program: str            # below build/release/bench
    sizes: tuple            # of the full run
    quick: tuple            # of the quick run, whose counts are budgets
    ours: str               # a contender of the program, like floor and peers
    floor: str              # "" where nothing could be less
    peers: tuple = ()
    unit: str = "job"       # what a cost is divided by: the size, when the unit is not "job"
    per: int = 0            # units in a job of size 1 where that is not 1
    counts: tuple = (1, 3)  # of jobs; their difference is counted
    timed: bool = True      # false: a writer takes part, others measure its time

    @property
    def countable(self):
        """A job on several threads, or one of which the writer does a part, has only a time."""
        return self.sizes != (0,)

    def contenders(self):
        return tuple(filter(None, (self.ours, self.floor, *self.peers)))

    def role(self, contender):
        return {self.ours: "ours", self.floor: "floor"}.get(contender, "peer")

    def units(self, size):
        return 1 if self.unit == "job" else max(self.per, 1) * max(size, 1)


SIZES = (100, 1000, 10000, 100000)

JSON_LIBRARIES = ("appending a list", "RapidJSON", "straightforward", "cJSON", "json-c", "jsoncpp",
                  "nlohmann-json", "node")
# A handshake's random numbers move the counts over TLS: no budget.
SCHEMES = (("HTTP", "http", (20000,)), ("HTTPS", "https", ()))

LOG_LIBRARIES = ("straightforward", "spdlog asynchronous", "Boost.Log asynchronous", "glog")

WORKLOADS = (
    Workload("real data, JSON", "packfile/json_bench", SIZES, (1000,), "packfile", "appending",
             JSON_LIBRARIES, "point"),
    Workload("real data, XML", "packfile/xml_bench", SIZES, (1000,), "packfile", "bare tree",
             ("streaming writer",), "point"),
    Workload("alarms, JSON", "packfile/alarm_bench", SIZES, (1000,), "json", "json appending", (),
             "alarm"),
    Workload("alarms, XML", "packfile/alarm_bench", SIZES, (1000,), "xml", "xml bare tree", (),
             "alarm"),
    Workload("compressed document of 1,000 values", "packfile/compress_bench", (1000,), (1000,),
             "packfile", "bare compress", ("level 1",)),
    *(Workload(f"{call}, counted, by threads", "log/log_call_bench", (1, 4), (1, 4), call,
               "snprintf", peers, "message", 400, (0, 1), False)
      for call, peers in (("log_Text", LOG_LIBRARIES), ("log_DB", ()))),
    *(Workload(f"{call}, {kind}", "log/log_burst_bench", (0,), (), f"{call} {kind}",
               f"vsnprintf {kind}",
               (f"spdlog asynchronous {kind}", f"Boost.Log asynchronous {kind}"), "message")
      for call in ("log_Text", "log_DB")
      for kind in ("steady, 1 thread", "steady, 4 threads", "burst, 1 thread",
                   "burst, 4 threads")),
    Workload("batch of the database log", "log/batch_bench", (1000,), (1000,), "database",
             "bare SQLite", ("SQLite, prepared",), "entry"),
    Workload("batch of the text log", "log/batch_bench", (1000,), (1000,), "text", "bare write",
             (), "entry"),
    Workload("device list, JSON", "message/devices_body_bench", (10, 200), (200,), "json",
             "bare_json", (), "device"),
    Workload("device list, XML", "message/devices_body_bench", (10, 200), (200,), "xml", "bare_xml",
             (), "device"),
    Workload("recall list, JSON", "message/parse_bench", (10, 1000, 10000), (1000,),
             "recalls json", "RapidJSON recalls", ("cJSON recalls", "nlohmann-json recalls"),
             "range"),
    Workload("recall list, XML", "message/parse_bench", (10, 1000, 10000), (1000,),
             "recalls xml", "libxml2 recalls",
             ("pugixml recalls", "tinyxml2 recalls", "expat recalls"), "range"),
    Workload("download list, JSON", "message/parse_bench", (10, 1000), (1000,),
             "offers json", "RapidJSON offers", ("cJSON offers", "nlohmann-json offers"), "offer"),
    Workload("download list, XML", "message/parse_bench", (10, 1000), (1000,),
             "offers xml", "libxml2 offers",
             ("pugixml offers", "tinyxml2 offers", "expat offers"), "offer"),
    Workload("point file", "config/point_file_bench", SIZES, (1000,), "load",
             "xmlReadFile_and_xmlFreeDoc", ("straightforward",), "point", 0, (2, 6)),
    Workload("Init", "plugin/init_bench", (1000, 10000), (1000,), "Init", "xmlReadFile", (),
             "point"),
    *(Workload(f"POST, {scheme}", "http/request_bench", (20000,), quick, f"{url}_post",
               f"{url}_post_bare", (f"{url}_post_kept", f"{url}_curl"), "job", 0, (2, 12))
      for scheme, url, quick in SCHEMES),
    *(Workload(f"file upload, {scheme}", "http/request_bench", (20000,), quick,
               f"{url}_real_data", f"{url}_real_data_bare", (f"{url}_curl",), "job", 0, (2, 12))
      for scheme, url, quick in SCHEMES),
    # The digest is made by another process, which callgrind does not see.
    *(Workload(f"download with digest, {scheme}", "http/request_bench", (100000000,), (),
               f"{url}_digest", f"{url}_digest_bare", (f"{url}_digest_curl",), "job", 0, (1, 2))
      for scheme, url, _ in SCHEMES),
)

POWERS = tuple(10 ** exponent for exponent in range(7))

# How our own cost grows: time, peak heap and recorded pauses, one drawing for each kind.
GROWTH = (
    *(Workload(f"real data, {name}", f"packfile/{program}", POWERS[2:], (), "packfile", "", (),
               "point") for name, program in (("JSON", "json_bench"), ("XML", "xml_bench"))),
    Workload("Init", "plugin/init_bench", POWERS[2:], (), "Init", "", (), "point"),
    *(Workload(f"real data, {name}, devices of 10 points", f"packfile/{program}", POWERS[:5], (),
               "devices", "", (), "device")
      for name, program in (("JSON", "json_bench"), ("XML", "xml_bench"))),
    *(Workload(f"alarms, {name}", "packfile/alarm_bench", POWERS[2:6], (), name.lower(), "", (),
               "alarm") for name in ("JSON", "XML")),
    *(Workload(f"log, {name}", "log/log_growth", POWERS[2:], (), name, "", (), "entry")
      for name in ("text", "text burst", "database", "database burst")),
)
