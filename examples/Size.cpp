// Size: the size of a file as people read it.

#include <Bases/Size.h>

#include <iostream>
#include <string>

int main() {
    static const char* const kUnits[] = {"bytes", "KiB", "MiB", "GiB",
                                         "TiB",   "PiB", "EiB"};
    for (const long long size : {17LL, 1536LL, 5LL << 20, 7LL << 40}) {
        double value = 0;
        const unsigned long unit = Novu::GetSizeUnit(size, value);
        std::cout << value << ' ' << kUnits[unit] << '\n';
    }

    // All of the digits. There is one comma, so it is for less than a million.
    std::string text;
    if (Novu::GetSizeFormat(text, 123456) != 1) {
        return 1;
    }
    std::cout << text << " bytes\n";
}

// Prints:
//   17 bytes
//   1.5 KiB
//   5 MiB
//   7 TiB
//   123,456 bytes
