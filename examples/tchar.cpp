// tchar: integers to text, in any radix.

#include <Bases/tchar.h>

#include <iostream>
#include <string>

int main() {
    char text[65];  // Enough for 64 bits in any radix.
    std::cout << _itoa(-255, text, 10) << '\n';
    std::cout << _i64toa(1LL << 40, text, 36) << '\n';
    std::cout << _ui64toa(~0ULL, text, 2) << '\n';

    // A negative number has its sign in radix 10 only: elsewhere, write it
    // yourself, in front of the magnitude.
    const int number = -255;
    std::cout << '-'
              << _ultoa(0UL - static_cast<unsigned long>(number), text, 16)
              << '\n';

    wchar_t wide[65];
    return std::wstring(_itow(42, wide, 10)) == L"42" ? 0 : 1;
}

// Prints:
//   -255
//   e13wu1og
//   1111111111111111111111111111111111111111111111111111111111111111
//   -ff
