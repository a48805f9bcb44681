#pragma once

#include <ostream>
#include <string>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"

namespace corvenna::test {

// One good document for each loader, with every element and attribute that it knows; damaged files
// are made of them.

struct Loader {
    const char *name;
    const char *document;
    int (*load)(const char *path);
    const char *parseFailure;  ///< logged about a file that is no XML; "%s" is its path
};

inline void PrintTo(const Loader &loader, std::ostream *stream) {
    *stream << loader.name;
}

inline int LoadPoints(const char *path) {
    CChannelSet set;
    ST_DEV_ATTR dev{};
    std::string(path).copy(dev.Name, sizeof dev.Name - 1);
    return set.LoadDevPointAttr(dev);
}

template <class Set>
int LoadWith(const char *path) {
    Set set;
    return set.Open(path);
}

inline constexpr Loader kLoaders[] = {
    {"sys_set",
     R"(<?xml version="1.0" encoding="UTF-8"?><sysConfig><Info><station stationName="S" )"
     R"(longitude="1" latitude="2"/><rooms roomName="R" desc="d"/><baseInfo gatewayName="G" )"
     R"(address="A"/><owner ownerName="O" desc="e"/></Info><cloud cloudip="127.0.0.1" port="80" )"
     R"(checked="1" Dir="/a" RealDataInv="60" AlarmDataInv="30" HeartInterval="60" )"
     R"(FailInterval="30" RecallInterval="60" FileType="json" IsCompress="0" TcpChannel="0">)"
     R"(<https checked="0" certfile="c" user="u" password="p"/></cloud></sysConfig>)",
     LoadWith<CSysSet>, "parsed %s failed"},
    {"sn_set", R"(<snConfig><model model="Mosso-G"/><sn sn="ABC00123"/></snConfig>)",
     LoadWith<CsnSet>, "parse Document %s failed"},
    {"forward_config",
     R"(<Fwd_srv><Fwd_chan lnk_p="MODBUS_TCP" addr="7"><Fwd_tbl><pt PointName="Ua" )"
     R"(db_link="0x01031123"/></Fwd_tbl></Fwd_chan></Fwd_srv>)",
     LoadWith<CForwardConfig>, "Document %s parsed failed."},
    {"channel_set",
     R"(<ChannelConfig><Channel No="1"><Dev DeviceName="M" Name="/none" Protocol="P" Desc="D" )"
     R"(SlaveId="1" Group="1"/></Channel></ChannelConfig>)",
     LoadWith<CChannelSet>, "Document %s parsed failed."},
    {"point_file",
     R"(<DevConfig><NodeProperty><AI Num="1"><Node Id="1" Name="Ua" EUUnits="V"/></AI><DI Num="1">)"
     R"(<Node Id="2" Name="K"/></DI></NodeProperty></DevConfig>)",
     LoadPoints, "[LoadDevPointAttr]: parsed Parse failed"},
};

}  // namespace corvenna::test
