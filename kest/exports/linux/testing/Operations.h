#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Every public operation of the library, each made ready to be run again and again while something
/// fails under it.
namespace Tallowmere::testing {

struct Operation {
    std::string name;
    /// Puts its part of the world back, with nothing failing.
    std::function<void()> before;
    /// Runs it once, under whatever fails; its result as a text.
    std::function<std::string()> run;
    /// With nothing failing any more: what came of it, given what run has told or thrown, and what
    /// it has left on the disk.
    std::function<std::string(const std::string&)> after;
    /// What may come of it when a call fails once, by the call's name. Any other call may fail and
    /// nobody notices. "%E" stands for the system's text of the error that the call gave, and ""
    /// for what comes of it when nothing fails.
    std::map<std::string, std::vector<std::string>> promises;
    /// What may come of it in addition when memory runs out.
    std::vector<std::string> withoutMemory;
};

/// One run of an operation. Made while something fails, told when nothing does any more.
class Attempt {
public:
    explicit Attempt(const Operation& operation) noexcept : m_operation(operation) {}
    void run() noexcept;
    std::string outcome() const;

private:
    const Operation& m_operation;
    std::string m_result;
    std::exception_ptr m_thrown;
};

/// A world for all of them: a folder with trees, a registry, a list of shares, a management
/// service, a zone, and a trace that goes nowhere.
class World {
public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    const std::deque<Operation>& operations() const { return m_operations; }

    /// Whether another thread can write a trace line and use the entry points for C, at once.
    static bool isTraceFree();

private:
    struct Parts;

    void addText();
    void addTime();
    void addDiagnostics();
    void addFiles();
    void addSystem();
    void addRegistry();
    void addTrees();
    void addRestore();
    Operation& add(const std::string& name, std::function<std::string()> run);

    std::unique_ptr<Parts> m_parts;
    std::deque<Operation> m_operations;
};

/// A text's first line in bytes.
std::string plain(const std::wstring& text);

}  // namespace Tallowmere::testing
