#pragma once

#include <cstdint>
#include <string>

#include "kest/Export.h"

/// Paths taken apart as text: nothing here touches the file system, throws or keeps state.
namespace Tallowmere {

KEST_API std::wstring baseName(const std::wstring& path);
KEST_API std::wstring getFileExtension(const std::wstring& path);
KEST_API void changeExtension(std::wstring& path, const wchar_t* extension);
KEST_API std::uint64_t getPathLastComponent(const std::wstring& path);
KEST_API std::wstring normalizePath(const std::wstring& path);
KEST_API wchar_t getDrive(const std::wstring& path);
KEST_API bool isDriveRootedPath(const std::wstring& path);
KEST_API bool arePathsOnTheSameDrive(const std::wstring& first, const std::wstring& second);
KEST_API std::wstring getCurrentPath(const std::wstring& path);
KEST_API std::wstring getCurrentPathNoDrive(const std::wstring& path);

}  // namespace Tallowmere
