// The progress line, from Progress.h.

#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "Output.h"

namespace Inventory {

namespace {

constexpr std::chrono::milliseconds kInterval(100);

}  // namespace

// The first entry is drawn at once.
Progress::Progress()
    : shown(::isatty(STDERR_FILENO) == 1),
      started(Clock::now()),
      drawn(started - kInterval) {}

Progress::~Progress() { Clear(); }

void Progress::Count(const Entry& entry) {
    ++entries;
    if (entry.type == Type::File) {
        bytes = AddSizes(bytes, entry.size);
    }
    if (shown) {
        const Clock::time_point now = Clock::now();
        if (now - drawn >= kInterval) {
            Draw(now);
        }
    }
}

void Progress::Complain(const std::string& text) {
    Clear();
    Inventory::Complain(text);
}

double Progress::Seconds() const {
    return std::chrono::duration<double>(Clock::now() - started).count();
}

void Progress::Draw(Clock::time_point now) {
    // A rate over less than the first interval would be noise.
    const std::chrono::duration<double> elapsed =
        std::max<Clock::duration>(now - started, kInterval);
    const std::string line =
        std::to_string(entries) + " entries, " +
        WithDecimals(static_cast<double>(entries) / elapsed.count(), 0) +
        " entries/s, " + HumanSize(bytes);
    Clear();
    std::fputs(line.c_str(), stderr);
    width = line.size();
    drawn = now;
}

void Progress::Clear() {
    if (width != 0) {
        const std::string blanks(width + 2, ' ');  // And over a "^C".
        std::fprintf(stderr, "\r%s\r", blanks.c_str());
        width = 0;
    }
}

}  // namespace Inventory
