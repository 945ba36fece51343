// Start-up and shut-down, from Bases/Bases.h.

#include "Bases/Bases.h"

#include <libxml/parser.h>
#include <time.h>

#include <locale>

namespace Novu {

int BasesInit() {
    // For its side effect alone: the runtime sets up its UTC conversion here,
    // and not at the first conversion on some other thread. The value means
    // nothing.
    const time_t anyTime = 1234567890123;
    tm discarded{};
    ::gmtime_r(&anyTime, &discarded);

    std::locale::global(std::locale(""));
    ::xmlInitParser();
    return 1;
}

void BasesRelease() { ::xmlCleanupParser(); }

}  // namespace Novu
