#include "tests/plugin/configuration.h"

#include "tests/support/files.h"

namespace corvenna::test {

void Configuration::Write() const {
    WriteFile("/quorvane/Config/sys.xml",
              R"(<sysConfig><Info><baseInfo gatewayName="Gateway 7" address="Hall 2"/>)"
              R"(<station stationName="North" longitude="9.1" latitude="48.7"/>)"
              R"(<rooms roomName="Room 1" desc="first"/><owner ownerName="Owner" desc="desc"/>)"
              R"(</Info><cloud )" +
                  cloud + ">" + (https.empty() ? "" : "<https " + https + "/>") +
                  "</cloud></sysConfig>");
    WriteFile("/quorvane/Config/version/main-version.conf", "1.2.3\n");
    WriteFile("/quorvane/Config/system/sn.xml",
              R"(<snConfig><model model="Varek-A"/><sn sn="GW4567"/></snConfig>)");
    WriteFile("/quorvane/Config/forward_config.xml", "<Fwd_srv/>");
    WriteFile("/quorvane/Config/Channel-template.xml",
              R"(<ChannelConfig><Channel No="2"><Dev DeviceName="Meter" )"
              R"(Name="/quorvane/Config/Meter1.xml" Protocol="MODBUS" Desc="a meter" )"
              R"(SlaveId="1" Group="0"/></Channel></ChannelConfig>)");
    WriteFile("/quorvane/Config/Meter1.xml",
              R"(<DevConfig><NodeProperty><AI Num="1"><Node Id="1" Name="Ua" EUUnits="V"/></AI>)"
              R"(<DI Num="1"><Node Id="0" Name="Status" EUUnits=""/></DI>)"
              R"(</NodeProperty></DevConfig>)");
}

Configuration GatewayOn(int port, const std::string &format, bool compressed, bool secure) {
    Configuration configuration;
    configuration.cloud = R"(checked="1" cloudip="127.0.0.1" Dir="/cloud" port=")" +
                          std::to_string(port) + R"(" FileType=")" + format + R"(" IsCompress=")" +
                          (compressed ? "1" : "0") +
                          R"(" RealDataInv="60" AlarmDataInv="61" HeartInterval="62" )"
                          R"(FailInterval="63" RecallInterval="64")";
    if (secure) {
        configuration.https =
            R"(checked="1" certfile="/quorvane/ca.pem" user="user" password="secret")";
    }
    return configuration;
}

}  // namespace corvenna::test
