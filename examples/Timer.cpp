// Timer: how long something took.

#include <Bases/Timer.h>

#include <cmath>
#include <iostream>

int main() {
    const unsigned long long begin = Novu::timer_us();
    double sum = 0;
    for (int i = 0; i < 100000; ++i) {
        sum += std::sqrt(i);
    }
    const unsigned long long end = Novu::timer_us();

    // The counts are the wall clock's, which may have been set meanwhile.
    if (begin == 0 || end < begin) {
        std::cerr << "the clock was set\n";
    } else {
        std::cerr << (end - begin) / 1000 << " ms\n";
    }
    std::cout << std::lround(sum) << '\n';
}

// Prints:
//   21081693
