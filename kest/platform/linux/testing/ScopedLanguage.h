#pragma once

#include <locale.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kest/platform/testing/TempTree.h"

// The leak detector's, when there is one.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace Tallowmere::platform::testing {

/// Makes a locale of its own and puts the calling thread into it for a scope, so that a test of
/// languages needs no installed locale: one with Slavic words, two forms of each month (May
/// in Cyrillic), and with or without markers for the day's halves.
class ScopedLanguage {
public:
    /// `name` is that of a real locale, "ru_RU" say; `halves` is a line of a locale's source.
    ScopedLanguage(const std::string& name, const std::string& halves) {
        writeCharacters();
        writeSource(halves);
        const std::string folder = m_tree.root().string();
        // It grumbles about the categories that are left out, and says so with its exit status.
        const std::string command = "cd '" + folder +
                                    "' && localedef -c -f ./characters -i ./source './" + name +
                                    "' >/dev/null 2>&1";
        (void)!std::system(command.c_str());
        setenv("LOCPATH", folder.c_str(), 1);
        m_locale = newLocale(name);
        unsetenv("LOCPATH");
        if (isThere()) {
            m_before = uselocale(m_locale);
        }
    }
    ~ScopedLanguage() {
        if (isThere()) {
            uselocale(m_before);
            freelocale(m_locale);
        }
    }
    ScopedLanguage(const ScopedLanguage&) = delete;
    ScopedLanguage& operator=(const ScopedLanguage&) = delete;

    bool isThere() const { return m_locale != static_cast<locale_t>(nullptr); }

private:
    /// The C library loses the list that it makes of LOCPATH.
    static locale_t newLocale(const std::string& name) {
        if (__lsan_disable != nullptr) {
            __lsan_disable();
        }
        const locale_t made = newlocale(LC_TIME_MASK, name.c_str(), static_cast<locale_t>(nullptr));
        if (__lsan_enable != nullptr) {
            __lsan_enable();
        }
        return made;
    }

    /// The characters that the source uses, each as one byte.
    void writeCharacters() const {
        std::ofstream file(m_tree / "characters");
        file << "<code_set_name> TEST\n<comment_char> %\n<escape_char> /\nCHARMAP\n";
        const auto put = [&file](unsigned int character, unsigned int byte) {
            char line[64];
            std::snprintf(line, sizeof line, "<U%04X> /x%02x x\n", character, byte);
            file << line;
        };
        for (unsigned int c = 0; c < 128; ++c) {
            put(c, c);
        }
        put(0x043C, 0xEC);
        put(0x0430, 0xE0);
        put(0x044F, 0xFF);
        put(0x0439, 0xE9);
        file << "END CHARMAP\n";
    }

    void writeSource(const std::string& halves) const {
        std::ofstream file(m_tree / "source");
        file << "LC_TIME\n"
                "abday \"Ne\";\"Po\";\"Ut\";\"Sr\";\"Ce\";\"Pe\";\"Su\"\n"
                "day \"Nedela\";\"Ponedelnik\";\"Utornik\";\"Sreda\";\"Cetvertak\";\"Petak\";"
                "\"Subota\"\n"
                "abmon \"jan-a\";\"feb-a\";\"mar-a\";\"apr-a\";\"maj-a\";\"jun-a\";\"jul-a\";"
                "\"avg-a\";\"sep-a\";\"okt-a\";\"nov-a\";\"dec-a\"\n"
                "ab_alt_mon \"jan\";\"feb\";\"mar\";\"apr\";\"maj\";\"jun\";\"jul\";\"avg\";"
                "\"sep\";\"okt\";\"nov\";\"dec\"\n"
                "mon \"januara\";\"februara\";\"marta\";\"aprila\";\"<U043C><U0430><U044F>\";"
                "\"juna\";\"jula\";\"avgusta\";\"septembra\";\"oktobra\";\"novembra\";"
                "\"decembra\"\n"
                "alt_mon \"januar\";\"februar\";\"mart\";\"april\";\"<U043C><U0430><U0439>\";"
                "\"jun\";\"jul\";\"avgust\";\"septembar\";\"oktobar\";\"novembar\";"
                "\"decembar\"\n"
             << halves
             << "\nd_t_fmt \"%d.%m.%Y %H:%M:%S\"\nd_fmt \"%d.%m.%Y\"\nt_fmt \"%H-%M-%S\"\n"
                "t_fmt_ampm \"\"\nEND LC_TIME\n";
    }

    TempTree m_tree;
    locale_t m_locale{};
    locale_t m_before{};
};

}  // namespace Tallowmere::platform::testing
