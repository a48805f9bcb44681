#include "base/text.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "tests/plugin/gateway.h"
#include "tests/support/files.h"

namespace corvenna::test {

void Configure(const ScriptedServer &server, const Wire &wire) {
    ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    cloud.checked = 1;
    CopyText<63>(cloud.cloudip, "127.0.0.1");
    cloud.port = static_cast<std::uint16_t>(server.Port());
    CopyText<63>(cloud.Dir, "/cloud");
    CopyText<15>(cloud.filetype, wire.format.c_str());
    cloud.isCompress = wire.compressed ? 1 : 0;
    ST_HTTPS_CERT_INFO &https = *GetCSysSetInstance()->GetHttpsCertInfo();
    https.checked = wire.protocol == Protocol::kHttp ? 0 : 1;
    if (https.checked != 0) {
        WriteFile("/quorvane/ca.pem", server.Certificate());
        CopyText<127>(https.certfile, "/quorvane/ca.pem");
    }
    std::snprintf(GetCsnSetInstance()->GetSn(), sizeof kSerial, "%s", kSerial);
}

}  // namespace corvenna::test
