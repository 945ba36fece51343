// Terminal: what standard error is, and what may be written to it.

#ifndef INVENTORY_TERMINAL_H_
#define INVENTORY_TERMINAL_H_

#include <string>

namespace Inventory {

enum class Color { Auto, Always, Never };

/// Once, before anything is written; Auto until then. That is: colours on a
/// terminal, unless TERM is "dumb" or missing, or NO_COLOR is set and not
/// empty.
void ChooseColor(Color color);

bool IsTerminal();

/// Of the terminal, at this moment; else what COLUMNS says, or 80.
std::size_t Columns();

enum class Ink { Red, Green };

/// The text in that colour, or as it is.
std::string Colored(const std::string& text, Ink ink);

}  // namespace Inventory

#endif  // INVENTORY_TERMINAL_H_
