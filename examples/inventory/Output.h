// Output: results for standard output, and how they look.

#ifndef INVENTORY_OUTPUT_H_
#define INVENTORY_OUTPUT_H_

#include <string>
#include <vector>

namespace Inventory {

/// Writes to standard output. Throws Failure when it cannot all be written
/// (a full disk, a pipe that nobody reads).
void Print(const std::string& text);

/// Writes a line to standard error, behind the program's name.
void Complain(const std::string& text);

/// Columns two blanks apart, aligned on the right but for the last.
std::string Table(const std::vector<std::vector<std::string>>& rows);

/// 1536 as "1.5 KiB".
std::string HumanSize(unsigned long long bytes);

std::string WithDecimals(double value, int decimals);

}  // namespace Inventory

#endif  // INVENTORY_OUTPUT_H_
