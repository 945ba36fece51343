// Results and their looks, from Output.h.

#include "Output.h"

#include <Bases/Size.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>
#include <system_error>

#include "Failure.h"
#include "Terminal.h"
#include "Width.h"

namespace Inventory {

void Print(const std::string& text) {
    const std::size_t written =
        std::fwrite(text.data(), 1, text.size(), stdout);
    // What is still in the stream's buffer can fail, too.
    if (written != text.size() || std::fflush(stdout) != 0) {
        throw Failure(std::string("standard output: ") +
                      std::generic_category().message(errno));
    }
}

void Complain(const std::string& text) {
    std::fputs((Colored("inventory:", Ink::Red) + " " + text + "\n").c_str(),
               stderr);
}

std::string Table(const std::vector<std::vector<std::string>>& rows,
                  std::size_t leftColumn) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }

    std::string text;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool isLast = i + 1 == row.size();
            const std::string blanks(widths[i] - WidthOf(row[i]), ' ');
            if (i == leftColumn) {
                text += row[i] + blanks;
            } else if (isLast && leftColumn == std::string::npos) {
                text += row[i];
            } else {
                text += blanks + row[i];
            }
            text += isLast ? "\n" : "  ";
        }
    }
    return text;
}

std::string HumanSize(unsigned long long bytes) {
    const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024) {
        return std::to_string(bytes) + " B";
    }
    auto size = static_cast<double>(bytes);
    std::size_t unit = 0;
    // Not 1024: one decimal would round 1023.95 and more up to "1024.0".
    while (size >= 1023.95) {
        size /= 1024;
        ++unit;
    }
    return WithDecimals(size, 1) + " " + units[unit];
}

// GetSizeFormat puts one comma into a number, which is right for four digits to
// six, and elsewhere in a fraction. So a whole number is left, of five at most.
std::string RoundSize(unsigned long long bytes) {
    const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = 0;
    unsigned long unit =
        Novu::GetSizeUnit(static_cast<long long>(std::min<unsigned long long>(
                              bytes, std::numeric_limits<long long>::max())),
                          value);
    if (value < 10 && unit != 0) {
        value *= 1024;
        --unit;
    }
    const long long number = std::llround(value);
    std::string text = std::to_string(number);
    if (number >= 1000) {
        Novu::GetSizeFormat(text, number);
    }
    return text + " " + units[unit];
}

std::string WithDecimals(double value, int decimals) {
    char text[512];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace Inventory
