#pragma once

#include <string>

#include "kest/Export.h"
#include "kest/registry/Iterator.h"
#include "kest/registry/Program.h"

namespace Tallowmere {

class InstalledProgramsImpl;

/// The products that the Windows Installer has registered on the machine, by name, as they were
/// when the object was made or last refreshed. A registry that cannot be read makes for an empty
/// catalogue and ERROR lines in the trace; nothing is thrown.
///
/// The position is at a product or past the end. Asking for a product where there is none, past the
/// end or in an empty catalogue, ends the process. Threads share one object for isInstalled and
/// numberOfObjects only.
class KEST_API InstalledPrograms : private Iterator<Program> {
public:
    /// Reads the registry; the position is the first product.
    InstalledPrograms();
    ~InstalledPrograms() override;
    /// Copies of one object share its products, and each would delete them: all but one are left
    /// alone in the end.
    InstalledPrograms(const InstalledPrograms&) = default;
    InstalledPrograms& operator=(const InstalledPrograms&) = default;  ///< As for a copy.

    /// Moves to the first product, in the order of the names' units. The catalogue owns it; it is
    /// valid until the next refresh.
    Program& first() override;
    Program& last() override;  ///< The same for the last product.
    /// False once past the last product, where it stays.
    bool next() override;
    /// False at the first product, where it stays.
    bool previous() override;
    Program& current() override;  ///< The product at the position.
    /// Reads the products again. The position is not valid until first or last was called.
    void refresh() override;
    unsigned int numberOfObjects() const override;  ///< How many products there are.
    /// Whether a product's name contains `name`, in the same case.
    bool isInstalled(const std::wstring& name) const;

private:
    InstalledProgramsImpl* impl;
};

}  // namespace Tallowmere
