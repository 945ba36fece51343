// The taking of attributes, from Attributes.h.

#include "Attributes.h"

#include <charconv>
#include <utility>

#include "Failure.h"
#include "Names.h"

namespace Inventory {

std::optional<std::string> TakeIfThere(Attributes& attributes,
                                       const std::string& name) {
    auto taken = attributes.extract(name);
    if (taken.empty()) {
        return std::nullopt;
    }
    return std::optional<std::string>(std::move(taken.mapped()));
}

std::string Take(Attributes& attributes, const std::string& name) {
    std::optional<std::string> value = TakeIfThere(attributes, name);
    if (!value) {
        throw Failure("the attribute " + name + " is missing");
    }
    return std::move(*value);
}

// XmlReader's own numbers are those of atoi: 32 bits, and 0 for no number.
template <typename Number>
Number TakeNumber(Attributes& attributes, const std::string& name) {
    const std::string text = Take(attributes, name);
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    // As it is written, and no other way; 0 stands for what could not be read.
    if (std::to_string(number) != text) {
        throw Failure(name + " '" + Printable(text) + "' is no number");
    }
    return number;
}

template long long TakeNumber(Attributes& attributes, const std::string& name);
template unsigned long long TakeNumber(Attributes& attributes,
                                       const std::string& name);

std::string TakeDigest(Attributes& attributes) {
    const std::optional<std::string> md5 = TakeIfThere(attributes, "md5");
    if (md5 &&
        (md5->size() != 32 ||
         md5->find_first_not_of("0123456789abcdef") != std::string::npos)) {
        throw Failure("md5 '" + Printable(*md5) + "' is no digest");
    }
    return md5.value_or("");
}

void RequireNone(const Attributes& attributes) {
    if (!attributes.empty()) {
        throw Failure("the attribute " + Printable(attributes.begin()->first) +
                      " does not belong there");
    }
}

}  // namespace Inventory
