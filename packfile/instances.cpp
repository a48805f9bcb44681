#include "base/single_instance.h"
#include "packfile/packfile.h"

CORVENNA_WEAK CPackFile *GetCPackFileInstance() {
    return corvenna::SingleInstance<CPackFile>();
}
