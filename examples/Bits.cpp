// Bits: a set of days, its text, and its complement.

#include <Bases/Bits.h>

#include <iostream>

int main() {
    Novu::Bits open(7);  // The days of a week from Sunday on, all 0.
    for (unsigned long day = 1; day <= 5; ++day) {
        open.Set(day);
    }
    std::cout << open.ToString() << ", " << open.GetSetCount() << " days\n";
    if (open.Test(6) || open.Set(7) != 0) {  // There is no position 7.
        return 1;
    }

    Novu::Bits closed = open;  // A copy first: ~ inverts in place.
    ~closed;
    std::cout << closed.ToString() << '\n';

    // Both have one size, as sets that are combined should.
    const Novu::Bits always = open | closed;
    std::cout << always.ToString() << '\n';

    Novu::Bits read;
    read.FromString("0111110");
    return read == open ? 0 : 1;
}

// Prints:
//   0111110, 5 days
//   1000001
//   1111111
