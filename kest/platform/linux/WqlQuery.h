#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The part of the service's query language that is understood: "SELECT * FROM class" and
/// "SELECT name, name FROM class", without regard to case.
namespace Tallowmere::platform::wql {

struct Query {
    /// The properties that are asked for; empty for all.
    std::vector<std::wstring> names;
    std::wstring className;
};

/// False for anything else. Our choice: a condition is anything else too; the library has none.
bool parse(std::wstring_view text, Query& query);

}  // namespace Tallowmere::platform::wql
