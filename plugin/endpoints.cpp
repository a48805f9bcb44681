#include "plugin/endpoints.h"

#include "base/text.h"

namespace corvenna {

// Each pair of literals stands one above the other.
// clang-format off

void PrintGatewayUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/gateway"
                                 : "https://%s:%d%s/gateway",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir);
}

void PrintDevicesUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/device/%s"
                                 : "https://%s:%d%s/device/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, cloud.serial);
}

void PrintRealDataUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/realdata/%s"
                                 : "https://%s:%d%s/realdata/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, cloud.serial);
}

void PrintAlarmDataUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/alarmdata/%s"
                                 : "https://%s:%d%s/alarmdata/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, cloud.serial);
}

void PrintRecallUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/calldata/%s"
                                 : "https://%s:%d%s/calldata/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, cloud.serial);
}

void PrintOffersUrl(const Cloud &cloud, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/downfile/%s"
                                 : "https://%s:%d%s/downfile/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, cloud.serial);
}

void PrintFileUrl(const Cloud &cloud, const char *file, Url &url) {
    PrintText(UpTo<127>(url),
                   !cloud.secure ? "http://%s:%d%s/%s"
                                 : "https://%s:%d%s/%s",
                   cloud.settings.cloudip, cloud.settings.port, cloud.settings.Dir, file);
}

// clang-format on

}  // namespace corvenna
