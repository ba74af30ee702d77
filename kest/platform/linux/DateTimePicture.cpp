#include "kest/platform/linux/DateTimePicture.h"

#include <cwchar>

#include "kest/platform/linux/Calendar.h"

namespace Tallowmere::platform::picture {
namespace {

using language::Language;
using language::Word;

/// One piece of a picture: a run of one letter that stands for something, a single unit that does
/// not, or a quoted text with its quotes.
struct Piece {
    const wchar_t* begin;
    std::size_t length;

    bool isQuoted() const { return *begin == L'\''; }
    /// Whether it is a run of `letter`. No picture letter is met singly as plain text.
    bool is(wchar_t letter) const { return *begin == letter; }
};

std::size_t quotedLength(const wchar_t* begin) {
    std::size_t length = 1;
    while (begin[length] != L'\0') {
        if (begin[length++] != L'\'') {
            continue;
        }
        if (begin[length] != L'\'') {
            return length;
        }
        ++length;
    }
    return length;
}

/// Whether the picture had another piece; takes it off the front.
bool takePiece(const wchar_t*& picture, const wchar_t* letters, Piece& piece) {
    if (*picture == L'\0') {
        return false;
    }
    piece = {picture, 1};
    if (piece.isQuoted()) {
        piece.length = quotedLength(picture);
    } else if (std::wcschr(letters, *picture) != nullptr) {
        while (picture[piece.length] == *picture) {
            ++piece.length;
        }
    }
    picture += piece.length;
    return true;
}

void putQuoted(const Piece& piece, Text& text) {
    for (std::size_t i = 1; i < piece.length; ++i) {
        // The last quote ends the text; of two in a row the second one is meant.
        if (piece.begin[i] == L'\'' && ++i == piece.length) {
            return;
        }
        text.put(piece.begin[i]);
    }
}

/// A number of at most two digits, the letter once or doubled.
void putNumber(unsigned int number, std::size_t letters, Text& text) {
    text.put(number, letters > 1 ? 2 : 1);
}

constexpr const wchar_t* kDateLetters = L"dMyg";
constexpr const wchar_t* kTimeLetters = L"hHmst";

bool namesDayOfMonth(const wchar_t* picture) {
    Piece piece{};
    while (takePiece(picture, kDateLetters, piece)) {
        if (piece.is(L'd') && piece.length <= 2) {
            return true;
        }
    }
    return false;
}

}  // namespace

void Text::put(unsigned int number, unsigned int digits) {
    // Enough for the digits of any 32-bit number.
    wchar_t reversed[10];
    unsigned int count = 0;
    do {
        reversed[count++] = static_cast<wchar_t>(L'0' + number % 10);
        number /= 10;
    } while (number != 0 || count < digits);
    while (count > 0) {
        put(reversed[--count]);
    }
}

void writeDate(const wchar_t* picture, const SYSTEMTIME& time, Language words, Text& text) {
    const int weekday =
        calendar::weekdayOf(calendar::daysOf(time.wYear, time.wMonth, time.wDay));
    const bool besideDay = namesDayOfMonth(picture);
    Piece piece{};
    while (takePiece(picture, kDateLetters, piece)) {
        if (piece.isQuoted()) {
            putQuoted(piece, text);
        } else if (piece.is(L'd')) {
            if (piece.length <= 2) {
                putNumber(time.wDay, piece.length, text);
            } else {
                text.put(words(piece.length == 3 ? Word::ShortDay : Word::Day, weekday));
            }
        } else if (piece.is(L'M')) {
            if (piece.length <= 2) {
                putNumber(time.wMonth, piece.length, text);
            } else if (piece.length == 3) {
                text.put(
                    words(besideDay ? Word::ShortMonthOfDay : Word::ShortMonth, time.wMonth - 1));
            } else {
                text.put(words(besideDay ? Word::MonthOfDay : Word::Month, time.wMonth - 1));
            }
        } else if (piece.is(L'y')) {
            if (piece.length <= 2) {
                // Our choice: one letter is taken as two; the public descriptions disagree.
                text.put(time.wYear % 100U, 2);
            } else {
                text.put(time.wYear, 4);
            }
        } else if (piece.is(L'g')) {
            text.put(words(Word::Era, 0));
        } else {
            text.put(*piece.begin);
        }
    }
}

void writeTime(const wchar_t* picture, const SYSTEMTIME& time, Language words, Text& text) {
    Piece piece{};
    while (takePiece(picture, kTimeLetters, piece)) {
        if (piece.isQuoted()) {
            putQuoted(piece, text);
        } else if (piece.is(L'h')) {
            putNumber((time.wHour + 11U) % 12 + 1, piece.length, text);
        } else if (piece.is(L'H')) {
            putNumber(time.wHour, piece.length, text);
        } else if (piece.is(L'm')) {
            putNumber(time.wMinute, piece.length, text);
        } else if (piece.is(L's')) {
            putNumber(time.wSecond, piece.length, text);
        } else if (piece.is(L't')) {
            const wchar_t* const marker = words(Word::HalfDay, time.wHour < 12 ? 0 : 1);
            if (piece.length > 1) {
                text.put(marker);
            } else if (*marker != L'\0') {
                text.put(*marker);
            }
        } else {
            text.put(*piece.begin);
        }
    }
}

}  // namespace Tallowmere::platform::picture
