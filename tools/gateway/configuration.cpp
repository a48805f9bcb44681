#include "tools/gateway/configuration.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>

#include "base/file_descriptor.h"
#include "tools/gateway/configuration_rules.h"
#include "tools/gateway/whole_file.h"
#include "tools/gateway/xml_builder.h"

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

constexpr mode_t kReadByAll = 0644;
constexpr mode_t kReadByOwner = 0600;

std::string Hexadecimal(std::uint32_t id) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%08x", id));
    return text;
}

void WriteSystem(const std::string &folder, const ConfigurationOptions &options) {
    const XmlBuilder system("sysConfig");
    const XmlElement info = system.Root().Child("Info");
    info.Child("station")
        .Set("stationName", options.station)
        .Set("longitude", options.longitude)
        .Set("latitude", options.latitude);
    info.Child("rooms").Set("roomName", options.room).Set("desc", "Where the gateway stands");
    info.Child("baseInfo").Set("gatewayName", options.name).Set("address", options.address);
    info.Child("owner").Set("ownerName", options.owner).Set("desc", "Who owns the gateway");
    const XmlElement cloud = system.Root().Child("cloud");
    cloud.Set("cloudip", options.server)
        .Set("port", options.port)
        .Set("checked", 1)
        .Set("Dir", options.prefix)
        .Set("RealDataInv", options.realDataInterval)
        .Set("AlarmDataInv", options.alarmInterval)
        .Set("HeartInterval", options.heartbeatInterval)
        .Set("FailInterval", options.checkFailInterval)
        .Set("RecallInterval", options.recallInterval)
        .Set("FileType", options.format)
        .Set("IsCompress", options.compress ? 1 : 0)
        .Set("TcpChannel", options.forwardChannel);
    cloud.Child("https")
        .Set("checked", options.https ? 1 : 0)
        .Set("certfile", options.certificate)
        .Set("user", options.user)
        .Set("password", options.password);
    // It holds the password.
    WriteWholeFile(folder + "/sys.xml", system.Text(), kReadByOwner);
}

void WriteIdentity(const std::string &folder, const ConfigurationOptions &options) {
    const XmlBuilder identity("snConfig");
    identity.Root().Child("model").Set("model", options.model);
    identity.Root().Child("sn").Set("sn", options.serial);
    WriteWholeFile(folder + "/system/sn.xml", identity.Text(), kReadByAll);
}

void WriteVersion(const std::string &folder, const ConfigurationOptions &options) {
    // The plug-in sends the first line as it stands, its line end included: there is none.
    WriteWholeFile(folder + "/version/main-version.conf", options.version, kReadByAll);
}

void WriteForwarding(const std::string &folder, const Catalogue &devices) {
    const XmlBuilder forwarding("Fwd_srv");
    const XmlElement channel = forwarding.Root().Child("Fwd_chan");
    channel.Set("lnk_p", "MODBUS_TCP").Set("addr", kGeneratedForwardChannel);
    const XmlElement table = channel.Child("Fwd_tbl");
    for (const Device &device : devices) {
        for (const Point &point : device.points) {
            table.Child("pt")
                .Set("PointName", std::string(device.name).append(".").append(point.name))
                .Set("db_link", Hexadecimal(DataId(device, point)));
        }
    }
    WriteWholeFile(folder + "/forward_config.xml", forwarding.Text(), kReadByAll);
}

struct TypeElement {
    PointType type;
    const char *name;
};

constexpr std::array<TypeElement, 5> kTypeElements = {{{PointType::kAnalogueInput, "AI"},
                                                       {PointType::kDigitalInput, "DI"},
                                                       {PointType::kCounter, "ACC"},
                                                       {PointType::kDigitalOutput, "DO"},
                                                       {PointType::kAnalogueOutput, "AO"}}};

void WritePoints(const std::string &path, const Device &device) {
    const XmlBuilder points("DevConfig");
    const XmlElement property = points.Root().Child("NodeProperty");
    for (const TypeElement &kind : kTypeElements) {
        const XmlElement list = property.Child(kind.name);
        int count = 0;
        for (const Point &point : device.points) {
            if (point.type != kind.type) {
                continue;
            }
            ++count;
            // All three, always: what a node leaves out it would inherit from the one before.
            list.Child("Node")
                .Set("Id", point.number)
                .Set("Name", point.name)
                .Set("EUUnits", point.unit);
        }
        list.Set("Num", count);
    }
    WriteWholeFile(path, points.Text(), kReadByAll);
}

void WriteDevice(const XmlElement &channel, const Device &device) {
    channel.Child("Dev")
        .Set("DeviceName", device.name)
        .Set("Name", PointFilePath(device))
        .Set("Protocol", device.protocol)
        .Set("Desc", device.description)
        .Set("SlaveId", device.address)
        .Set("Group", 1);
}

void WriteTemplate(const std::string &folder, const Catalogue &devices) {
    std::map<int, std::vector<const Device *>> channels;
    for (const Device &device : devices) {
        channels[device.channel].push_back(&device);
    }
    const XmlBuilder channelTemplate("ChannelConfig");
    for (const auto &[number, members] : channels) {
        const XmlElement channel = channelTemplate.Root().Child("Channel");
        channel.Set("No", number);
        for (const Device *device : members) {
            WriteDevice(channel, *device);
        }
    }
    WriteWholeFile(folder + "/Channel-template.xml", channelTemplate.Text(), kReadByAll);
}

void WritePointFiles(const std::string &folder, const Catalogue &devices) {
    // The other files of the folder have these names already.
    std::set<std::string> written = {"sys.xml", "forward_config.xml", "Channel-template.xml"};
    for (const Device &device : devices) {
        const std::string name = PointFileName(device);
        if (!written.insert(name).second) {
            throw std::runtime_error("device '" + device.name +
                                     "' needs a name whose point file is free: " + name);
        }
        WritePoints(std::string(folder).append("/").append(name), device);
    }
}

}  // namespace

std::string PointFileName(const Device &device) {
    std::string name;
    for (const char letter : device.name) {
        const bool plain = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                           (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
        name += plain ? letter : '_';
    }
    return name + ".xml";
}

std::string PointFilePath(const Device &device) {
    return std::string(kConfigFolder) + "/" + PointFileName(device);
}

std::string KeepConfiguration(const std::string &root, std::time_t now) {
    const std::string folder = root + kConfigFolder;
    if (!HasConfiguration(root)) {
        return "";
    }
    std::tm local{};
    char suffix[32] = ".old";
    if (localtime_r(&now, &local) != nullptr) {
        static_cast<void>(std::strftime(suffix, sizeof suffix, ".old-%Y%m%d-%H%M%S", &local));
    }
    std::string kept = folder + suffix;
    fs::copy(folder, kept, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    return kept;
}

bool HasConfiguration(const std::string &root) {
    const auto exists = [&root](const char *name) {
        return fs::exists(root + kConfigFolder + name);
    };
    return exists("/sys.xml") || exists("/system/sn.xml") || exists("/Channel-template.xml");
}

void WriteConfiguration(const std::string &root, const ConfigurationOptions &options,
                        const Catalogue &devices) {
    CheckOptions(options);
    CheckDevices(options, devices);
    const std::string folder = root + kConfigFolder;
    WriteSystem(folder, options);
    WriteVersion(folder, options);
    WriteIdentity(folder, options);
    WriteForwarding(folder, devices);
    WritePointFiles(folder, devices);
    WriteTemplate(folder, devices);
    const FileDescriptor disk(open(folder.c_str(), O_RDONLY | O_CLOEXEC));
    if (!disk || syncfs(disk.Get()) != 0) {
        throw std::system_error(errno, std::generic_category(), folder);
    }
}

}  // namespace corvenna::gateway
