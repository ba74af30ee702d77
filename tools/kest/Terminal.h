#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

/// What differs between the systems for a program that talks to a person.
namespace Tallowmere::command {

/// Standard output could not be written: a full disk, a pipe that nobody reads any more.
class OutputFailed : public std::exception {
public:
    explicit OutputFailed(std::wstring reason) : m_reason(std::move(reason)) {}
    const wchar_t* reason() const { return m_reason.c_str(); }
    const char* what() const noexcept override { return "standard output cannot be written"; }

private:
    std::wstring m_reason;
};

/// Writes `text` to standard output, names as they are on the disk. Throws OutputFailed.
void say(const std::wstring& text);

/// Writes bytes to standard output that are UTF-8 already, on every system the same. Throws
/// OutputFailed.
void sayBytes(const std::string& bytes);

/// Writes `text` to standard error as it is. Nothing can be done when that fails.
void complain(const std::wstring& text);

/// Writes "kest: ", `text` and a line end to standard error.
void complainLine(const std::wstring& text);

/// Writes `question` to standard output and reads one line of standard input. Whether it is "y" or
/// "yes", in any case; an input that has ended is a no.
bool confirm(const std::wstring& question);

/// Opens a text file for writing and empties it; it is not handed to other processes. Null, with
/// `errno` set, when that fails.
std::FILE* openForWriting(const std::wstring& path);

/// Whether standard error is a terminal that understands the return to the line's beginning.
bool isErrorTerminal();

/// Whether it is one that understands escape sequences, which clear and colour.
bool understandsSequences();

/// Whether this program may write to its terminal now: not while it is in the background.
bool isInForeground();

/// The terminal's width in columns; 80 when it does not tell.
std::size_t terminalWidth();

}  // namespace Tallowmere::command
