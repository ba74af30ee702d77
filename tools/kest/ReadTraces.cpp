#include "Verbs.h"
#include "trace/System.h"
#include "trace/Trace.h"

namespace Tallowmere::command {
namespace {

trace::Options optionsOf(const Operands& operands, const Options& given) {
    const auto all = [&](const wchar_t* name) {
        const auto found = given.find(name);
        return found == given.end() ? std::vector<std::wstring>() : found->second;
    };
    // Of an option that counts once, the last one.
    const auto last = [&](const wchar_t* name) {
        const std::vector<std::wstring> values = all(name);
        return values.empty() ? std::wstring() : values.back();
    };
    const auto isGiven = [&](const wchar_t* name) { return given.count(name) != 0; };

    trace::Options options;
    options.files = operands;
    options.severity = last(L"--severity");
    options.since = last(L"--since");
    options.until = last(L"--until");
    options.threads = all(L"--thread");
    options.modules = all(L"--module");
    options.processes = all(L"--process");
    options.texts = all(L"--text");
    options.follow = isGiven(L"--follow");
    options.summary = isGiven(L"--summary");
    options.json = isGiven(L"--json");
    if (isGiven(L"--html")) {
        options.html = last(L"--html");
    }
    return options;
}

}  // namespace

std::wstring mistakeInTraces(const Operands& operands, const Options& options) {
    return trace::mistakeIn(optionsOf(operands, options));
}

bool readTraces(const Call& call) {
    const std::unique_ptr<trace::Output> out = trace::standardOutput();
    const std::unique_ptr<trace::Output> errors = trace::standardError();
    return trace::run(optionsOf(call.operands, call.options), *out, *errors) == 0;
}

}  // namespace Tallowmere::command
