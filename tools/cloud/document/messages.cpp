#include "tools/cloud/document/messages.h"

#include <limits>

#include "tools/cloud/document/read_document.h"
#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLongestText = 1024;
constexpr std::size_t kLongestValue = 64;
constexpr int kLowestInt = std::numeric_limits<int>::min();
constexpr int kHighestInt = std::numeric_limits<int>::max();

std::string Text(const Entry &entry, const char *name) {
    const std::string &text = entry.Text(name);
    if (text.size() > kLongestText) {
        throw BadDocument("\"" + std::string(name) + "\" is longer than " +
                          std::to_string(kLongestText) + " bytes");
    }
    if (text.find('\0') != std::string::npos) {
        throw BadDocument("\"" + std::string(name) + "\" holds a NUL");
    }
    return text;
}

std::string Time(const Entry &entry, const char *name) {
    const std::string &text = entry.Text(name);
    if (!IsTimeText(text)) {
        throw BadDocument("\"" + std::string(name) + "\" is no time (YYYY-MM-DD hh:mm:ss)");
    }
    return text;
}

std::string DataId(const Entry &entry) {
    const std::string &text = entry.Text("dblink");
    if (text.size() != 8 || text.find_first_not_of("0123456789abcdef") != std::string::npos) {
        throw BadDocument("\"dblink\" is not eight lower-case hexadecimal digits");
    }
    return text;
}

std::string Value(const Entry &entry, const char *name) {
    const std::string &text = entry.Text(name);
    if (text.size() > kLongestValue || !IsNumberText(text)) {
        throw BadDocument("\"" + std::string(name) + "\" is no number");
    }
    return text;
}

int Byte(const Entry &entry, const char *name) {
    return entry.Number(name, 0, 255);
}

/// A visitor that puts a message together, and what it reads of a document.
template <class Message>
class Reader : public DocumentVisitor {
public:
    Message Read(Format format, std::string text, const Shape &shape) {
        ReadDocument(format, std::move(text), shape, *this);
        return std::move(message_);
    }

protected:
    Message message_{};
};

// What stands in which document.

enum What { kDocument, kGateway, kSite, kOwner, kRoom, kDevice, kNode };

const Shape &GatewayShape(Format format) {
    static const Shape gateway{kGateway,
                               "gw",
                               {"sn", "name", "ver"},
                               {{kSite, "site", {"name", "longitude", "latitude"}, {}},
                                {kOwner, "owner", {"name", "desc"}, {}},
                                {kRoom, "room", {"name", "desc", "camera"}, {}}}};
    // XML wraps the description, JSON does not.
    static const Shape wrapped{kDocument, "", {}, {gateway}};
    return format == Format::kXml ? wrapped : gateway;
}

const Shape &DevicesShape() {
    static const Shape shape{
        kDocument, "", {}, {{kDevice, "device", {"channel", "id", "desc", "name"}, {}}}};
    return shape;
}

const Shape &RealDataShape() {
    static const Shape shape{kDocument,
                             "",
                             {"logdt"},
                             {{kDevice,
                               "device",
                               {"id", "channel"},
                               {{kNode, "node", {"dblink", "name", "unit", "value"}, {}}}}}};
    return shape;
}

/// On purpose: the two formats spell the threshold differently.
const char *ThresholdName(Format format) {
    return format == Format::kXml ? "thredhold_value" : "threshold_value";
}

const Shape &AlarmsShape(Format format) {
    const auto of = [](const char *threshold) {
        return Shape{kDocument,
                     "",
                     {},
                     {{kNode,
                       "node",
                       {"logdt", "channel", "device", "dblink", "name", "value", threshold, "unit",
                        "type", "flag"},
                       {}}}};
    };
    static const Shape json = of(ThresholdName(Format::kJson));
    static const Shape xml = of(ThresholdName(Format::kXml));
    return format == Format::kXml ? xml : json;
}

const Shape &RecallDoneShape() {
    static const Shape shape{kDocument, "", {}, {{kNode, "node", {"startdt", "enddt"}, {}}}};
    return shape;
}

const Shape &FileStatusShape() {
    static const Shape shape{kDocument, "", {}, {{kNode, "node", {"md5", "status"}, {}}}};
    return shape;
}

class GatewayReader : public Reader<GatewayMessage> {
    void Ended(const Entry &entry) override {
        switch (entry.Its().what) {
            case kSite:
                message_.site = Text(entry, "name");
                message_.longitude = Text(entry, "longitude");
                message_.latitude = Text(entry, "latitude");
                break;
            case kOwner:
                message_.owner = Text(entry, "name");
                message_.ownerDescription = Text(entry, "desc");
                break;
            case kRoom:
                message_.room = Text(entry, "name");
                message_.roomDescription = Text(entry, "desc");
                message_.camera = Text(entry, "camera");
                break;
            case kGateway:
                ReadItself(entry);
                break;
            default:
                entry.RequireOne("gw");
        }
    }

    void ReadItself(const Entry &entry) {
        for (const char *part : {"site", "owner", "room"}) {
            entry.RequireOne(part);
        }
        message_.sn = Text(entry, "sn");
        message_.name = Text(entry, "name");
        message_.version = Text(entry, "ver");
        if (!IsSerialNumber(message_.sn)) {
            throw BadDocument("\"sn\" is no serial number");
        }
    }
};

class DevicesReader : public Reader<std::vector<DeviceMessage>> {
    void Ended(const Entry &entry) override {
        if (entry.Its().what == kDocument) {
            entry.RequireList("device");
            return;
        }
        message_.push_back(
            {Byte(entry, "channel"), Byte(entry, "id"), Text(entry, "desc"), Text(entry, "name")});
    }
};

class RealDataReader : public Reader<RealDataMessage> {
    void Ended(const Entry &entry) override {
        switch (entry.Its().what) {
            case kNode:
                message_.samples.push_back({0, 0, DataId(entry), Text(entry, "name"),
                                            Text(entry, "unit"), Value(entry, "value")});
                break;
            case kDevice:
                entry.RequireList("node");
                FinishDevice(Byte(entry, "channel"), Byte(entry, "id"));
                break;
            default:
                message_.time = Time(entry, "logdt");
                entry.RequireList("device");
        }
    }

    /// What names a device may stand behind its points.
    void FinishDevice(int channel, int device) {
        for (; finished_ < message_.samples.size(); ++finished_) {
            message_.samples[finished_].channel = channel;
            message_.samples[finished_].device = device;
        }
    }

    std::size_t finished_ = 0;
};

class AlarmsReader : public Reader<AlarmMessages> {
public:
    explicit AlarmsReader(Format format) : threshold_(ThresholdName(format)) {}

private:
    void Ended(const Entry &entry) override {
        if (entry.Its().what == kDocument) {
            entry.RequireList("node");
            return;
        }
        message_.push_back({Time(entry, "logdt"), Byte(entry, "channel"), Byte(entry, "device"),
                            DataId(entry), Text(entry, "name"), Value(entry, "value"),
                            Value(entry, threshold_), Text(entry, "unit"),
                            entry.Number("type", kLowestInt, kHighestInt),
                            entry.Number("flag", kLowestInt, kHighestInt)});
    }

    const char *threshold_;
};

class RecallDoneReader : public Reader<TimeRange> {
    void Ended(const Entry &entry) override {
        if (entry.Its().what == kDocument) {
            entry.RequireOne("node");
            return;
        }
        message_ = {Time(entry, "startdt"), Time(entry, "enddt")};
    }
};

class FileStatusReader : public Reader<FileStatusMessage> {
    void Ended(const Entry &entry) override {
        if (entry.Its().what == kDocument) {
            entry.RequireOne("node");
            return;
        }
        const auto status = WholeNumber(entry.Text("status"), 0, 2);
        if (!status) {
            throw BadDocument("\"status\" is none of 0, 1 and 2");
        }
        message_ = {Text(entry, "md5"), static_cast<int>(*status)};
    }
};

}  // namespace

GatewayMessage ReadGateway(Format format, std::string text) {
    return GatewayReader().Read(format, std::move(text), GatewayShape(format));
}

std::vector<DeviceMessage> ReadDevices(Format format, std::string text) {
    return DevicesReader().Read(format, std::move(text), DevicesShape());
}

RealDataMessage ReadRealData(Format format, std::string text) {
    return RealDataReader().Read(format, std::move(text), RealDataShape());
}

AlarmMessages ReadAlarms(Format format, std::string text) {
    return AlarmsReader(format).Read(format, std::move(text), AlarmsShape(format));
}

TimeRange ReadRecallDone(Format format, std::string text) {
    return RecallDoneReader().Read(format, std::move(text), RecallDoneShape());
}

FileStatusMessage ReadFileStatus(Format format, std::string text) {
    return FileStatusReader().Read(format, std::move(text), FileStatusShape());
}

}  // namespace corvenna::cloud
