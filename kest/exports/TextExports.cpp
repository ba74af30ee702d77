#include "kest/c_api.h"

void deleteKESTArray(wchar_t** text) {
    delete[] * text;
    *text = nullptr;
}
