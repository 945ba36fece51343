// The line, from Bar.h.

#include "Bar.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Output.h"
#include "Terminal.h"

namespace Inventory {

namespace {

const std::size_t kShortest = 10;  // Cells of the bar.
const std::size_t kLongest = 30;

// How long the work that is left takes at that rate.
std::string LeftAt(unsigned long long left, double rate) {
    const double most = 360000;  // Seconds; nobody waits for more.
    const double seconds = left == 0  ? 0
                           : rate > 0 ? static_cast<double>(left) / rate
                                      : most;
    if (seconds >= most) {
        return "?";
    }
    const auto whole = static_cast<long long>(std::ceil(seconds));
    const auto twoDigits = [](long long number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    const long long minutes = whole / 60;
    return (minutes < 60 ? std::to_string(minutes)
                         : std::to_string(minutes / 60) + ":" +
                               twoDigits(minutes % 60)) +
           ":" + twoDigits(whole % 60);
}

}  // namespace

std::string BarLine(const Work& work, std::size_t columns) {
    const unsigned long long done = work.readsFiles ? work.bytes : work.entries;
    const double rate = static_cast<double>(done) / work.seconds;
    std::vector<std::string> parts;
    double share = 0;
    if (work.whole) {
        // A folder can have grown meanwhile.
        share = *work.whole == 0
                    ? 1
                    : std::min(1.0, static_cast<double>(done) /
                                        static_cast<double>(*work.whole));
        const std::string percent =
            std::to_string(static_cast<int>(share * 100)) + " %";
        parts.push_back(std::string(5 - percent.size(), ' ') + percent);
    }
    parts.push_back(std::to_string(work.entries) + " entries");
    parts.push_back(
        WithDecimals(static_cast<double>(work.entries) / work.seconds, 0) +
        " files/s");
    if (work.readsFiles) {
        // Beyond what fits is faster than any disk.
        parts.push_back(
            RoundSize(static_cast<unsigned long long>(std::min(rate, 1e18))) +
            "/s");
    }
    if (work.whole) {
        const unsigned long long left =
            *work.whole - std::min(*work.whole, done);
        parts.push_back(LeftAt(left, rate) + " left");
    } else if (work.readsFiles) {
        parts.emplace_back("? left");
    }

    std::string line;
    for (const std::string& part : parts) {
        const std::string gap = line.empty() ? "" : "  ";
        if (line.size() + gap.size() + part.size() > columns) {
            break;
        }
        line.append(gap).append(part);
    }
    const std::size_t around = 3;  // "[", "]" and a blank.
    if (work.whole && columns >= line.size() + around + kShortest) {
        const std::size_t cells =
            std::min(kLongest, columns - line.size() - around);
        const auto full =
            static_cast<std::size_t>(share * static_cast<double>(cells));
        line = "[" + Colored(std::string(full, '#'), Ink::Green) +
               std::string(cells - full, '-') + "] " + line;
    }
    return line;
}

}  // namespace Inventory
