#include "kest/registry/InstalledPrograms.h"

#include "kest/registry/InstalledProgramsImpl.h"

namespace Tallowmere {

InstalledPrograms::InstalledPrograms() : impl(new InstalledProgramsImpl) {}

InstalledPrograms::~InstalledPrograms() {
    delete impl;
}

Program& InstalledPrograms::first() {
    return impl->first();
}

Program& InstalledPrograms::last() {
    return impl->last();
}

bool InstalledPrograms::next() {
    return impl->next();
}

bool InstalledPrograms::previous() {
    return impl->previous();
}

Program& InstalledPrograms::current() {
    return impl->current();
}

void InstalledPrograms::refresh() {
    impl->refresh();
}

unsigned int InstalledPrograms::numberOfObjects() const {
    return impl->numberOfObjects();
}

bool InstalledPrograms::isInstalled(const std::wstring& name) const {
    return impl->isInstalled(name);
}

}  // namespace Tallowmere
