SUMMARY = "Cloud forwarding for industrial data gateways"
DESCRIPTION = "A plug-in that a gateway's host process loads: it writes values and alarms as data files, \
uploads them over HTTP or HTTPS, answers recalls and installs what the cloud offers."
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# The source archive of the release, beside this file in a folder "corvenna" or "files"; or set
# CORVENNA_SOURCE to where it is kept, with its checksum.
CORVENNA_SOURCE ?= "file://corvenna-${PV}.tar.gz"
SRC_URI = "${CORVENNA_SOURCE}"

DEPENDS = "curl libxml2 rapidjson sqlite3 zlib"

inherit cmake pkgconfig

EXTRA_OECMAKE = " \
    -DCORVENNA_TESTS=OFF \
    -DCORVENNA_TOOLS=OFF \
    -DCORVENNA_BENCHMARKS=OFF \
"

# The library uses what the GNU C library alone has.
COMPATIBLE_HOST:libc-musl = "null"

# A plug-in has no version in its file's name: the file itself belongs to the run-time package.
SOLIBS = ".so"
FILES_SOLIBSDEV = ""

# For installing what the cloud offers: the rest (sh, md5sum, sed, awk) is in every image.
RRECOMMENDS:${PN} = "unzip zip"
