#pragma once

namespace Tallowmere {

/// What the C entry point of the same name does (kest/c_api.h). Exceptions outside the standard
/// family pass through.
bool restoreSystem(unsigned long sequenceNumber, wchar_t** error);

}  // namespace Tallowmere
