// Base64: bytes to text that any mail or document can carry, and back.

#include <Bases/Base64.h>

#include <iostream>
#include <string>
#include <vector>

int main() {
    const std::string data("bytes \x00\x01\xff", 9);

    Novu::Base64 base64;
    std::string text;
    if (base64.Encode(data.data(), data.size(), text) != 1) {
        return 1;
    }
    std::vector<char> out(text.size() + 1);  // All of them are written.
    const unsigned long count = base64.Decode(text.c_str(), out.data());
    if (count == 0) {  // An empty text, or a foreign character in it.
        return 1;
    }
    std::cout << text << '\n';

    const std::string decoded(out.data(), count);
    std::cout << count << " bytes, " << (decoded == data ? "the same" : "other")
              << '\n';

    // A line break is foreign, too: take white space out before.
    text.insert(4, "\n");
    out.resize(text.size() + 1);
    std::cout << base64.Decode(text.c_str(), out.data()) << '\n';
}

// Prints:
//   Ynl0ZXMgAAH/
//   9 bytes, the same
//   0
