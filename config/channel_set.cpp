#include "config/channel_set.h"

CChannelSet::CChannelSet() = default;

CChannelSet::~CChannelSet() = default;
