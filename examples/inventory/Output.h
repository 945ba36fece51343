// Output: what the program prints, and how it looks.

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

/// Columns two blanks apart, aligned on the right but for one: the last, or the
/// one of that number.
std::string Table(const std::vector<std::vector<std::string>>& rows,
                  std::size_t leftColumn = std::string::npos);

/// 1536 as "1.5 KiB".
std::string HumanSize(unsigned long long bytes);

/// "5,324 KiB": a whole number, at most 10240, of the largest unit that gives
/// at least 10, but for bytes.
std::string RoundSize(unsigned long long bytes);

std::string WithDecimals(double value, int decimals);

}  // namespace Inventory

#endif  // INVENTORY_OUTPUT_H_
