// Attributes: those of an element, taken one by one.

#ifndef INVENTORY_ATTRIBUTES_H_
#define INVENTORY_ATTRIBUTES_H_

#include <map>
#include <optional>
#include <string>

namespace Inventory {

/// Values by names. To take an attribute is to remove it.
using Attributes = std::map<std::string, std::string>;

// All throw Failure, which names the attribute, for what does not belong there.

/// One that may be there.
std::optional<std::string> TakeIfThere(Attributes& attributes,
                                       const std::string& name);

/// One that must be there.
std::string Take(Attributes& attributes, const std::string& name);

/// A number that must be there; for long long and unsigned long long.
template <typename Number>
Number TakeNumber(Attributes& attributes, const std::string& name);

/// The attribute md5; empty where it is not there.
std::string TakeDigest(Attributes& attributes);

/// Every attribute has been taken.
void RequireNone(const Attributes& attributes);

}  // namespace Inventory

#endif  // INVENTORY_ATTRIBUTES_H_
