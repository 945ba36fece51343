// Bases: what a program does first, and last.

#include <Bases/Bases.h>

#include <clocale>
#include <iostream>
#include <locale>
#include <stdexcept>
#include <string>

int main() {
    try {
        Novu::BasesInit();  // Once, before threads are started.
    } catch (const std::runtime_error&) {
        std::cerr << "LC_ALL or LANG names a locale that is not installed\n";
        return 1;
    }

    // Texts are now in the user's character set. Numbers, too, would have the
    // user's decimal point: give them back the one of C.
    std::locale::global(std::locale(std::locale(), std::locale::classic(),
                                    std::locale::numeric));
    // Not every C++ library has now told the C library.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread so far.
    std::setlocale(LC_NUMERIC, "C");

    std::cout << "1.5 is " << std::to_string(1.5) << '\n';

    Novu::BasesRelease();  // Once, after the last use of the XML classes.
}

// Prints:
//   1.5 is 1.500000
