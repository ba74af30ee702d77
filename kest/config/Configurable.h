#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

class ConfigurableImpl;

/// The properties of a settings file, read once when the object is made. A property stands on a
/// line of its own, as an element whose name is the property's: `<port>8080</port>`. Whatever else
/// the file holds is passed over without a word.
class KEST_API Configurable {
public:
    /// Reads the file at `fileName`, each character of which is cut to its low byte; null counts as
    /// the empty name. Throws std::runtime_error, its text also a trace line, when the file cannot
    /// be opened: "fopen ", the name, " failed: " and a system text. The text belongs to the C
    /// run-time's error number, taken for one of the system's: 13, permission denied, reads as the
    /// system's text about invalid data.
    explicit Configurable(const wchar_t* fileName);
    /// Copies of one object share what it read, and each would delete it: all but one are left
    /// alone in the end.
    Configurable(const Configurable&) = default;
    Configurable& operator=(const Configurable&) = default;  ///< As for a copy.
    ~Configurable();

    /// The value of the property `name`, which is compared exactly; of several with that name, the
    /// last in the file. Empty, with a warning in the trace, when the file does not define it.
    std::wstring getProperty(const std::wstring& name) const;

private:
    ConfigurableImpl* impl;
};

}  // namespace Tallowmere
