#pragma once

#include <string>
#include <vector>

#include "kest/Export.h"

namespace Tallowmere {

class InstallationDirReader;

/// Reads the Windows registry. On Linux the registry is a text file; see docs/registry.md.
///
/// Whatever fails is an ERROR line in the trace and then a std::runtime_error with the same text;
/// every text that ends in a system text ends in that one's line end. All operations may run on any
/// thread. A null key name stands for the hive itself, except where said otherwise.
class KEST_API Registry {
public:
    /// The root keys. Any other number stands for no key: opening fails with the system's text for
    /// an invalid handle.
    enum Hive : int { HKCR, HKCC, HKCU, HKLM, HKPD, HKPN, HKPT, HKU };

    /// Is handed the text of one value after the other.
    class KEST_API Function {
    public:
        Function() = default;                            ///< For the class derived from it.
        Function(const Function&) = default;             ///< The same.
        Function& operator=(const Function&) = default;  ///< The same.
        virtual ~Function();
        virtual void operator()(const std::wstring& value) = 0;  ///< Takes one value.
    };

    /// Stores the text of a value of the key in `value`; a null name means the key's default value.
    /// Whatever its type, its data is taken for text, two bytes a unit, up to the first zero unit:
    /// a number comes as the characters that its bytes spell. Up to 65536 bytes are read; more are
    /// a failure. After a failure `value` is as it was.
    static void getKeyValue(Hive hive, const wchar_t* subkey, const wchar_t* valueName,
                            std::wstring& value);

    /// Stores the names of the key's subkeys in `names`, in the registry's order; none when
    /// `subkey` is null. After a failure `names` holds those that came before it.
    static void getSubKeys(Hive hive, const wchar_t* subkey, std::vector<std::wstring>& names);

    /// Stores the names of the key's values in `names`, in the registry's order; the default
    /// value's is empty. After a failure `names` holds those that came before it.
    static void getValues(Hive hive, const wchar_t* subkey, std::vector<std::wstring>& names);

    /// Calls `function` with the value of that name of each subkey in turn. A subkey whose value
    /// cannot be read, and one for which `function` throws a standard exception, gets an ERROR
    /// line, and the next one follows; any other exception of `function` passes through.
    static void forEachSubKey(Hive hive, const wchar_t* subkey, const wchar_t* valueName,
                              Function& function);

private:
    /// Behind getInstallationDir (kest/system/FileSystem.h). A class, because a friend function
    /// would have to be declared twice, once imported from the library.
    friend class InstallationDirReader;

    /// getKeyValue for an open key.
    static void readKeyValue(void* root, const wchar_t* subkey, const wchar_t* valueName,
                             std::wstring& value);
    static void* hiveToKey(Hive hive);
    static std::wstring hiveToName(Hive hive);
};

}  // namespace Tallowmere
