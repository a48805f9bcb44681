#include "config/sn_set.h"

CsnSet::CsnSet() = default;

CsnSet::~CsnSet() = default;
