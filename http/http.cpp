#include "http/http.h"

CHttp::CHttp() : result_{}, lock_ PTHREAD_MUTEX_INITIALIZER {}

CHttp::~CHttp() = default;
