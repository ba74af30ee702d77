#include "kest/platform/testing/ScriptedWorld.h"

#include <algorithm>
#include <cwctype>
#include <stdexcept>

namespace Tallowmere::platform::testing {
namespace {

constexpr const wchar_t* kPrefix = L"\\\\?\\";
constexpr std::size_t kPrefixLength = 4;
constexpr int kMostLinks = 63;

bool startsWith(const std::wstring& text, const std::wstring& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isSame(const std::wstring& left, const std::wstring& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) {
                          return std::towlower(static_cast<std::wint_t>(a)) ==
                                 std::towlower(static_cast<std::wint_t>(b));
                      });
}

bool isDrive(const std::wstring& name) {
    return name.size() >= 2 && name[1] == L':';
}

}  // namespace

bool ScriptedWorld::Node::isLink() const {
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (tag == IO_REPARSE_TAG_SYMLINK || tag == IO_REPARSE_TAG_MOUNT_POINT);
}

DWORD ScriptedWorld::takeApart(const std::wstring& path, Route& route) const {
    const bool isVerbatim = startsWith(path, kPrefix);
    const std::wstring rest = isVerbatim ? path.substr(kPrefixLength) : path;
    if (startsWith(rest, kPrefix)) {
        return ERROR_INVALID_NAME;
    }
    if (rest.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    const auto isSeparator = [&](wchar_t c) { return c == L'\\' || (c == L'/' && !isVerbatim); };
    route.endsInSeparator = isSeparator(rest.back());
    std::vector<std::wstring> all;
    for (std::size_t at = 0; at < rest.size();) {
        std::size_t end = at;
        while (end < rest.size() && !isSeparator(rest[end])) {
            ++end;
        }
        if (end > at) {
            all.push_back(rest.substr(at, end - at));
        } else if (isVerbatim) {
            // Such a path is taken as it stands, and no name is empty.
            return ERROR_INVALID_NAME;
        }
        at = end + 1;
    }
    if (!isVerbatim && !isSeparator(rest[0])) {
        Route current;
        const bool isRelative = !isDrive(all[0]);
        const bool isDriveRelative =
            !isRelative && (all[0].size() > 2 || (all.size() == 1 && !route.endsInSeparator));
        if (isRelative || isDriveRelative) {
            (void)takeApart(currentDirectory, current);
        }
        if (isDriveRelative) {
            if (!isSame(current.names[0], all[0].substr(0, 2))) {
                current.names = {all[0].substr(0, 2)};
            }
            all[0].erase(0, 2);
        }
        all.insert(all.begin(), current.names.begin(), current.names.end());
    }
    for (std::wstring& name : all) {
        if (!isVerbatim && name == L"..") {
            if (route.names.size() > 1) {
                route.names.pop_back();
            }
        } else if (isVerbatim || (name != L"." && !name.empty())) {
            route.names.push_back(std::move(name));
        }
    }
    return ERROR_SUCCESS;
}

int ScriptedWorld::childOf(int parent, const std::wstring& name) const {
    for (const int child : (*this)[parent].children) {
        if (isSame((*this)[child].name, name)) {
            return child;
        }
    }
    return -1;
}

DWORD ScriptedWorld::follow(const std::vector<std::wstring>& names, bool followLast, int links,
                            int& node) const {
    node = kRoot;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool isLast = i + 1 == names.size();
        const int child = childOf(node, names[i]);
        if (child < 0) {
            return isLast ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        }
        node = child;
        const Node& found = (*this)[node];
        if (found.isLink() && (!isLast || followLast)) {
            if (links == kMostLinks) {
                return ERROR_CANT_RESOLVE_FILENAME;
            }
            Route target;
            DWORD error = takeApart(found.content, target);
            if (error == ERROR_SUCCESS) {
                target.names.insert(target.names.end(),
                                    names.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                    names.end());
                error = follow(target.names, followLast, links + 1, node);
            }
            return error;
        }
        if (!isLast && !found.isDirectory()) {
            return ERROR_PATH_NOT_FOUND;
        }
    }
    return ERROR_SUCCESS;
}

DWORD ScriptedWorld::find(const std::wstring& path, bool followLast, int& node) const {
    Route route;
    DWORD error = takeApart(path, route);
    if (error == ERROR_SUCCESS) {
        error = follow(route.names, followLast, 0, node);
    }
    if (error == ERROR_SUCCESS && route.endsInSeparator && !(*this)[node].isDirectory()) {
        error = ERROR_INVALID_NAME;
    }
    return error;
}

DWORD ScriptedWorld::findPlace(const std::wstring& path, int& parent, std::wstring& name) const {
    Route route;
    DWORD error = takeApart(path, route);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (route.names.size() < 2) {
        return ERROR_ACCESS_DENIED;
    }
    name = route.names.back();
    route.names.pop_back();
    error = follow(route.names, true, 0, parent);
    if (error != ERROR_SUCCESS || !(*this)[parent].isDirectory()) {
        return ERROR_PATH_NOT_FOUND;
    }
    return ERROR_SUCCESS;
}

int ScriptedWorld::add(int parent, Node node) {
    const int number = static_cast<int>(m_nodes.size());
    node.parent = parent;
    m_nodes.push_back(std::move(node));
    (*this)[parent].children.push_back(number);
    return number;
}

void ScriptedWorld::erase(int node) {
    std::vector<int>& siblings = (*this)[(*this)[node].parent].children;
    siblings.erase(std::find(siblings.begin(), siblings.end(), node));
}

int ScriptedWorld::make(const std::wstring& path, Node node) {
    Route route;
    if (takeApart(path, route) != ERROR_SUCCESS || route.names.empty()) {
        throw std::invalid_argument("not a path to make something at");
    }
    node.name = route.names.back();
    route.names.pop_back();
    int parent = kRoot;
    for (std::wstring& name : route.names) {
        const int child = childOf(parent, name);
        Node directory;
        directory.name = std::move(name);
        parent = child >= 0 ? child : add(parent, std::move(directory));
    }
    const int old = childOf(parent, node.name);
    if (old >= 0) {
        erase(old);
    }
    return add(parent, std::move(node));
}

std::wstring ScriptedWorld::pathOf(int node) const {
    std::vector<int> way;
    for (; node != kRoot; node = (*this)[node].parent) {
        way.push_back(node);
    }
    if (way.empty()) {
        return L"\\";
    }
    std::wstring path = (*this)[way.back()].name;
    const bool isRoot = way.size() == 1;
    for (way.pop_back(); !way.empty(); way.pop_back()) {
        path.append(1, L'\\').append((*this)[way.back()].name);
    }
    if (!isDrive(path)) {
        return L"\\\\" + path;
    }
    return isRoot ? path + L'\\' : path;
}

std::map<std::wstring, std::wstring> ScriptedWorld::snapshot() const {
    std::map<std::wstring, std::wstring> all;
    std::vector<int> pending = {kRoot};
    while (!pending.empty()) {
        const int node = pending.back();
        pending.pop_back();
        for (const int child : (*this)[node].children) {
            if (node != kRoot) {
                describe(child, all);
            }
            pending.push_back(child);
        }
    }
    return all;
}

void ScriptedWorld::describe(int node, std::map<std::wstring, std::wstring>& all) const {
    const Node& described = (*this)[node];
    std::wstring& text = all[pathOf(node)];
    const bool hasReparse = (described.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (described.isLink()) {
        text =
            (described.tag == IO_REPARSE_TAG_SYMLINK ? L"link " : L"junction ") + described.content;
    } else if (hasReparse) {
        text = L"other " + std::to_wstring(described.attributes) + L" " +
               std::to_wstring(described.tag);
    } else {
        text = described.isDirectory() ? L"dir" : L"file " + described.content;
    }
}

}  // namespace Tallowmere::platform::testing
