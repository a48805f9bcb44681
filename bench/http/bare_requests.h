#pragma once

#include <string>

namespace corvenna::bench {

/// What the bare requests are made from.
struct BareSettings {
    std::string url;
    std::string file;      ///< to send
    std::string download;  ///< to write
    std::string body;
    bool https = false;  ///< adds CA file, cookies, authentication
    std::string caFile;
    std::string credentials;
};

extern BareSettings gBare;

// A program that knows its requests beforehand: libcurl's calls and what they need, a new handle
// each time and the options of our client's request, without its settings, table, checks and log.

void BareGet();
void BarePost();
/// The same with one handle for all, whose connection stays: what a change of protocol would buy.
void KeptPost();
void BarePut();
void BareDelete();
void BareRealData();
void BareAlarmData();
void BareDownload();

}  // namespace corvenna::bench
