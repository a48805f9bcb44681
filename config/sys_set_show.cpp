#include <cstdio>

#include "config/sys_set.h"

int CSysSet::ShowCloudConfig() {
    std::printf("The address of m_cloudConfigInfo is %p\n", static_cast<void *>(&cloud_));
    return ShowCloudConfig(&cloud_);
}

int CSysSet::ShowCloudConfig(const ST_CLOUDSERVER_CONFIG_ATTR *config) {
    if (config == nullptr) {
        std::printf("Err,The Pointer of CloudConfigInfo is NULL\n");
        return -1;
    }
    std::printf(
        "*************** Cloud Config Info ***************\n"
        "checked=%d\n"
        "cloudip=%s,port = %d\n"
        "Dir=%s\n"
        "RealDataInv=%d \n"
        "AlarmDataInv = %d\n"
        "HeartBeatInv = %d\n"
        "CheckFailInv = %d\n"
        "RecallInv = %d\n"
        "filetype = %s\n"
        "isCompress = %d\n"
        "******************************************\n",
        config->checked, config->cloudip, config->port, config->Dir, config->RealDataInv,
        config->AlarmDataInv, config->HeartBeatInv, config->CheckFailInv, config->RecallInv,
        config->filetype, config->isCompress);
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
    std::printf(
        "*************** GateWay Info ***************\n"
        "stationName=%s\n"
        "version = %s\n"
        "roomName=%s\n"
        "roomDesc=%s\n"
        "gateWayName=%s\n"
        "address=%s\n"
        "ownerName=%s\n"
        "ownerDesc=%s\n"
        "longitude=%s,latitude =%s\n"
        "******************************************\n",
        info->stationName, info->version, info->roomName, info->roomDesc, info->gateWayName,
        info->address, info->ownerName, info->ownerDesc, info->longitude, info->latitude);
    return 0;
}

int CSysSet::ShowHttpsCertInfo() {
    return ShowHttpsCertInfo(&https_);
}

int CSysSet::ShowHttpsCertInfo(const ST_HTTPS_CERT_INFO *info) {
    if (info == nullptr) {
        return -1;  // Ours: the other printers say so first, this one never did.
    }
    std::printf(
        "*************** HTTPS Cert Info ***************\n"
        "checked=%d\n"
        "certfile=%s\n"
        "user = %s\n"
        "passwd=%s\n"  // On purpose: in clear, for commissioning.
        "******************************************\n",
        info->checked, info->certfile, info->user, info->passwd);
    return 0;
}
