// Names: file names, which are bytes, as text.
//
// Plain    A name that an XML attribute gives back as it was: text of the C
//          locale's character set without control characters and without the
//          characters that XML 1.0 does not have.
// Escaped  Any name, in printable ASCII: "%" and every other byte is "%XX",
//          with upper case digits.

#ifndef INVENTORY_NAMES_H_
#define INVENTORY_NAMES_H_

#include <string>

namespace Inventory {

/// The name of the C locale's character set.
std::string CharacterSet();

/// True for printable ASCII, the blank included.
bool IsAscii(const std::string& name);

bool IsPlain(const std::string& name);

/// True for a path that stays below the folder that it starts from.
bool IsBelowAFolder(const std::string& path);

std::string Escape(const std::string& name);

/// The name of an escaped text. False, with `name` unchanged, for a text that
/// `Escape` does not make.
bool Unescape(const std::string& text, std::string& name);

/// What failed at that path by the error that errno holds: "PATH: WHAT: WHY",
/// or "PATH: WHY".
std::string Because(const std::string& path, const char* what = nullptr);

/// For people: the name itself where it is plain and has no "%", and otherwise
/// escaped. So no name passes for another, and none commands a terminal.
std::string Printable(const std::string& name);

}  // namespace Inventory

#endif  // INVENTORY_NAMES_H_
