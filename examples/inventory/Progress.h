// Progress: a line on the terminal that says how far a walk is.

#ifndef INVENTORY_PROGRESS_H_
#define INVENTORY_PROGRESS_H_

#include <chrono>
#include <string>

#include "Entry.h"

namespace Inventory {

/// Counts entries, and shows count, rate and bytes on standard error if that
/// is a terminal. The line is gone at the end.
class Progress {
public:
    Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void Count(const Entry& entry);

    /// Complains, with the progress line out of the way.
    void Complain(const std::string& text);

    /// Since the beginning.
    double Seconds() const;

private:
    using Clock = std::chrono::steady_clock;

    void Draw(Clock::time_point now);
    void Clear();

    const bool shown;  // Standard error is a terminal.
    const Clock::time_point started;
    Clock::time_point drawn;  // When the line was last drawn.
    std::size_t width = 0;    // Of the line that stands there.
    unsigned long long entries = 0;
    unsigned long long bytes = 0;  // Of the files among them.
};

}  // namespace Inventory

#endif  // INVENTORY_PROGRESS_H_
