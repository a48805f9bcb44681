#include "http/https.h"

CHttps::CHttps() : result_{}, lock_ PTHREAD_MUTEX_INITIALIZER {}

CHttps::~CHttps() = default;
