#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::management {

/// A new locator with one reference; null without memory.
IWbemLocator* createLocator();

/// How many objects there are, of all kinds together. For tests.
int liveObjects();

}  // namespace Tallowmere::platform::management
