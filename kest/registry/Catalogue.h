#pragma once

namespace Tallowmere {

class InstalledPrograms;

/// The catalogue that is filled while the library is being loaded; see exports/Load.cpp.
extern InstalledPrograms s_installedPrograms;

}  // namespace Tallowmere
