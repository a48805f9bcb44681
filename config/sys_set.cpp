#include "config/sys_set.h"

CSysSet::CSysSet() = default;

CSysSet::~CSysSet() = default;
