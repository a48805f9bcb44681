#include "message/parse_memory.h"

CParseMemory::CParseMemory() { pthread_mutex_init(&mutex_, nullptr); }

CParseMemory::~CParseMemory() { pthread_mutex_destroy(&mutex_); }
