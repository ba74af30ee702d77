#pragma once

#include <cstdio>
#include <exception>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

namespace Tallowmere::command {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// What the library says to do next, for one entry of a tree.
enum class Step { copyEntry, createFolder, deleteFile, removeFolder };

/// Hears of each step before the library takes it. What it throws (an exception derived from
/// std::exception) passes through the library, which then takes everything back: that is how an
/// operation is cancelled from outside.
class StepListener {
public:
    virtual void hear(Step step) = 0;

protected:
    ~StepListener() = default;
};

/// While it lives, the library's trace comes here instead of the console, so that the command's
/// standard output stays clean, and goes on into a file if there is one, as UTF-8, line by line.
/// Our choice: the file holds the whole trace of the command, it is not rolled over.
///
/// It keeps the last ERROR line too: the library's exceptions carry their message with every
/// character cut to its low byte, the trace has it whole.
class TraceTap {
public:
    explicit TraceTap(File file);
    ~TraceTap();
    TraceTap(const TraceTap&) = delete;
    TraceTap& operator=(const TraceTap&) = delete;

    /// The message of an exception that the library threw, for a person to read, without a line
    /// end.
    std::wstring messageOf(const std::exception& error) const;

    /// The messages of the last ERROR and of the last WARNING line, without the line end that a
    /// system text has; empty without one.
    std::wstring lastError() const;
    std::wstring lastWarning() const;
    /// Forgets them, so that what comes next can be told from what came before.
    void forgetMessages();

    /// What the system last answered to a request for a restore: a number, 0 for accepted; empty
    /// without one. The library tells it nowhere else.
    const std::wstring& restoreAnswer() const { return m_statements.restoreAnswer(); }

    /// Who hears of the steps from now on; nobody with null.
    void setListener(StepListener* listener) { m_statements.setListener(listener); }

    /// Takes the trace up again after an exception of a listener has passed.
    void resume() { m_stream.clear(); }

private:
    /// Gathers what the library writes between two flushes, which is one statement.
    class Statements : public std::wstreambuf {
    public:
        explicit Statements(File file);
        const std::wstring& lastError() const { return m_lastError; }
        const std::wstring& lastWarning() const { return m_lastWarning; }
        const std::wstring& restoreAnswer() const { return m_restoreAnswer; }
        void forgetMessages();
        void setListener(StepListener* listener) { m_listener = listener; }

    protected:
        int_type overflow(int_type unit) override;
        std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
        int sync() override;

    private:
        void read(const std::wstring& statement);

        File m_file;
        StepListener* m_listener = nullptr;
        std::wstring m_statement;
        std::wstring m_lastError;
        std::wstring m_lastWarning;
        std::wstring m_restoreAnswer;
    };

    Statements m_statements;
    std::wostream m_stream;
};

}  // namespace Tallowmere::command
