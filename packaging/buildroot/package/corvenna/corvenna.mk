################################################################################
#
# corvenna
#
################################################################################

CORVENNA_VERSION = 1.0.0
# The project's own folder, in which this file lies; a release's archive is used by setting
# CORVENNA_SITE_METHOD = file (or https), CORVENNA_SITE and CORVENNA_SOURCE in local.mk.
CORVENNA_SITE = $(BR2_EXTERNAL_CORVENNA_PATH)/../..
CORVENNA_SITE_METHOD = local
CORVENNA_LICENSE = Apache-2.0
CORVENNA_LICENSE_FILES = LICENSE
CORVENNA_INSTALL_STAGING = YES
CORVENNA_DEPENDENCIES = host-pkgconf libcurl libxml2 openssl rapidjson sqlite zlib
CORVENNA_CONF_OPTS = \
	-DCORVENNA_TESTS=OFF \
	-DCORVENNA_TOOLS=OFF \
	-DCORVENNA_BENCHMARKS=OFF

$(eval $(cmake-package))
