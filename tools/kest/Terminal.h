#pragma once

#include <cstdio>
#include <string>

/// What differs between the systems for a program that talks to a person.
namespace Tallowmere::command {

/// Writes `text` to standard output, names as they are on the disk.
void say(const std::wstring& text);

/// Writes `text` to standard error.
void complain(const std::wstring& text);

/// Writes `question` to standard output and reads one line of standard input. Whether it is "y" or
/// "yes", in any case; an input that has ended is a no.
bool confirm(const std::wstring& question);

/// Opens a text file for writing and empties it; it is not handed to other processes. Null, with
/// `errno` set, when that fails.
std::FILE* openForWriting(const std::wstring& path);

}  // namespace Tallowmere::command
