#include "trace/CommandLine.h"

#include <cstddef>

#include "Terminal.h"
#include "trace/System.h"
#include "trace/Trace.h"

namespace Tallowmere::command::trace {
namespace {

constexpr int kDone = 0;
constexpr int kWrongUse = 2;

/// Whether there is an option of that name that takes a value; it is then stored.
bool takeValue(const std::wstring& name, const std::wstring& value, Options& options) {
    if (name == L"--severity") {
        options.severity = value;
    } else if (name == L"--since") {
        options.since = value;
    } else if (name == L"--until") {
        options.until = value;
    } else if (name == L"--thread") {
        options.threads.push_back(value);
    } else if (name == L"--module") {
        options.modules.push_back(value);
    } else if (name == L"--process") {
        options.processes.push_back(value);
    } else if (name == L"--text") {
        options.texts.push_back(value);
    } else if (name == L"--html") {
        options.html = value;
    } else {
        return false;
    }
    return true;
}

bool takeFlag(const std::wstring& name, Options& options) {
    if (name == L"--follow") {
        options.follow = true;
    } else if (name == L"--summary") {
        options.summary = true;
    } else if (name == L"--json") {
        options.json = true;
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::wstring usage() {
    return L"usage: kest trace FILE... [--severity info|warning|error|critical]\n"
           L"                  [--since TIME] [--until TIME] [--thread NUMBER]... [--module "
           L"NAME]...\n"
           L"                  [--process TEXT]... [--text TEXT]...\n"
           L"                  [--follow | --summary] [--json] | [--html PAGE]\n";
}

bool readArguments(const std::vector<std::wstring>& arguments, Options& options,
                   std::wstring& mistake) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument.front() != L'-') {
            options.files.push_back(argument);
            continue;
        }
        if (argument == L"--") {
            optionsEnded = true;
            continue;
        }
        if (argument == L"--help") {
            mistake.clear();
            return false;
        }
        if (takeFlag(argument, options)) {
            continue;
        }
        const std::size_t equals = argument.find(L'=');
        const std::wstring name = argument.substr(0, equals);
        Options scratch;
        if (!takeValue(name, L"", scratch)) {
            mistake = L"unknown option " + argument;
            return false;
        }
        if (equals == std::wstring::npos && i + 1 == arguments.size()) {
            mistake = name + L" needs a value";
            return false;
        }
        const std::wstring value =
            equals == std::wstring::npos ? arguments[++i] : argument.substr(equals + 1);
        if (value.empty()) {
            mistake = name + L" needs a value";
            return false;
        }
        takeValue(name, value, options);
    }
    mistake = mistakeIn(options);
    return mistake.empty();
}

int perform(const std::vector<std::wstring>& arguments) {
    Options options;
    std::wstring mistake;
    if (!readArguments(arguments, options, mistake)) {
        if (mistake.empty()) {
            say(usage());
            return kDone;
        }
        complain(L"kest: " + mistake + L"\n" + usage());
        return kWrongUse;
    }
    const std::unique_ptr<Output> out = standardOutput();
    const std::unique_ptr<Output> err = standardError();
    return run(options, *out, *err);
}

}  // namespace Tallowmere::command::trace
