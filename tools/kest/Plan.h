#pragma once

#include "Verbs.h"

namespace Tallowmere::command {

/// Says what a copy would do, and does nothing. False when it would fail.
bool tellPlan(const Call& call, const std::wstring& source, const std::wstring& destination);

/// Compares a copy with its source and says what differs. False when something does.
bool verifyCopy(const std::wstring& source, const std::wstring& copy);

}  // namespace Tallowmere::command
