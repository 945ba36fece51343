// Failure: what ends a verb early; its text is for standard error.

#ifndef INVENTORY_FAILURE_H_
#define INVENTORY_FAILURE_H_

#include <stdexcept>

namespace Inventory {

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Inventory

#endif  // INVENTORY_FAILURE_H_
