#include "bench/support/gateway_files.h"

#include <sys/stat.h>

#include <fstream>
#include <string>

namespace corvenna::bench {
namespace {

constexpr unsigned kPointsPerDevice = 200;
constexpr unsigned kDevicesPerChannel = 200;

void Write(const std::string &path, const std::string &text) {
    std::ofstream(path) << text;
}

void WriteDevice(unsigned device) {
    std::string text = "<DevConfig><NodeProperty><AI>\n";
    for (unsigned point = 0; point < kPointsPerDevice; ++point) {
        const std::string number = std::to_string(point);
        text += "<Node Id=\"" + number + "\" Name=\"Feeder " + number + " Ua\" EUUnits=\"V\"/>\n";
    }
    Write(PointFile(device), text + "</AI></NodeProperty></DevConfig>\n");
}

std::string Device(unsigned device) {
    return "<Dev DeviceName=\"Meter\" Name=\"" + std::string(PointFile(device)) + "\" SlaveId=\"" +
           std::to_string(device % kDevicesPerChannel) + "\"/>\n";
}

std::string Template(unsigned devices) {
    std::string text = "<ChannelConfig>\n";
    for (unsigned device = 0; device < devices; ++device) {
        if (device % kDevicesPerChannel == 0) {
            text += device == 0 ? "" : "</Channel>\n";
            text += "<Channel No=\"" + std::to_string(device / kDevicesPerChannel + 1) + "\">\n";
        }
        text += Device(device);
    }
    return text + "</Channel>\n</ChannelConfig>\n";
}

}  // namespace

const char *PointFile(unsigned device) {
    static std::string path;
    path = "/quorvane/Config/Meter" + std::to_string(device) + ".xml";
    return path.c_str();
}

unsigned DevicesOf(unsigned points) {
    return (points + kPointsPerDevice - 1) / kPointsPerDevice;
}

void WriteGatewayFiles(unsigned points) {
    mkdir("/quorvane/Config/version", 0755);
    mkdir("/quorvane/Config/system", 0755);
    Write("/quorvane/Config/sys.xml",
          "<sysConfig><Info/><cloud checked=\"1\" FileType=\"json\"/></sysConfig>");
    Write("/quorvane/Config/version/main-version.conf", "1.0\n");
    Write("/quorvane/Config/system/sn.xml",
          "<snConfig><model model=\"x\"/><sn sn=\"SN1\"/></snConfig>");
    Write("/quorvane/Config/forward_config.xml", "<Fwd_srv/>");
    for (unsigned device = 0; device < DevicesOf(points); ++device) {
        WriteDevice(device);
    }
    Write("/quorvane/Config/Channel-template.xml", Template(DevicesOf(points)));
}

}  // namespace corvenna::bench
