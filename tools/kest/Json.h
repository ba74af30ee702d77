#pragma once

#include <string>
#include <utility>
#include <vector>

/// JSON, as far as the command writes it: one value a line, for scripts.
namespace Tallowmere::command::json {

/// The text in quotes, in ASCII where there could be doubt: control characters, half a surrogate
/// pair, and the private-use characters that stand for what no UTF-8 can express (see
/// kest/text/NativeText.h), which a reader would else get as broken bytes.
std::string text(const std::wstring& text);

/// {"name": value, ...}; the values are JSON already.
using Member = std::pair<const char*, std::string>;
std::string object(const std::vector<Member>& members);

/// The values one a line, between brackets, with a line feed at the end.
std::string list(const std::vector<std::string>& values);

}  // namespace Tallowmere::command::json
