#pragma once

#include <string>

#include "Verbs.h"

namespace Tallowmere::command {

/// What `kest --help` says: all verbs and what holds for each of them.
std::wstring overview();

/// What `kest VERB --help` says, with examples.
std::wstring helpOf(const Verb& verb);
/// The same for all verbs of one name, where there are several.
std::wstring helpOf(const std::wstring& name);

/// "usage: kest copy SOURCE DESTINATION [--dry-run] ..." and where to read more: what follows a
/// complaint about wrong use. Without a verb, the general form.
std::wstring shortUsage(const std::wstring& name);

}  // namespace Tallowmere::command
