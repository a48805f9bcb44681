#include <cstdio>

#include "config/sys_set.h"

namespace {

constexpr char kEnd[] = "******************************************\n";

}  // namespace

int CSysSet::ShowCloudConfig() {
    std::printf("The address of m_cloudConfigInfo is %p\n", static_cast<void *>(&cloud_));
    return ShowCloudConfig(&cloud_);
}

int CSysSet::ShowCloudConfig(const ST_CLOUDSERVER_CONFIG_ATTR *config) {
    if (config == nullptr) {
        std::printf("Err,The Pointer of CloudConfigInfo is NULL\n");
        return -1;
    }
    std::printf("*************** Cloud Config Info ***************\n");
    std::printf("checked=%d\n", config->checked);
    std::printf("cloudip=%s,port = %d\n", config->cloudip, config->port);
    std::printf("Dir=%s\n", config->Dir);
    std::printf("RealDataInv=%d \n", config->RealDataInv);
    std::printf("AlarmDataInv = %d\n", config->AlarmDataInv);
    std::printf("HeartBeatInv = %d\n", config->HeartBeatInv);
    std::printf("CheckFailInv = %d\n", config->CheckFailInv);
    std::printf("RecallInv = %d\n", config->RecallInv);
    std::printf("filetype = %s\n", config->filetype);
    std::printf("isCompress = %d\n", config->isCompress);
    std::printf("%s", kEnd);
    return 0;
}

int CSysSet::ShowGateWayInfo() {
    std::printf("The address of m_gateWayInfo is %p\n", static_cast<void *>(&gateway_));
    return ShowGateWayInfo(&gateway_);
}

int CSysSet::ShowGateWayInfo(const ST_GATEWAY_INFO *info) {
    if (info == nullptr) {
        std::printf("Err,The Pointer of GateWayInfo is NULL\n");
        return -1;
    }
    std::printf("*************** GateWay Info ***************\n");
    std::printf("stationName=%s\n", info->stationName);
    std::printf("version = %s\n", info->version);
    std::printf("roomName=%s\n", info->roomName);
    std::printf("roomDesc=%s\n", info->roomDesc);
    std::printf("gateWayName=%s\n", info->gateWayName);
    std::printf("address=%s\n", info->address);
    std::printf("ownerName=%s\n", info->ownerName);
    std::printf("ownerDesc=%s\n", info->ownerDesc);
    std::printf("longitude=%s,latitude =%s\n", info->longitude, info->latitude);
    std::printf("%s", kEnd);
    return 0;
}

int CSysSet::ShowHttpsCertInfo() {
    return ShowHttpsCertInfo(&https_);
}

int CSysSet::ShowHttpsCertInfo(const ST_HTTPS_CERT_INFO *info) {
    if (info == nullptr) {
        return -1;  // Ours: the other printers say so first, this one never did.
    }
    std::printf("*************** HTTPS Cert Info ***************\n");
    std::printf("checked=%d\n", info->checked);
    std::printf("certfile=%s\n", info->certfile);
    std::printf("user = %s\n", info->user);
    std::printf("passwd=%s\n", info->passwd);  // On purpose: in clear, for commissioning.
    std::printf("%s", kEnd);
    return 0;
}
