#pragma once

/// @file
/// The gateway's settings.

#include <cstdint>

#include "base/export.h"
#include "config/configuration_document.h"

#pragma pack(push, 1)

/// Cloud server settings, element "cloud" of sys.xml. Zero-filled until loaded.
struct ST_CLOUDSERVER_CONFIG_ATTR {
    std::uint8_t checked;       ///< non-zero: the cloud service is switched on
    char cloudip[64];           ///< server address, at most 62 characters
    std::uint16_t port;         ///< server TCP port
    char Dir[64];               ///< path prefix on the server: empty, or with a leading "/"
    std::int16_t RealDataInv;   ///< real-data interval in the host's unit; -1: not scheduled
    std::int16_t AlarmDataInv;  ///< alarm-data interval, likewise
    std::int16_t HeartBeatInv;  ///< heartbeat interval, likewise
    std::int16_t CheckFailInv;  ///< interval for retrying failed uploads, likewise
    std::int16_t RecallInv;     ///< interval for asking for recalls, likewise
    char filetype[16];          ///< "json" or "xml", at most 14 characters, not checked
    std::uint8_t isCompress;    ///< non-zero: data files and request bodies are deflated
    std::uint8_t TcpChannel;    ///< forwarding channel whose points real data shows; 0: none
};
static_assert(sizeof(ST_CLOUDSERVER_CONFIG_ATTR) == 159);

/// The gateway's description, element "Info" of sys.xml, and the software version.
struct ST_GATEWAY_INFO {
    char stationName[256];  ///< name of the site
    char version[256];      ///< first line of main-version.conf, its line end included
    char roomName[256];     ///< name of the room
    char roomDesc[256];     ///< what the room is
    char gateWayName[256];  ///< name of the gateway
    char address[256];      ///< never sent
    char ownerName[256];    ///< name of the owner
    char ownerDesc[256];    ///< who the owner is
    char longitude[256];    ///< kept as text
    char latitude[256];     ///< kept as text
};
static_assert(sizeof(ST_GATEWAY_INFO) == 2560);

/// HTTPS settings, element "https" inside "cloud".
struct ST_HTTPS_CERT_INFO {
    std::uint8_t checked;  ///< non-zero: every request goes over HTTPS
    char certfile[128];    ///< path of the CA certificate, at most 126 characters
    char user[64];         ///< at most 62 characters
    char passwd[64];       ///< at most 62 characters
};
static_assert(sizeof(ST_HTTPS_CERT_INFO) == 257);

#pragma pack(pop)

/// The gateway's system settings. Loaded once by Init on the host's thread; afterwards only read,
/// from any thread and without a lock. Owns the parsed document while one is held.
class CORVENNA_API CSysSet {
public:
    CSysSet();
    ~CSysSet();
    CSysSet(const CSysSet &) = delete;
    CSysSet &operator=(const CSysSet &) = delete;

    /// Parses a file and loads the records from it. Fields that the file does not set keep what
    /// they held.
    /// @param path of the file.
    /// @return -1 only when the file cannot be parsed (logged); a rejected document is logged too,
    ///         but gives 0.
    int Open(const char *path);

    /// Loads the records from the held document, then the version.
    /// @return 0; -1 when there is no document, it is empty or its root is wrong (logged; the
    ///         document is freed).
    int LoadNodeFromXml();

    /// Frees the held document; the records stay.
    /// @return 0, -1 when no document was held.
    int Close();

    /// @return 0 when a document is held, -1 when not.
    int IsOpen() const;

    /// @return the record inside this object: never null, not to be freed, valid as long as it.
    CORVENNA_INLINE_API ST_CLOUDSERVER_CONFIG_ATTR *GetCloudConfigAttr() { return &cloud_; }
    /// @copydoc GetCloudConfigAttr
    CORVENNA_INLINE_API ST_GATEWAY_INFO *GetGateWayAttr() { return &gateway_; }
    /// @copydoc GetCloudConfigAttr
    CORVENNA_INLINE_API ST_HTTPS_CERT_INFO *GetHttpsCertInfo() { return &https_; }

    /// Reads the first line of main-version.conf into the gateway record.
    /// @return 0, -1 when the file is missing (printed to standard output) or cannot be opened.
    int getVersionInfo();

    /// Prints this object's own record to standard output.
    /// @return 0.
    int ShowCloudConfig();
    /// Prints a record to standard output.
    /// @param config the record.
    /// @return 0; -1 for a null record (printed too).
    int ShowCloudConfig(const ST_CLOUDSERVER_CONFIG_ATTR *config);
    /// @copydoc ShowCloudConfig()
    int ShowGateWayInfo();
    /// Prints a record to standard output.
    /// @param info the record.
    /// @return 0; -1 for a null record (printed too).
    int ShowGateWayInfo(const ST_GATEWAY_INFO *info);
    /// Prints this object's own record to standard output, the password in clear.
    /// @return 0.
    int ShowHttpsCertInfo();
    /// Prints a record to standard output, the password in clear.
    /// @param info the record; not checked for null.
    /// @return 0.
    int ShowHttpsCertInfo(const ST_HTTPS_CERT_INFO *info);

private:
    int Load(const corvenna::XmlGuard &guard);

    corvenna::ConfigurationDocument document_;
    ST_CLOUDSERVER_CONFIG_ATTR cloud_{};
    ST_GATEWAY_INFO gateway_{};
    ST_HTTPS_CERT_INFO https_{};
};
