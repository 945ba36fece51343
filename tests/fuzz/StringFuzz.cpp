// The text conversions, against a literal UTF-8 decoder and encoder. What they
// make of surrogates, overlong forms and numbers beyond U+10FFFF is the C
// library's answer, and is only looked at for crashes.
//
// Input: narrow text; the same bytes are read as wide text, four each.

#include <clocale>
#include <locale>
#include <stdexcept>

#include "Bases/String.h"
#include "tests/fuzz/Fuzz.h"

using NovuFuzz::Require;
using NovuFuzz::UpToZero;

namespace {

const char* const kReturns = "";  // In the place of an exception's text.

enum class Form {
    Whole,
    Cut,      // Ends within a character.
    Invalid,  // Never UTF-8.
    Doubtful  // UTF-8 to some.
};

struct Decoded {
    std::wstring text;  // Up to the end, or to what is no character.
    Form form = Form::Whole;
};

bool IsScalar(std::uint32_t number) {
    return number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
}

Decoded Decode(const std::string& bytes) {
    Decoded decoded;
    for (std::size_t at = 0; at != bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[at]);
        const std::size_t more = lead < 0x80   ? 0
                                 : lead < 0xE0 ? 1
                                 : lead < 0xF0 ? 2
                                               : 3;
        if ((lead >= 0x80 && lead < 0xC0) || lead >= 0xFE) {
            decoded.form = Form::Invalid;
            return decoded;
        }
        if (lead == 0xC0 || lead == 0xC1 || lead > 0xF4) {
            decoded.form = Form::Doubtful;
            return decoded;
        }
        std::uint32_t number = more == 0 ? lead : lead & (0x3FU >> more);
        for (std::size_t each = 1; each <= more; ++each) {
            const std::size_t next = at + each;
            // Not all of E0, ED, F0 and F4 leads to a character.
            const bool special = each > 1 && (lead == 0xE0 || lead == 0xED ||
                                              lead == 0xF0 || lead == 0xF4);
            if (next == bytes.size() || bytes[next] == '\0') {
                decoded.form = special || next != bytes.size() ? Form::Doubtful
                                                               : Form::Cut;
                return decoded;
            }
            const auto byte = static_cast<unsigned char>(bytes[next]);
            if ((byte & 0xC0) != 0x80) {
                decoded.form = special ? Form::Doubtful : Form::Invalid;
                return decoded;
            }
            number = number << 6 | (byte & 0x3FU);
        }
        if (!IsScalar(number) || (more == 2 && number < 0x800) ||
            (more == 3 && number < 0x10000)) {
            decoded.form = Form::Doubtful;
            return decoded;
        }
        decoded.text += static_cast<wchar_t>(number);
        at += 1 + more;
    }
    return decoded;
}

std::string Encode(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t character : text) {
        const std::uint32_t number =
            std::char_traits<wchar_t>::to_int_type(character);
        const int more = number < 0x80      ? 0
                         : number < 0x800   ? 1
                         : number < 0x10000 ? 2
                                            : 3;
        const std::uint32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(leads[more] | number >> 6 * more);
        for (int each = more - 1; each >= 0; --each) {
            bytes += static_cast<char>(0x80 | (number >> 6 * each & 0x3F));
        }
    }
    return bytes;
}

// Calls `convert` for its result, and answers the text of its exception.
template <typename Text, typename Convert>
std::string Message(Text& result, Convert convert) {
    result.clear();
    try {
        result = convert();
        return kReturns;
    } catch (const std::runtime_error& error) {
        return error.what();
    } catch (const std::logic_error&) {
        return "logic";
    }
}

void CheckNarrow(const std::string& text, const std::locale& utf8) {
    std::wstring wide;
    std::string narrow;
    const Decoded all = Decode(text);
    std::string message =
        Message(wide, [&] { return Novu::mbs_to_wcs(text, utf8); });
    if (all.form == Form::Whole || all.form == Form::Cut) {
        Require(message == kReturns && wide == UpToZero(all.text),
                "mbs_to_wcs");
    } else if (all.form == Form::Invalid) {
        Require(message == "can't convert string to wstring", "mbs_to_wcs");
    }

    const Decoded first = Decode(UpToZero(text));
    message = Message(wide, [&] { return Novu::utf8_to_wcs(text); });
    const std::string both =
        Message(narrow, [&] { return Novu::utf8_to_mbs(text, utf8); });
    if (first.form == Form::Invalid || first.form == Form::Cut) {
        Require(message == "Invalid UTF-8 sequence.", "utf8_to_wcs");
        Require(both == message, "utf8_to_mbs");
    } else if (first.form == Form::Whole && first.text.empty()) {
        Require(message == "Error in conversion.", "utf8_to_wcs of nothing");
        Require(both == message, "utf8_to_mbs of nothing");
    } else if (first.form == Form::Whole) {
        Require(message == kReturns && wide == first.text, "utf8_to_wcs");
        Require(both == kReturns && narrow == UpToZero(text), "utf8_to_mbs");
    }

    Require(Novu::mbs_to_tcs(text, utf8) == text, "mbs_to_tcs");
    Require(Novu::tcs_to_mbs(text, utf8) == text, "tcs_to_mbs");
    std::wstring same;
    Require(Message(same, [&] { return Novu::tcs_to_wcs(text, utf8); }) ==
                Message(wide, [&] { return Novu::mbs_to_wcs(text, utf8); }),
            "tcs_to_wcs");
    Require(same == wide, "tcs_to_wcs");
}

void CheckWide(const std::wstring& text, const std::locale& utf8) {
    bool scalars = true;
    for (const wchar_t character : text) {
        scalars = scalars && IsScalar(static_cast<std::uint32_t>(character));
    }
    std::string narrow;
    const std::string message =
        Message(narrow, [&] { return Novu::wcs_to_mbs(text, utf8); });
    std::string same;
    Require(Message(same, [&] { return Novu::wcs_to_tcs(text, utf8); }) ==
                    message &&
                same == narrow,
            "wcs_to_tcs");
    if (scalars) {
        Require(message == kReturns && narrow == Encode(UpToZero(text)),
                "wcs_to_mbs");
    }

    // Each call abandons a byte, and libFuzzer looks for leaks after each input
    // that does not give back what it took: only for some texts.
    if (text.size() % 8 == 0) {
        const std::string never =
            Message(same, [&] { return Novu::wcs_to_utf8(text); });
        Require(never != kReturns, "wcs_to_utf8 returns");
        const bool nothing = text.empty() || text.front() == L'\0';
        Require(
            !scalars || never == (nothing ? "Error in conversion." : "logic"),
            "wcs_to_utf8");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::locale utf8 = [] {
        std::setlocale(LC_ALL, "C.utf8");
        return std::locale("C.utf8");
    }();
    CheckNarrow(NovuFuzz::Input(data, size).Rest(), utf8);

    NovuFuzz::Input input(data, size);
    std::wstring wide;
    while (!input.IsEmpty()) {
        // Mostly within the planes that have characters.
        const auto number = input.Take<std::uint32_t>();
        wide += static_cast<wchar_t>(number >> 31 != 0 ? number
                                                       : number & 0x1FFFFF);
    }
    CheckWide(wide, utf8);
    return 0;
}
