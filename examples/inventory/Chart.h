// Chart: the space of an inventory's files as a picture.

#ifndef INVENTORY_CHART_H_
#define INVENTORY_CHART_H_

#include <string>
#include <vector>

#include "Entry.h"

namespace Inventory {

/// Puts an SVG picture at `path`, as `PutAt` does: a bar for each of the
/// largest extensions, and one for each age. `now` is in milliseconds since
/// 1970. Throws Failure.
void DrawChart(const std::vector<Entry>& entries, long long now,
               const std::string& path);

}  // namespace Inventory

#endif  // INVENTORY_CHART_H_
