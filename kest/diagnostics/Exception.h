#pragma once

#include <cstdint>
#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// The failure type for the product's programs: a reason with the source file and line of its
/// origin. The library itself never throws it. Raise it so: construct it from `__FILE__` and
/// `__LINE__`, call setReason, throw it by value; catch it by reference.
class KEST_API Exception {
public:
    /// `file` is kept as passed, folders and all, each byte widened to one character as by
    /// convertToWString; null stands for no name. The reason is empty at first.
    Exception(const char* file, int line);
    virtual ~Exception();

    /// Appends `reason`; a second call adds its text after the first.
    virtual void setReason(const std::wstring& reason);

    /// The reason alone. Valid until the object changes or ends.
    virtual const wchar_t* getReason() const;

    /// File, ":", line, ": ", reason. Valid until the object changes or ends.
    virtual const wchar_t* getDetailedReason() const;

    Exception(const Exception&) = default;             ///< The same texts.
    Exception& operator=(const Exception&) = default;  ///< Takes the other's texts.

private:
    std::int32_t reasonOffset;
    std::wstring text;
};

}  // namespace Tallowmere
