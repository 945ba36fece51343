// Plain and escaped names, from Names.h.

#include "Names.h"

#include <Bases/String.h>
#include <Bases/XmlDoc.h>
#include <langinfo.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace Inventory {

namespace {

const char kDigits[] = "0123456789ABCDEF";

bool IsPrintableAscii(char c) { return c >= 0x20 && c <= 0x7E; }

// The characters of XML 1.0, without the control characters that it allows.
bool IsPlainCharacter(wchar_t c) {
    return (c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Whether XmlWriter converts the text. It is asked in a document of no other
// use, because a refused attribute is left open in the document.
bool IsConvertible(const std::string& text) {
    Novu::XmlWriter trial;
    return trial.BeginDocument("UTF-8") == 1 &&
           trial.WriteElement("name", text) == 1;
}

// The value of a digit that Escape writes; -1 for any other character.
int DigitValue(char c) {
    const char* const end = kDigits + 16;
    const char* const digit = std::find(kDigits, end, c);
    return digit != end ? static_cast<int>(digit - kDigits) : -1;
}

}  // namespace

std::string CharacterSet() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): main alone sets the locale.
    return ::nl_langinfo(CODESET);
}

bool IsAscii(const std::string& name) {
    return std::all_of(name.begin(), name.end(), IsPrintableAscii);
}

bool IsPlain(const std::string& name) {
    if (IsAscii(name)) {
        return true;
    }
    try {
        const std::wstring text = Novu::mbs_to_wcs(name);
        return std::all_of(text.begin(), text.end(), IsPlainCharacter) &&
               IsConvertible(name);
    } catch (const std::runtime_error&) {  // No text of this locale.
        return false;
    }
}

bool IsBelowAFolder(const std::string& path) {
    std::string_view rest = path;
    while (true) {
        const std::size_t slash = rest.find('/');
        const std::string_view part = rest.substr(0, slash);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        rest.remove_prefix(slash + 1);
    }
}

std::string Escape(const std::string& name) {
    std::string text;
    for (const char c : name) {
        if (IsPrintableAscii(c) && c != '%') {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += '%';
            text += kDigits[byte / 16];
            text += kDigits[byte % 16];
        }
    }
    return text;
}

bool Unescape(const std::string& text, std::string& name) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            bytes += text[i];
            continue;
        }
        if (text.size() - i < 3) {
            return false;
        }
        const int high = DigitValue(text[i + 1]);
        const int low = DigitValue(text[i + 2]);
        if (high < 0 || low < 0 || (high == 0 && low == 0)) {
            return false;
        }
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    // Each name has one escaped form: what need not be escaped is not.
    if (Escape(bytes) != text) {
        return false;
    }
    name = bytes;
    return true;
}

std::string Because(const std::string& path, const char* what) {
    const int error = errno;  // Before what follows can change it.
    return Printable(path) + ": " +
           (what != nullptr ? std::string(what) + ": " : "") +
           std::generic_category().message(error);
}

std::string Printable(const std::string& name) {
    return IsPlain(name) && name.find('%') == std::string::npos ? name
                                                                : Escape(name);
}

}  // namespace Inventory
