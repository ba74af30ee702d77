#include "trace/Trace.h"

#include <kest/kest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "trace/Lines.h"
#include "trace/Merge.h"
#include "trace/Page.h"
#include "trace/Query.h"
#include "trace/Summary.h"
#include "trace/System.h"
#include "trace/Text.h"
#include "trace/TraceFileBytes.h"

namespace Tallowmere::command::trace {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;

/// How long a followed file is left alone, in milliseconds: long for a machine, short for a person.
constexpr int kPause = 100;

/// What is wrong with the options first of all; `query` is filled in when nothing is.
std::wstring firstMistake(const Options& options, Query& query) {
    if (options.files.empty()) {
        return L"trace needs a file";
    }
    const bool isOneEmpty = std::any_of(options.files.begin(), options.files.end(),
                                        [](const std::wstring& path) { return path.empty(); });
    if (isOneEmpty) {
        return L"a path is empty";
    }
    if (options.html && options.html->empty()) {
        return L"a path is empty";
    }
    if (options.follow && (options.summary || options.html)) {
        return L"--follow has no end, so that there is no --summary and no --html of it";
    }
    if (options.html && (options.summary || options.json)) {
        return L"--html goes with neither --summary nor --json";
    }
    std::wstring mistake;
    readQuery(options, query, mistake);
    return mistake;
}

/// What a person calls the file.
std::string shownPath(const std::wstring& path) {
    std::string text;
    appendShown(text, toNative(path));
    return text;
}

/// The name alone where that tells the files apart.
std::vector<std::string> namesOf(const std::vector<std::wstring>& paths) {
    std::vector<std::string> names;
    for (const std::wstring& path : paths) {
        const std::wstring name = baseName(path);
        const bool isUnique =
            std::count_if(paths.begin(), paths.end(), [&name](const std::wstring& other) {
                return baseName(other) == name;
            }) == 1;
        names.push_back(toNative(isUnique ? name : path));
    }
    return names;
}

std::vector<std::wstring> wantedFiles(const Options& options) {
    std::vector<std::wstring> files;
    for (const std::wstring& file : options.files) {
        const auto isIn = [name = toUtf8(baseName(file))](const std::wstring& part) {
            return contains(name, toUtf8(part));
        };
        if (options.processes.empty() ||
            std::any_of(options.processes.begin(), options.processes.end(), isIn)) {
            files.push_back(file);
        }
    }
    return files;
}

/// Something went wrong that a person is told.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Bytes whose failures say of which file they are.
class NamedBytes : public Bytes {
public:
    NamedBytes(std::unique_ptr<Bytes> bytes, const std::wstring& path)
        : m_bytes(std::move(bytes)), m_path(path) {}

    State read(char* buffer, std::size_t size, std::size_t& count) override {
        try {
            return m_bytes->read(buffer, size, count);
        } catch (const std::runtime_error& error) {
            throw Failure("cannot read " + shownPath(m_path) + ": " + error.what());
        }
    }
    std::uint64_t lost() const override { return m_bytes->lost(); }

private:
    std::unique_ptr<Bytes> m_bytes;
    std::wstring m_path;
};

class Files {
public:
    Files(const std::vector<std::wstring>& paths, bool isGrowing) {
        for (const std::wstring& path : paths) {
            std::unique_ptr<Bytes> bytes;
            if (isGrowing) {
                bytes = std::make_unique<GrowingFile>(path);
            } else {
                bytes = std::make_unique<WholeFile>(opened(path));
            }
            m_bytes.push_back(std::make_unique<NamedBytes>(std::move(bytes), path));
            m_readers.push_back(
                std::make_unique<Reader>(*m_bytes.back(), m_readers.size(), isGrowing));
        }
    }

    std::vector<Reader*> readers() const {
        std::vector<Reader*> all;
        for (const auto& reader : m_readers) {
            all.push_back(reader.get());
        }
        return all;
    }

private:
    static SharedFile opened(const std::wstring& path) {
        SharedFile file;
        std::string reason;
        bool isMissing = false;
        if (!file.open(path, reason, isMissing)) {
            throw Failure("cannot read " + shownPath(path) + ": " + reason);
        }
        return file;
    }

    std::vector<std::unique_ptr<NamedBytes>> m_bytes;
    std::vector<std::unique_ptr<Reader>> m_readers;
};

/// What the page says that its lines were chosen by.
std::string described(const Options& options) {
    std::wstring text;
    const auto add = [&text](const wchar_t* name, const std::wstring& value) {
        if (!value.empty()) {
            text += (text.empty() ? L"" : L", ") + std::wstring(name) + value;
        }
    };
    add(L"at least ", options.severity);
    add(L"since ", options.since);
    add(L"until ", options.until);
    for (const std::wstring& thread : options.threads) {
        add(L"thread ", thread);
    }
    for (const std::wstring& module : options.modules) {
        add(L"module ", module);
    }
    for (const std::wstring& words : options.texts) {
        add(L"text ", words);
    }
    return toUtf8(text);
}

std::unique_ptr<Output> createPage(const Options& options, const std::vector<std::wstring>& files) {
    FileIdentity page;
    const bool exists = SharedFile::identityOf(*options.html, page);
    for (const std::wstring& file : files) {
        FileIdentity trace;
        if (exists && SharedFile::identityOf(file, trace) && trace == page) {
            throw Failure("the page would take the place of the trace " + shownPath(file));
        }
    }
    std::string reason;
    std::unique_ptr<Output> output = createFile(*options.html, reason);
    if (!output) {
        throw Failure("cannot write " + shownPath(*options.html) + ": " + reason);
    }
    return output;
}

void tellWhatIsNotShown(const Filter& filter, Output& err) {
    if (filter.unreadableNotShown() != 0) {
        err.write("kest: not shown, behind lines that were not asked for: " +
                  grouped(filter.unreadableNotShown()) + " that cannot be read\n");
    }
    if (filter.timesNotKnown() != 0) {
        err.write("kest: " + grouped(filter.timesNotKnown()) +
                  " with a time in another language, taken for that of the line before\n");
    }
}

void readAll(const Options& options, const Query& query, Output& out, Output& err,
             const Wait& wait) {
    const std::vector<std::wstring> paths = wantedFiles(options);
    if (paths.empty()) {
        throw Failure("no file has a name with the text that --process asks for");
    }
    const FileNames names = namesOf(paths);
    Files files(paths, options.follow);
    std::unique_ptr<Output> page;
    std::unique_ptr<Sink> sink;
    if (options.html) {
        page = createPage(options, paths);
        sink = std::make_unique<Page>(names, *page, options.pageLines, described(options));
    } else if (options.summary) {
        sink = std::make_unique<Summary>(names, out, options.json);
    } else if (options.json) {
        sink = std::make_unique<JsonLines>(names, out);
    } else {
        sink = std::make_unique<Lines>(names, out);
    }
    Merge merge(files.readers());
    Filter filter(query, names.size());
    do {
        while (const Entry* const entry = merge.next()) {
            if (filter.passes(*entry)) {
                sink->take(*entry);
            }
        }
        out.flush();
    } while (options.follow && wait());
    sink->finish();
    out.flush();
    if (page) {
        page->flush();
    }
    tellWhatIsNotShown(filter, err);
}

}  // namespace

bool waitForEver() {
    pauseFor(kPause);
    return true;
}

std::wstring mistakeIn(const Options& options) {
    Query query;
    return firstMistake(options, query);
}

int run(const Options& options, Output& out, Output& err, const Wait& wait) {
    Query query;
    std::wstring mistake;
    int status = kDone;
    try {
        readQuery(options, query, mistake);
        readAll(options, query, out, err, wait);
    } catch (const std::runtime_error& error) {
        err.write("kest: " + std::string(error.what()) + "\n");
        status = kFailed;
    }
    try {
        // What came before a failure is shown all the same.
        out.flush();
    } catch (const std::runtime_error&) {
        status = kFailed;
    }
    err.flush();
    return status;
}

}  // namespace Tallowmere::command::trace
