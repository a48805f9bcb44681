#include "tools/check/vocabulary.h"

#include <strings.h>

namespace corvenna::check {

namespace {

constexpr long kGatewayText = 255;
constexpr long kHalfMinute = 30;
constexpr long kMinute = 60;

AttributeRule Text(const char *name, long limit, Absent absent = Absent::kDefault) {
    return {name, Kind::kText, limit, absent};
}

AttributeRule Number(const char *name, Kind kind, Absent absent = Absent::kDefault) {
    return {name, kind, 0, absent};
}

AttributeRule Interval(const char *name, Kind kind, long least) {
    return {name, kind, least, Absent::kDefault};
}

ElementRule Points(const char *name) {
    return {name, "NodeProperty", {Number("Num", Kind::kIgnored)}};
}

}  // namespace

const Vocabulary &SystemVocabulary() {
    static const Vocabulary kVocabulary = {
        {"sysConfig", "", {}},
        {"Info", "sysConfig", {}},
        {"station",
         "Info",
         {Text("stationName", kGatewayText), Text("longitude", kGatewayText),
          Text("latitude", kGatewayText)},
         true},
        {"rooms", "Info", {Text("roomName", kGatewayText), Text("desc", kGatewayText)}, true},
        {"baseInfo",
         "Info",
         {Text("gatewayName", kGatewayText), Text("address", kGatewayText)},
         true},
        {"owner", "Info", {Text("ownerName", kGatewayText), Text("desc", kGatewayText)}, true},
        {"cloud",
         "sysConfig",
         {Text("cloudip", kAddressBytes), Number("port", Kind::kWord),
          Number("checked", Kind::kByte), Text("Dir", kAddressBytes),
          Interval("RealDataInv", Kind::kRealDataInterval, kMinute),
          Interval("AlarmDataInv", Kind::kInterval, kHalfMinute),
          Interval("HeartInterval", Kind::kInterval, kMinute),
          Interval("FailInterval", Kind::kInterval, kHalfMinute),
          Interval("RecallInterval", Kind::kInterval, kMinute), Text("FileType", kFormatBytes),
          Number("IsCompress", Kind::kByte), Number("TcpChannel", Kind::kByte)},
         true},
        {"https",
         "cloud",
         {Number("checked", Kind::kByte), Text("certfile", kDeviceTextBytes),
          Text("user", kAddressBytes), Text("password", kAddressBytes)},
         true},
    };
    return kVocabulary;
}

const Vocabulary &IdentityVocabulary() {
    static const Vocabulary kVocabulary = {
        {"snConfig", "", {}},
        {"model", "snConfig", {{"model", Kind::kName, 0, Absent::kDefault}}, true},
        {"sn", "snConfig", {Text("sn", kSerialBytes)}, true},
    };
    return kVocabulary;
}

const Vocabulary &TemplateVocabulary() {
    static const Vocabulary kVocabulary = {
        {"ChannelConfig", "", {}},
        {"Channel", "ChannelConfig", {Number("No", Kind::kByte, Absent::kNeeded)}},
        {"Dev",
         "Channel",
         {Text("DeviceName", kDeviceTextBytes), Text("Name", kDeviceTextBytes, Absent::kNeeded),
          Text("Protocol", kDeviceTextBytes, Absent::kInherited),
          Text("Desc", kDeviceTextBytes, Absent::kInherited),
          Number("SlaveId", Kind::kByte, Absent::kNeeded),
          Number("Group", Kind::kByte, Absent::kInherited)}},
    };
    return kVocabulary;
}

const Vocabulary &PointVocabulary() {
    static const std::vector<AttributeRule> kNode = {
        Number("Id", Kind::kPointNumber, Absent::kNeeded),
        Text("Name", kDeviceTextBytes, Absent::kNeeded),
        Text("EUUnits", kDeviceTextBytes, Absent::kInherited)};
    static const Vocabulary kVocabulary = {
        {"DevConfig", "", {}}, {"NodeProperty", "DevConfig", {}},
        Points("AI"),          Points("DI"),
        Points("ACC"),         Points("DO"),
        Points("AO"),          {"Node", "AI", kNode},
        {"Node", "DI", kNode}, {"Node", "ACC", kNode},
        {"Node", "DO", kNode}, {"Node", "AO", kNode},
    };
    return kVocabulary;
}

const Vocabulary &ForwardVocabulary() {
    static const Vocabulary kVocabulary = {
        {"Fwd_srv", "", {}},
        {"Fwd_chan",
         "Fwd_srv",
         {{"lnk_p", Kind::kName, 0, Absent::kNeeded},
          Number("addr", Kind::kByte, Absent::kNeeded)}},
        {"Fwd_tbl", "Fwd_chan", {}},
        {"pt",
         "Fwd_tbl",
         {{"PointName", Kind::kName, 0, Absent::kDefault},
          Number("db_link", Kind::kDataId, Absent::kDefault)}},
    };
    return kVocabulary;
}

bool DiffersInCaseOnly(const std::string &text, const std::string &expected) {
    return text != expected && strcasecmp(text.c_str(), expected.c_str()) == 0;
}

}  // namespace corvenna::check
