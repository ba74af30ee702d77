#pragma once

// Log statements that write nothing, for building what is traced once more without its trace: the
// folder stands before the library's own on the path of what is to be untraced.

#include "../../../../kest/diagnostics/Log.h"

#undef KEST_LOG_STATEMENT
#define KEST_LOG_STATEMENT(severity, pieces)               \
    do {                                                   \
        if constexpr (false) {                             \
            *::Tallowmere::Recorder::instance() << pieces; \
        }                                                  \
    } while (false)
