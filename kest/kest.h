#pragma once

/// Everything that a C++ host needs. A C host includes kest/c_api.h alone.

#include "kest/c_api.h"
#include "kest/diagnostics/Exception.h"
#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/restore/RestorePoint.h"
#include "kest/sync/Lock.h"
#include "kest/system/FileSystem.h"
#include "kest/system/System.h"
#include "kest/text/HistoryPaths.h"
#include "kest/text/NativeText.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"
#include "kest/time/DateTime.h"
#include "kest/time/TimeText.h"
#include "kest/transacted/Failure.h"
#include "kest/transacted/Links.h"
#include "kest/transacted/TransactedFS.h"
