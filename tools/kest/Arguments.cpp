#include "Arguments.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <string_view>

// The only source that includes it: it takes long to compile.
#include <CLI/CLI.hpp>

namespace Tallowmere::command {
namespace {

constexpr wchar_t kTrace[] = L"--trace";

bool isLetter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

bool isWord(std::wstring_view text) {
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(),
                       [](wchar_t c) { return isLetter(c) || c == L'-'; });
}

/// For ASCII.
std::string narrow(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t c : text) {
        bytes += static_cast<char>(c);
    }
    return bytes;
}

/// Whether an option of that name, of some verb or of all, takes a value.
bool takesValue(const std::wstring& name) {
    return name == kTrace || std::any_of(verbs().begin(), verbs().end(), [&](const Verb& verb) {
               return std::any_of(verb.options.begin(), verb.options.end(),
                                  [&](const Option& option) {
                                      return option.value != nullptr && name == option.name;
                                  });
           });
}

/// The arguments as the parser sees them. It works on bytes and has meanings of its own for some
/// texts ("[a,b]" is two, "{}" none, "-1" a number), and in a subcommand it forgets that "--" ends
/// the options. So only words and names of options reach it; for anything else it gets a token,
/// which names the argument by its number.
class Tokens {
public:
    explicit Tokens(const std::vector<std::wstring>& arguments) : m_arguments(arguments) {
        bool optionsEnded = false;
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            if (optionsEnded) {
                m_tokens.push_back(numbered(i));
            } else if (arguments[i] == L"--") {
                optionsEnded = true;
            } else {
                m_tokens.push_back(tokenOf(i));
                if (takesValue(arguments[i]) && i + 1 < arguments.size()) {
                    // Whatever it is.
                    m_tokens.push_back(numbered(++i));
                }
            }
        }
    }

    /// The tokens, the last argument first, as the parser wants them.
    std::vector<std::string> reversed() const { return {m_tokens.rbegin(), m_tokens.rend()}; }

    /// The argument, or the part behind its "=", for which the token stands.
    std::wstring decode(const std::string& token) const {
        const std::size_t mark = token.find_first_of("#=");
        if (mark == std::string::npos) {
            return {token.begin(), token.end()};
        }
        if (token[mark] == '=' && mark != 0) {
            // An option with a value, as a whole.
            return m_arguments[std::stoul(token.substr(token.rfind('=') + 1))];
        }
        const std::wstring& argument = m_arguments[std::stoul(token.substr(mark + 1))];
        return token[mark] == '#' ? argument : argument.substr(argument.find(L'=') + 1);
    }

private:
    std::string tokenOf(std::size_t index) const {
        const std::wstring& argument = m_arguments[index];
        if (isWord(argument)) {
            return narrow(argument);
        }
        if (argument.size() < 2 || argument.front() != L'-') {
            return numbered(index);
        }
        const std::size_t hyphens = argument.find_first_not_of(L'-');
        const std::size_t equals = argument.find(L'=');
        if (hyphens != std::wstring::npos && hyphens <= 2 &&
            isWord(std::wstring_view(argument).substr(0, equals).substr(hyphens))) {
            return equals == std::wstring::npos || hyphens == 1
                       ? narrow(argument.substr(0, equals))
                       : narrow(argument.substr(0, equals)) + "==" + std::to_string(index);
        }
        // An option by its look, and none that there is.
        return "--" + numbered(index);
    }

    static std::string numbered(std::size_t index) { return "#" + std::to_string(index); }

    const std::vector<std::wstring>& m_arguments;
    std::vector<std::string> m_tokens;
};

/// What is wrong with what a verb is given; empty when nothing is.
std::wstring mistakeIn(const Verb& verb, const Operands& operands, const Options& options) {
    if (operands.size() < std::size(verb.missing) && verb.missing[operands.size()] != nullptr) {
        return verb.missing[operands.size()];
    }
    if (operands.size() > verb.most) {
        return L"one argument too many: " + operands[verb.most];
    }
    return verb.mistake == nullptr ? L"" : verb.mistake(operands, options);
}

/// The parser, with a subcommand for each verb.
class Grammar {
public:
    Grammar() {
        m_top.allow_windows_style_options(false);
        m_top.set_help_flag();
        m_top.require_subcommand(0, 1);
        m_help = m_top.add_flag("-h,--help");
        m_version = m_top.add_flag("--version");
        m_trace = m_top.add_option("--trace");
        m_trace->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        m_top.add_option("words", m_words);
        for (const Verb& verb : verbs()) {
            CLI::App*& named = m_names[verb.name];
            if (named == nullptr) {
                named = add(m_top, verb.name);
                if (verb.action != nullptr) {
                    named->require_subcommand(0, 1);
                    named->add_option("words", m_words);
                }
            }
            Parsed& parsed = m_verbs.emplace_back();
            parsed.verb = &verb;
            parsed.app = verb.action == nullptr ? named : add(*named, verb.action);
            for (const Option& option : verb.options) {
                CLI::Option* const added = option.value == nullptr
                                               ? parsed.app->add_flag(narrow(option.name))
                                               : parsed.app->add_option(narrow(option.name));
                if (option.value != nullptr) {
                    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
                }
                parsed.options.push_back(added);
            }
            parsed.app->add_option("operands", parsed.operands);
        }
    }

    /// Throws what the parser throws.
    void parse(std::vector<std::string> reversed) { m_top.parse(std::move(reversed)); }

    bool wantsHelp() const { return m_help->count() != 0; }
    bool wantsVersion() const { return m_version->count() != 0; }

    /// The first option without a value that was given one; empty without one.
    std::wstring burdened() const {
        if (hasValue(*m_help)) {
            return L"--help";
        }
        if (hasValue(*m_version)) {
            return L"--version";
        }
        for (const Parsed& parsed : m_verbs) {
            for (std::size_t i = 0; i < parsed.options.size(); ++i) {
                const Option& option = parsed.verb->options[i];
                if (option.value == nullptr && hasValue(*parsed.options[i])) {
                    return option.name;
                }
            }
        }
        return L"";
    }

    /// The last of the files named for the trace; nothing when there was none.
    std::optional<std::string> traceFile() const {
        return m_trace->count() == 0 ? std::nullopt
                                     : std::optional<std::string>(m_trace->results().back());
    }

    /// What the parser did not know, in order.
    std::vector<std::string> unknown() const { return m_top.remaining(true); }

    /// What stands where a verb, or a verb's second word, should.
    const std::vector<std::string>& words() const { return m_words; }

    /// The name of the verb that was used; empty without one.
    std::wstring name() const {
        for (const auto& [name, app] : m_names) {
            if (app->parsed()) {
                return name;
            }
        }
        return L"";
    }

    struct Parsed {
        const Verb* verb = nullptr;
        CLI::App* app = nullptr;
        /// In the order of the verb's own.
        std::vector<CLI::Option*> options;
        std::vector<std::string> operands;
    };

    /// Null without one.
    const Parsed* verb() const {
        const auto found = std::find_if(m_verbs.begin(), m_verbs.end(),
                                        [](const Parsed& parsed) { return parsed.app->parsed(); });
        return found == m_verbs.end() ? nullptr : &*found;
    }

private:
    static bool hasValue(const CLI::Option& flag) {
        const std::vector<std::string>& results = flag.results();
        return std::any_of(results.begin(), results.end(),
                           [](const std::string& result) { return result != "true"; });
    }

    static CLI::App* add(CLI::App& parent, const wchar_t* name) {
        CLI::App* const app = parent.add_subcommand(narrow(name));
        app->set_help_flag();
        // The options of every verb are the top's.
        app->fallthrough();
        return app;
    }

    CLI::App m_top;
    CLI::Option* m_help = nullptr;
    CLI::Option* m_version = nullptr;
    CLI::Option* m_trace = nullptr;
    std::vector<std::string> m_words;
    std::map<std::wstring, CLI::App*> m_names;
    // A list: the parser keeps the addresses of the operands.
    std::list<Parsed> m_verbs;
};

}  // namespace

std::optional<Request> parse(const std::vector<std::wstring>& arguments, Mistake& mistake) {
    const Tokens tokens(arguments);
    Grammar grammar;
    mistake = {};
    const auto mistaken = [&](const std::wstring& text) -> std::optional<Request> {
        mistake = {text, grammar.name()};
        return std::nullopt;
    };
    bool isUnknown = false;
    std::string bare;
    try {
        grammar.parse(tokens.reversed());
    } catch (const CLI::ExtrasError&) {
        isUnknown = true;
    } catch (const CLI::ArgumentMismatch& mismatch) {
        // An option at the end, without its value; the text begins with its name.
        const std::string text = mismatch.what();
        bare = text.substr(0, text.find(':'));
    }
    if (const std::wstring flag = grammar.burdened(); !flag.empty()) {
        return mistaken(flag + L" takes no value");
    }

    Request request;
    request.name = grammar.name();
    const Grammar::Parsed* const parsed = grammar.verb();
    if (grammar.wantsHelp()) {
        request.verb = parsed == nullptr ? nullptr : parsed->verb;
        return request;
    }
    if (grammar.wantsVersion()) {
        request.kind = Request::Kind::version;
        return request;
    }
    if (isUnknown) {
        return mistaken(L"unknown option " + tokens.decode(grammar.unknown().front()));
    }
    if (const std::optional<std::string> file = grammar.traceFile()) {
        request.traceFile = tokens.decode(*file);
    }
    if (bare == "--trace" || request.traceFile == L"") {
        return mistaken(L"--trace needs a file");
    }
    if (!bare.empty()) {
        return mistaken(tokens.decode(bare) + L" needs a value");
    }
    if (parsed == nullptr) {
        const std::wstring name = request.name;
        if (grammar.words().empty()) {
            return mistaken(name.empty() ? L"what to do is missing"
                                         : name + L" needs " + actionsOf(name));
        }
        return mistaken(L"unknown command " + (name.empty() ? L"" : name + L" ") +
                        tokens.decode(grammar.words().front()));
    }
    request.kind = Request::Kind::verb;
    request.verb = parsed->verb;
    for (const std::string& token : parsed->operands) {
        request.operands.push_back(tokens.decode(token));
    }
    for (std::size_t i = 0; i < parsed->options.size(); ++i) {
        const Option& option = parsed->verb->options[i];
        if (parsed->options[i]->count() == 0) {
            continue;
        }
        std::vector<std::wstring>& values = request.options[option.name];
        if (option.value == nullptr) {
            continue;
        }
        for (const std::string& token : parsed->options[i]->results()) {
            values.push_back(tokens.decode(token));
            if (values.back().empty()) {
                return mistaken(std::wstring(option.name) + L" needs a value");
            }
        }
    }
    const std::wstring wrong = mistakeIn(*request.verb, request.operands, request.options);
    if (!wrong.empty()) {
        return mistaken(wrong);
    }
    return request;
}

}  // namespace Tallowmere::command
