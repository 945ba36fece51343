// String: UTF-8 to wide text and back, whatever the user's locale is.

#include <Bases/String.h>

#include <iostream>
#include <locale>
#include <stdexcept>
#include <string>

int main() {
    const std::string text = "caf\xC3\xA9";

    // mbs_ with this locale, and not utf8_, which asks the C library's.
    std::locale utf8;
    try {
        utf8 = std::locale("C.UTF-8");
    } catch (const std::runtime_error&) {
        utf8 = std::locale("en_US.UTF-8");  // Where the former is not.
    }
    const std::wstring wide = Novu::mbs_to_wcs(text, utf8);
    std::cout << text.size() << " bytes, " << wide.size() << " characters\n";
    if (Novu::wcs_to_mbs(wide, utf8) != text) {
        return 1;
    }

    try {
        Novu::mbs_to_wcs("caf\xE9 au lait", utf8);  // Latin-1.
        return 1;
    } catch (const std::runtime_error& error) {
        std::cout << error.what() << '\n';
    }
}

// Prints:
//   5 bytes, 4 characters
//   can't convert string to wstring
