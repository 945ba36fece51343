// Progress: a line on the terminal that says how far a verb is.

#ifndef INVENTORY_PROGRESS_H_
#define INVENTORY_PROGRESS_H_

#include <chrono>
#include <string>

#include "Bar.h"
#include "Entry.h"

namespace Inventory {

/// Shows a bar, rates and the time that is left on standard error if that is a
/// terminal, at most ten times a second. The line is gone at the end.
class Progress {
public:
    /// `readsFiles`: the bytes are the work, and not the entries.
    explicit Progress(bool readsFiles);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /// The whole work, once it is known: in bytes, or in entries.
    void Expect(unsigned long long whole) { work.whole = whole; }

    /// An entry is done, and so many bytes of the work.
    void Count(unsigned long long bytes);

    /// Nothing is done but so many bytes of the next file.
    void Tick(unsigned long long bytes);

    /// Complains, with the progress line out of the way.
    void Complain(const std::string& text);

    /// Since the beginning.
    double Seconds() const;

private:
    using Clock = std::chrono::steady_clock;

    void Draw(unsigned long long more);
    void Clear();

    const bool shown;  // Standard error is a terminal.
    const Clock::time_point started;
    Clock::time_point drawn;  // When the line was last drawn.
    std::size_t width = 0;    // Of the line that stands there.
    Work work;
};

}  // namespace Inventory

#endif  // INVENTORY_PROGRESS_H_
