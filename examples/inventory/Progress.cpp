// The progress line, from Progress.h.

#include "Progress.h"

#include <algorithm>
#include <cstdio>

#include "Output.h"
#include "Terminal.h"

namespace Inventory {

namespace {

constexpr std::chrono::milliseconds kInterval(100);

const std::size_t kEcho = 2;  // Of the "^C" that a terminal shows behind it.

}  // namespace

// The first entry is drawn at once.
Progress::Progress(bool readsFiles)
    : shown(IsTerminal()), started(Clock::now()), drawn(started - kInterval) {
    work.readsFiles = readsFiles;
}

Progress::~Progress() { Clear(); }

void Progress::Count(unsigned long long bytes) {
    ++work.entries;
    work.bytes = AddSizes(work.bytes, bytes);
    Draw(0);
}

void Progress::Tick(unsigned long long bytes) { Draw(bytes); }

void Progress::Complain(const std::string& text) {
    Clear();
    Inventory::Complain(text);
}

double Progress::Seconds() const {
    return std::chrono::duration<double>(Clock::now() - started).count();
}

void Progress::Draw(unsigned long long more) {
    if (!shown) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now - drawn < kInterval) {
        return;
    }
    Work shownWork = work;
    shownWork.bytes = AddSizes(work.bytes, more);
    // A rate over less than the first interval would be noise.
    shownWork.seconds = std::chrono::duration<double>(
                            std::max<Clock::duration>(now - started, kInterval))
                            .count();
    // The last column stays free: some terminals would begin another line.
    const std::size_t columns = Columns();
    const std::size_t room = columns > kEcho + 1 ? columns - kEcho - 1 : 0;
    const std::string line = BarLine(shownWork, room);
    Clear();
    std::fputs(line.c_str(), stderr);
    // What gives it colour takes no room; more blanks than that do no harm.
    width = std::min(line.size(), room);
    drawn = now;
}

void Progress::Clear() {
    if (width != 0) {
        const std::string blanks(width + kEcho, ' ');
        std::fprintf(stderr, "\r%s\r", blanks.c_str());
        width = 0;
    }
}

}  // namespace Inventory
