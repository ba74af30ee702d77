#pragma once

#include <map>
#include <string>
#include <vector>

#include "kest/registry/Iterator.h"
#include "kest/registry/Program.h"
#include "kest/registry/Registry.h"

namespace Tallowmere {

/// What an InstalledPrograms points to.
class InstalledProgramsImpl : private Iterator<Program> {
public:
    using Products = std::map<std::wstring, Program*>;

    InstalledProgramsImpl();
    ~InstalledProgramsImpl() override;
    InstalledProgramsImpl(const InstalledProgramsImpl&) = delete;
    InstalledProgramsImpl& operator=(const InstalledProgramsImpl&) = delete;

    Program& first() override;
    Program& last() override;
    bool next() override;
    bool previous() override;
    Program& current() override;
    void refresh() override;
    unsigned int numberOfObjects() const override;
    bool isInstalled(const std::wstring& name) const;

    /// The value names of the installer's list of folders.
    const std::vector<std::wstring>& installerFolders() const { return folders; }

private:
    class AddProgram;

    void loadProducts();
    void loadFolders();
    void deleteProducts();

    Products products;
    std::vector<std::wstring> folders;
    Products::iterator position;
};

}  // namespace Tallowmere
