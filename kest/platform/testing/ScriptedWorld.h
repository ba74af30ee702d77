#pragma once

#include <map>
#include <string>
#include <vector>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::testing {

/// Drives, directories, files and links in memory, found by paths as Windows finds them. A value:
/// a copy is another world in the same state.
class ScriptedWorld {
public:
    struct Node {
        std::wstring name;
        DWORD attributes = FILE_ATTRIBUTE_DIRECTORY;
        DWORD tag = 0;
        /// A file's text, or the absolute path to which a link leads.
        std::wstring content;
        int parent = kRoot;
        /// In the order in which they were made.
        std::vector<int> children;

        bool isDirectory() const { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
        /// Whether a path leads on through it.
        bool isLink() const;
    };

    /// Above all drives. Every other node has a larger number, which it keeps.
    static constexpr int kRoot = 0;

    ScriptedWorld() : m_nodes(1) {}

    /// The node at `path`; of a link, with `follow`, what it leads to. Returns 0 or the error code.
    DWORD find(const std::wstring& path, bool follow, int& node) const;

    /// Where `path` stands or would stand: the directory and the name. Returns 0 or the error code.
    DWORD findPlace(const std::wstring& path, int& parent, std::wstring& name) const;

    const Node& operator[](int node) const { return m_nodes[static_cast<std::size_t>(node)]; }
    Node& operator[](int node) { return m_nodes[static_cast<std::size_t>(node)]; }

    /// Puts a node into the directory `parent`; there must be none of its name.
    int add(int parent, Node node);
    void erase(int node);
    /// Makes the directories on the way to `path` and the node itself, in place of what was there.
    int make(const std::wstring& path, Node node);

    /// The full path, in the letters in which the names were made.
    std::wstring pathOf(int node) const;

    /// All nodes below the drives, by path: "dir", "file CONTENT", "link TARGET", "junction TARGET",
    /// or "other" with the attributes and the tag in decimal.
    std::map<std::wstring, std::wstring> snapshot() const;

    /// What relative paths are relative to.
    std::wstring currentDirectory = L"C:\\";

private:
    /// A path taken apart.
    struct Route {
        std::vector<std::wstring> names;
        bool endsInSeparator = false;
    };

    DWORD takeApart(const std::wstring& path, Route& route) const;
    DWORD follow(const std::vector<std::wstring>& names, bool followLast, int links,
                 int& node) const;
    int childOf(int parent, const std::wstring& name) const;
    void describe(int node, std::map<std::wstring, std::wstring>& all) const;

    std::vector<Node> m_nodes;
};

}  // namespace Tallowmere::platform::testing
