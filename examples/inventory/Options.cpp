// The command line, from Options.h.

#include "Options.h"

#include <optional>

#include "Failure.h"
#include "Help.h"
#include "Names.h"

namespace Inventory {

namespace {

struct VerbEntry {
    const char* name;
    Options::Verb verb;
    const char* help;
    std::size_t operandCount;
    const char* operands;
};

const VerbEntry kVerbs[] = {
    {"create", Options::Verb::Create, kCreateHelp, 2,
     "a folder and a document"},
    {"verify", Options::Verb::Verify, kVerifyHelp, 2,
     "a folder and a document"},
    {"show", Options::Verb::Show, kShowHelp, 1, "one document"},
    {"copy", Options::Verb::Copy, kCopyHelp, 3,
     "a document, a folder and a target"},
};

const VerbEntry& VerbNamed(const std::string& name) {
    for (const VerbEntry& verb : kVerbs) {
        if (name == verb.name) {
            return verb;
        }
    }
    throw Failure("unknown verb '" + Printable(name) + "'");
}

bool IsHelpOption(const std::string& argument) {
    return argument == "-h" || argument == "--help";
}

Options HelpOptions(const std::string& text) {
    Options options;
    options.help = text;
    return options;
}

// What stands behind the verb: its options, and the others in their order.
struct Arguments {
    bool help = false;
    bool digest = false;
    std::optional<std::string> encoding;
    std::vector<std::string> operands;
};

Arguments Sort(const std::vector<std::string>& arguments) {
    const std::string encoding = "--encoding";
    Arguments sorted;
    const auto setEncoding = [&](const std::string& value) {
        if (sorted.encoding) {
            throw Failure(encoding + " is given twice");
        }
        sorted.encoding = value;
    };

    bool optionsEnded = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            sorted.operands.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (IsHelpOption(argument)) {
            sorted.help = true;
        } else if (argument == "--digest") {
            sorted.digest = true;
        } else if (argument == encoding) {
            if (++i == arguments.size()) {
                throw Failure(encoding + " needs a name behind it");
            }
            setEncoding(arguments[i]);
        } else if (argument.compare(0, encoding.size() + 1, encoding + "=") ==
                   0) {
            setEncoding(argument.substr(encoding.size() + 1));
        } else {
            throw Failure("unknown option '" + Printable(argument) + "'");
        }
    }
    return sorted;
}

// Throws Failure for an option that the verb does not take.
void RequireTaken(const std::string& verb, const Arguments& sorted,
                  bool encoding, bool digest) {
    if (sorted.encoding && !encoding) {
        throw Failure(verb + " takes no --encoding");
    }
    if (sorted.digest && !digest) {
        throw Failure(verb + " takes no --digest");
    }
}

Options ParseHelp(const std::vector<std::string>& operands) {
    if (operands.size() > 1) {
        throw Failure("help takes one verb at most");
    }
    if (operands.size() == 1 && operands[0] != "help") {
        return HelpOptions(VerbNamed(operands[0]).help);
    }
    return HelpOptions(std::string(kUsage) + kHelp);
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        throw Failure("a verb is missing");
    }
    if (arguments[0] == "help" || IsHelpOption(arguments[0])) {
        const Arguments sorted = Sort(arguments);
        RequireTaken("help", sorted, /*encoding=*/false, /*digest=*/false);
        return ParseHelp(sorted.operands);
    }

    const VerbEntry& verb = VerbNamed(arguments[0]);
    const Arguments sorted = Sort(arguments);
    if (sorted.help) {
        return HelpOptions(verb.help);
    }
    if (sorted.operands.size() != verb.operandCount) {
        throw Failure(std::string(verb.name) + " takes " + verb.operands +
                      ", and was given " +
                      std::to_string(sorted.operands.size()) + " arguments");
    }
    const bool isCreate = verb.verb == Options::Verb::Create;
    RequireTaken(verb.name, sorted, /*encoding=*/isCreate,
                 /*digest=*/isCreate || verb.verb == Options::Verb::Verify);

    Options options;
    options.verb = verb.verb;
    if (verb.verb == Options::Verb::Copy) {
        options.document = sorted.operands[0];
        options.folder = sorted.operands[1];
        options.target = sorted.operands[2];
    } else {
        options.folder =
            sorted.operands.size() > 1 ? sorted.operands.front() : "";
        options.document = sorted.operands.back();
    }
    options.digest = sorted.digest;
    options.encoding = sorted.encoding.value_or(options.encoding);
    return options;
}

const char* Usage() { return kUsage; }

}  // namespace Inventory
