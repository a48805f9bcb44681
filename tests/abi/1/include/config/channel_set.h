#pragma once

/// @file
/// The gateway's devices and points.

#include <cstdint>
#include <map>

#include "base/export.h"
#include "config/configuration_document.h"

struct _xmlNode;

#pragma pack(push, 1)

/// One field device, element "Dev" of the channel template.
struct ST_DEV_ATTR {
    char DeviceName[128];    ///< display name, at most 126 characters
    char Name[128];          ///< path of the device's point file, at most 126 characters
    char Protocol[128];      ///< name of the field protocol, at most 126 characters
    char Desc[128];          ///< description, at most 126 characters
    std::uint8_t SlaveId;    ///< address on its channel
    std::uint8_t GroupNo;    ///< group number
    std::uint8_t ChannelNo;  ///< channel number
};
static_assert(sizeof(ST_DEV_ATTR) == 515);

/// One sample point, element "Node" of a device's point file.
struct ST_POINTID_ATTR {
    char Name[128];         ///< at most 126 characters
    std::uint8_t GroupNo;   ///< channel number of the device
    std::uint8_t DevId;     ///< slave address of the device
    std::uint8_t type;      ///< 0 AI, 1 DI, 2 ACC, 3 DO, 4 AO
    std::uint16_t NodeId;   ///< point number within its type; 0 to 4095 are told apart
    std::uint32_t db_link;  ///< data id: channel, slave address, point type and number
    char EUUnits[128];      ///< engineering unit, at most 126 characters
};
static_assert(sizeof(ST_POINTID_ATTR) == 265);

#pragma pack(pop)

using MAP_DEV_ATTR = std::map<std::uint16_t, ST_DEV_ATTR>;          ///< by device number
using MAP_POINTID_ATTR = std::map<std::uint32_t, ST_POINTID_ATTR>;  ///< by data id
/// channel number → slave address → data id → point
using MAP_CHANNEL_POINT = std::map<std::uint8_t, std::map<std::uint8_t, MAP_POINTID_ATTR>>;

/// The gateway's catalogue of devices and sample points. Loaded once by Init on the host's thread;
/// afterwards only read, from any thread and without a lock. Owns its maps and, while one is held,
/// the parsed template; pointers that it hands out live as long as it.
class CORVENNA_API CChannelSet {
public:
    CChannelSet();
    ~CChannelSet();
    CChannelSet(const CChannelSet &) = delete;
    CChannelSet &operator=(const CChannelSet &) = delete;

    /// Parses a template and loads its devices and their points. Takes at least 100 ms for each
    /// device and each child of the root.
    /// @param path of the file.
    /// @return 0, -1 when the template cannot be parsed or loading fails (logged).
    int Open(const char *path);

    /// Loads devices and points from the held template.
    /// @return 0; -1 when there is no document, it is empty or its root is wrong (logged; the
    ///         document is freed).
    int LoadNodeFromXml();

    /// Frees the held template; the maps stay.
    /// @return 0, -1 when no document was held.
    int Close();

    /// @return 0 when a document is held, -1 when not.
    int IsOpen() const;

    /// Stores a copy under its device number (ChannelNo * 256 + SlaveId), over an earlier one.
    /// @param dev the device.
    /// @return 0, -1 when memory is short (logged).
    int AddDev(ST_DEV_ATTR dev);

    /// Loads the points of a device from the file that its Name tells.
    /// @param dev the device.
    /// @return 0, -1 when the file is not usable (logged).
    int LoadDevPointAttr(ST_DEV_ATTR dev);

    /// Stores copies in both point maps, over earlier ones with the same data id.
    /// @param point the point.
    /// @return 0, -1 when memory is short (logged).
    int AddSamplePoint(ST_POINTID_ATTR point);

    /// Finds a device.
    /// @param devNo its number.
    /// @param out   receives where it lies in this object; left alone for an unknown number.
    /// @return 0; -1 when out is null, or the number is unknown (printed to standard output).
    int GetAttr(unsigned short devNo, ST_DEV_ATTR **out);
    /// Finds a point.
    /// @param dataId its data id.
    /// @param out    receives where it lies in this object; left alone for an unknown id.
    /// @return 0; -1 when out is null, or the id is unknown (printed to standard output).
    int GetAttr(unsigned int dataId, ST_POINTID_ATTR **out);

    /// Hands out this object's own map of points by channel and device.
    /// @param out receives it; a null one is passed over.
    void GetAttr(MAP_CHANNEL_POINT **out);
    /// Hands out this object's own map of devices.
    /// @param out receives it; a null one is passed over.
    void GetAttr(MAP_DEV_ATTR **out);
    /// Hands out this object's own map of points by data id.
    /// @param out receives it; a null one is passed over.
    void GetAttr(MAP_POINTID_ATTR **out);

    /// Prints a device to standard output.
    /// @param dev the device.
    /// @return 0; -1 for null (printed too).
    int ShowDevInfo(const ST_DEV_ATTR *dev);
    /// Prints devices to standard output.
    /// @param devices the devices.
    /// @return 0; -1 for null (printed too).
    int ShowDevInfo(const MAP_DEV_ATTR *devices);
    /// Prints a point to standard output.
    /// @param point the point.
    /// @return 0; -1 for null (printed too).
    int ShowSamplePointInfo(const ST_POINTID_ATTR *point);
    /// Prints points to standard output.
    /// @param points the points.
    /// @return 0; -1 for null.
    int ShowSamplePointInfo(const MAP_CHANNEL_POINT *points);

private:
    int Load();
    void LoadChannel(const _xmlNode *channel, ST_DEV_ATTR &dev);
    int LoadPoints(const ST_DEV_ATTR &dev, corvenna::ConfigurationDocument &document);

    corvenna::ConfigurationDocument document_;
    MAP_CHANNEL_POINT pointsByChannel_;
    MAP_DEV_ATTR devices_;
    MAP_POINTID_ATTR pointsById_;
};
