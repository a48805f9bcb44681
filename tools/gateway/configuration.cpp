#include "tools/gateway/configuration.h"

#include <libxml/tree.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>

#include "base/handle.h"

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLongestSerial = 18;
constexpr std::size_t kLongestAddress = 62;  // of the server, its prefix, user and password
constexpr std::size_t kLongestCertificate = 126;
constexpr std::size_t kLongestUrl = 126;

using Document = std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>>;

const xmlChar *ToXml(const std::string &text) {
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

/// Control characters and broken UTF-8 would make a file that no parser reads.
bool IsText(const std::string &text) {
    const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
    return xmlCheckUTF8(ToXml(text)) == 1 && std::none_of(text.begin(), text.end(), isControl);
}

/// An element of a document that is being built; the document owns it.
class Element {
public:
    explicit Element(xmlNode *node) : node_(node) {}

    Element Child(const char *name) const {
        return Element(xmlNewChild(node_, nullptr, ToXml(name), nullptr));
    }
    const Element &Set(const char *name, const std::string &value) const {
        if (!IsText(value)) {
            throw std::runtime_error(std::string(name) +
                                     " holds a control character or is no UTF-8: " + value);
        }
        xmlNewProp(node_, ToXml(name), ToXml(value));
        return *this;
    }
    const Element &Set(const char *name, int value) const {
        return Set(name, std::to_string(value));
    }

private:
    xmlNode *node_;
};

struct NewDocument {
    explicit NewDocument(const char *rootName)
        : document(xmlNewDoc(ToXml("1.0"))),
          root(xmlNewDocNode(document.get(), nullptr, ToXml(rootName), nullptr)) {
        xmlDocSetRootElement(document.get(), root);
    }
    Element Root() const { return Element(root); }
    void Save(const std::string &path) const {
        fs::create_directories(fs::path(path).parent_path());
        if (xmlSaveFormatFileEnc(path.c_str(), document.get(), "UTF-8", 1) < 0) {
            throw std::runtime_error("cannot write " + path);
        }
    }

    Document document;
    xmlNode *root;
};

std::string Hexadecimal(std::uint32_t id) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%08x", id));
    return text;
}

void WriteSystem(const std::string &folder, const ConfigurationOptions &options) {
    const NewDocument system("sysConfig");
    const Element info = system.Root().Child("Info");
    info.Child("station")
        .Set("stationName", options.station)
        .Set("longitude", "0.000")
        .Set("latitude", "0.000");
    info.Child("rooms").Set("roomName", "Room 1").Set("desc", "Where the gateway stands");
    info.Child("baseInfo").Set("gatewayName", options.name).Set("address", "Address");
    info.Child("owner").Set("ownerName", "Owner").Set("desc", "Who owns the gateway");
    const Element cloud = system.Root().Child("cloud");
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
    system.Save(folder + "/sys.xml");
}

void WriteIdentity(const std::string &folder, const ConfigurationOptions &options) {
    const NewDocument identity("snConfig");
    identity.Root().Child("model").Set("model", options.model);
    identity.Root().Child("sn").Set("sn", options.serial);
    identity.Save(folder + "/system/sn.xml");
}

void WriteVersion(const std::string &folder, const ConfigurationOptions &options) {
    // The plug-in sends the first line as it stands, its line end included: there is none.
    const std::string path = folder + "/version/main-version.conf";
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::trunc);
    stream << options.version;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

void WriteForwarding(const std::string &folder, const Catalogue &devices) {
    const NewDocument forwarding("Fwd_srv");
    const Element channel = forwarding.Root().Child("Fwd_chan");
    channel.Set("lnk_p", "MODBUS_TCP").Set("addr", kGeneratedForwardChannel);
    const Element table = channel.Child("Fwd_tbl");
    for (const Device &device : devices) {
        for (const Point &point : device.points) {
            table.Child("pt")
                .Set("PointName", std::string(device.name).append(".").append(point.name))
                .Set("db_link", Hexadecimal(DataId(device, point)));
        }
    }
    forwarding.Save(folder + "/forward_config.xml");
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
    const NewDocument points("DevConfig");
    const Element property = points.Root().Child("NodeProperty");
    for (const TypeElement &kind : kTypeElements) {
        const Element list = property.Child(kind.name);
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
    points.Save(path);
}

void WriteDevice(const Element &channel, const Device &device) {
    channel.Child("Dev")
        .Set("DeviceName", device.name)
        .Set("Name", std::string(kConfigFolder) + "/" + PointFileName(device))
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
    const NewDocument channelTemplate("ChannelConfig");
    for (const auto &[number, members] : channels) {
        const Element channel = channelTemplate.Root().Child("Channel");
        channel.Set("No", number);
        for (const Device *device : members) {
            WriteDevice(channel, *device);
        }
    }
    channelTemplate.Save(folder + "/Channel-template.xml");
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
        WritePoints(folder + "/" + name, device);
    }
}

/// Letters, digits and what else goes through a URL as it stands.
bool IsPlain(const std::string &text, const std::string &others) {
    return std::all_of(text.begin(), text.end(), [&others](unsigned char letter) {
        return (letter < 0x80 && std::isalnum(letter) != 0) ||
               others.find(static_cast<char>(letter)) != std::string::npos;
    });
}

void Require(bool good, const std::string &rule) {
    if (!good) {
        throw std::runtime_error(rule);
    }
}

/// What the plug-in would cut, or could not make a URL of.
void CheckOptions(const ConfigurationOptions &options) {
    const std::string &server = options.server;
    const std::string &prefix = options.prefix;
    const std::string &serial = options.serial;
    Require(!serial.empty() && serial.size() <= kLongestSerial && IsPlain(serial, "-._~"),
            "a serial number has 1 to 18 letters, digits, \"-\", \".\", \"_\" and \"~\"");
    Require(!server.empty() && server.size() <= kLongestAddress && IsPlain(server, "-._:[]"),
            "the server is a name or an address of 1 to 62 characters, without scheme and port");
    Require(prefix.empty() || (prefix.front() == '/' && prefix.back() != '/' &&
                               prefix.size() <= kLongestAddress && IsPlain(prefix, "-._~/")),
            "the prefix is empty, or begins with \"/\", does not end with it and has at most 62 "
            "characters");
    const std::string url =
        "https://" + server + ":" + std::to_string(options.port) + prefix + "/alarmdata/" + serial;
    Require(url.size() <= kLongestUrl,
            "server, prefix and serial number make a URL longer than 126 characters");
    Require(options.certificate.size() <= kLongestCertificate,
            "the certificate's path has at most 126 characters");
    Require(options.user.size() <= kLongestAddress && options.password.size() <= kLongestAddress,
            "user and password have at most 62 characters");
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

void WriteConfiguration(const std::string &root, const ConfigurationOptions &options,
                        const Catalogue &devices) {
    CheckOptions(options);
    const std::string folder = root + kConfigFolder;
    WriteSystem(folder, options);
    WriteVersion(folder, options);
    WriteIdentity(folder, options);
    WriteForwarding(folder, devices);
    WritePointFiles(folder, devices);
    WriteTemplate(folder, devices);
}

}  // namespace corvenna::gateway
