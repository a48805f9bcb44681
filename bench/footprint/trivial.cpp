// The least that a plug-in on the same libraries can be: one call into each.

#include <curl/curl.h>
#include <libxml/parser.h>
#include <rapidjson/document.h>
#include <sqlite3.h>
#include <zlib.h>

extern "C" __attribute__((visibility("default"))) int Versions(const char *json) {
    rapidjson::Document document;
    document.Parse(json);
    LIBXML_TEST_VERSION
    return static_cast<int>(curl_version_info(CURLVERSION_NOW)->version_num) +
           sqlite3_libversion_number() + zlibVersion()[0] + (document.HasParseError() ? 1 : 0);
}
