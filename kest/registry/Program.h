#pragma once

#include <string>
#include <vector>

#include "kest/Export.h"

namespace Tallowmere {

/// A program that can be started: where it is, what it is called, its options and the file
/// extensions that it handles.
class KEST_API Program {
public:
    /// A program without path and options; the extensions come as one text, with commas.
    Program(const std::wstring& name, const std::wstring& extensions);
    Program(const std::wstring& name, const std::vector<std::wstring>& extensions);  ///< The same.
    virtual ~Program();
    /// Makes this one the same as another in all four fields. (A new one is made by clone.)
    Program& operator=(const Program&) = default;

    /// Whether the name of an installed product contains this program's name, in the same case. The
    /// products are those that were installed when the library was loaded.
    virtual bool isInstalled() const;
    /// A copy, which the caller owns.
    virtual Program* clone() const;
    virtual std::wstring getPath() const;            ///< Empty until setPath is called.
    virtual void setPath(const std::wstring& path);  ///< Where the program is.
    /// Starts the program with getCommand() as its command line; fails as launchProcess does.
    virtual void execute() const;
    /// The path, a blank and getOptions(). Nothing is quoted, so a path with blanks in it goes onto
    /// the command line as it is.
    virtual std::wstring getCommand() const;
    virtual std::wstring getOptions() const;               ///< Empty until setOptions is called.
    virtual void setOptions(const std::wstring& options);  ///< What follows the path.

    std::wstring getName() const;  ///< As it was constructed.
    /// Replaces the extensions; a text is cut at its commas, as by split.
    void setExtensions(const std::wstring& extensions);
    void setExtensions(const std::vector<std::wstring>& extensions);  ///< The same.
    /// Adds extensions behind those that are there; one that is there already is added again.
    void addExtensions(const std::wstring& extensions);
    void addExtensions(const std::vector<std::wstring>& extensions);  ///< The same.
    std::vector<std::wstring> getExtensions() const;  ///< In the order in which they came.

protected:
    Program(const Program&);  ///< For clone.

private:
    std::wstring path;
    std::wstring name;
    std::wstring options;
    std::vector<std::wstring> extensions;
};

}  // namespace Tallowmere
