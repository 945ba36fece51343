// Guid: a new identifier, and identifiers that come as text.

#include <Bases/Guid.h>

#include <iostream>
#include <stdexcept>
#include <string>

namespace {

// Text from outside is no identifier in three ways: false, and the exception;
// and what follows an identifier is not looked at.
bool Parse(const std::string& text, Novu::Guid& id) {
    try {
        return text.size() == 36 && id.FromString(text);
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

int main() {
    Novu::Guid id;  // Nil.
    if (!id.Generate() || id.None()) {
        return 1;
    }
    const std::string text = id.ToString(1);  // 0 would cut two digits off.
    std::cout << text.size() << " characters\n";

    Novu::Guid back;
    if (!Parse(text, back) || back != id) {
        return 1;
    }
    for (const std::string said : {"00112233-4455-6677-8899-AABBCCDDEEFF",
                                   "not an identifier of 36 characters..",
                                   "00000000-0000-0000-0000-000000000000"}) {
        Novu::Guid read;
        std::cout << (Parse(said, read) ? read.ToString(1) : "none") << '\n';
    }
}

// Prints:
//   36 characters
//   00112233-4455-6677-8899-aabbccddeeff
//   none
//   none
