// Width: how many columns of a terminal a text takes.

#ifndef INVENTORY_WIDTH_H_
#define INVENTORY_WIDTH_H_

#include <cstddef>
#include <string>

namespace Inventory {

/// Ideographs take two, combining marks none; what the locale does not know
/// takes one for each byte or character.
std::size_t WidthOf(const std::string& text);

/// The text, or as much of it as leaves room for "..." in so many columns.
std::string CutTo(std::size_t columns, const std::string& text);

}  // namespace Inventory

#endif  // INVENTORY_WIDTH_H_
