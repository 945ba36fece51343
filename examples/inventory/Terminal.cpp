// Standard error, from Terminal.h.

#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>

namespace Inventory {

namespace {

Color chosen = Color::Auto;

std::string Variable(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets the environment.
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool IsColored() {
    if (chosen != Color::Auto) {
        return chosen == Color::Always;
    }
    const std::string kind = Variable("TERM");
    return IsTerminal() && !kind.empty() && kind != "dumb" &&
           Variable("NO_COLOR").empty();
}

}  // namespace

void ChooseColor(Color color) { chosen = color; }

bool IsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

std::size_t Columns() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0) {
        return size.ws_col;
    }
    const std::string text = Variable("COLUMNS");
    std::size_t columns = 0;
    std::from_chars(text.data(), text.data() + text.size(), columns);
    return columns > 0 && columns <= 10000 ? columns : 80;
}

std::string Colored(const std::string& text, Ink ink) {
    if (text.empty() || !IsColored()) {
        return text;
    }
    const char* const start = ink == Ink::Red ? "\x1B[31m" : "\x1B[32m";
    return start + text + "\x1B[0m";
}

}  // namespace Inventory
