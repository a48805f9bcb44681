#include "config/forward_config.h"

CForwardConfig::CForwardConfig() = default;

CForwardConfig::~CForwardConfig() = default;
