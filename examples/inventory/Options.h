// Options: the command line.

#ifndef INVENTORY_OPTIONS_H_
#define INVENTORY_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "Terminal.h"

namespace Inventory {

struct Options {
    enum class Verb { Help, Create, Verify, Show, Copy };

    Verb verb = Verb::Help;
    std::string help;  // For Verb::Help: the text to print.
    std::string folder;
    std::string document;
    std::string target;  // For Verb::Copy: the folder of the copies.
    std::string encoding = "UTF-8";
    Color color = Color::Auto;
    bool digest = false;               // Digests are computed, or compared.
    bool resume = false;               // Digests are kept in a journal.
    std::optional<std::string> chart;  // The picture to draw.
    std::optional<std::string> seal;   // The file with the key.
};

/// Reads the arguments after the program's name. Throws Failure for those that
/// do not make sense.
Options ParseOptions(const std::vector<std::string>& arguments);

/// How the program is called, for somebody who gave no arguments.
const char* Usage();

}  // namespace Inventory

#endif  // INVENTORY_OPTIONS_H_
