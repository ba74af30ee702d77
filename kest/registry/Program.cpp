#include "kest/registry/Program.h"

#include <iterator>

#include "kest/registry/Catalogue.h"
#include "kest/registry/InstalledPrograms.h"
#include "kest/system/System.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

Program::Program(const std::wstring& ownName, const std::wstring& extensionsText) : name(ownName) {
    split(extensionsText, L',', extensions);
}

Program::Program(const std::wstring& ownName, const std::vector<std::wstring>& ownExtensions)
    : name(ownName), extensions(ownExtensions) {}

Program::Program(const Program&) = default;

Program::~Program() = default;

bool Program::isInstalled() const {
    return s_installedPrograms.isInstalled(name);
}

Program* Program::clone() const {
    return new Program(*this);
}

std::wstring Program::getPath() const {
    return path;
}

void Program::setPath(const std::wstring& newPath) {
    path = newPath;
}

void Program::execute() const {
    launchProcess(getCommand());
}

std::wstring Program::getCommand() const {
    // Deliberate: the path is not quoted, and the blank is there without options, too.
    return path + L" " + getOptions();
}

std::wstring Program::getOptions() const {
    return options;
}

void Program::setOptions(const std::wstring& newOptions) {
    options = newOptions;
}

std::wstring Program::getName() const {
    return name;
}

void Program::setExtensions(const std::wstring& text) {
    split(text, L',', extensions);
}

void Program::setExtensions(const std::vector<std::wstring>& newExtensions) {
    extensions = newExtensions;
}

void Program::addExtensions(const std::wstring& text) {
    std::vector<std::wstring> pieces;
    split(text, L',', pieces);
    addExtensions(pieces);
}

void Program::addExtensions(const std::vector<std::wstring>& more) {
    // Through a copy: they may be this program's own.
    std::vector<std::wstring> added = more;
    extensions.insert(extensions.end(), std::make_move_iterator(added.begin()),
                      std::make_move_iterator(added.end()));
}

std::vector<std::wstring> Program::getExtensions() const {
    return extensions;
}

}  // namespace Tallowmere
