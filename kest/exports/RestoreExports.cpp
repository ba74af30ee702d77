#include "kest/c_api.h"
#include "kest/restore/SystemRestore.h"

extern "C" bool restoreSystem(unsigned long sequenceNumber, wchar_t** error) {
    return Tallowmere::restoreSystem(sequenceNumber, error);
}
