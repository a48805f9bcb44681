#pragma once

/// @file
/// The tables of the forwarding channels.

#include <cstdint>
#include <map>
#include <string>

#include "base/export.h"
#include "config/configuration_document.h"

/// forwarding channel address → channel number → slave address → point name → data id
using MAP_FORWARD =
    std::map<std::uint8_t,
             std::map<std::uint8_t, std::map<std::uint8_t, std::map<std::string, std::uint32_t>>>>;

/// The point tables of the gateway's forwarding channels. Loaded once by Init on the host's thread;
/// afterwards only read, from any thread and without a lock. Owns its map and, while one is held,
/// the parsed document.
class CORVENNA_API CForwardConfig {
public:
    CForwardConfig();
    ~CForwardConfig();
    CForwardConfig(const CForwardConfig &) = delete;
    CForwardConfig &operator=(const CForwardConfig &) = delete;

    /// Parses a file and loads the tables of its MODBUS_TCP channels.
    /// @param path of the file.
    /// @return 0, -1 when the file cannot be parsed or loading fails (logged).
    int Open(const char *path);

    /// Loads the tables from the held document.
    /// @return 0; -1 when there is no document, it is empty or its root is wrong (logged; the
    ///         document is freed).
    int LoadNodeFromXml();

    /// Frees the held document; the map stays.
    /// @return 0, -1 when no document was held.
    int Close();

    /// @return 0 when a document is held, -1 when not.
    int IsOpen() const;

    /// @return the loaded tables, valid as long as this object.
    CORVENNA_INLINE_API const MAP_FORWARD &GetForwardMap() const { return map_; }

private:
    int Load(const corvenna::XmlGuard &guard);

    corvenna::ConfigurationDocument document_;
    MAP_FORWARD map_;
};
