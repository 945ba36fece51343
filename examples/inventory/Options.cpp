// The command line, from Options.h.

#include "Options.h"

#include <map>

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

// Which verbs take an option, as bits.
unsigned int Bit(Options::Verb verb) {
    return 1U << static_cast<unsigned int>(verb);
}

struct OptionEntry {
    std::string name;
    const char* value;  // What stands behind it; null where nothing does.
    unsigned int takenBy;
};

const std::vector<OptionEntry>& AllOptions() {
    using Verb = Options::Verb;
    const unsigned int readers =
        Bit(Verb::Verify) | Bit(Verb::Show) | Bit(Verb::Copy);
    static const std::vector<OptionEntry> options = {
        {"--chart", "a file", Bit(Verb::Show)},
        {"--color", "auto, always or never", Bit(Verb::Create) | readers},
        {"--digest", nullptr, Bit(Verb::Create) | Bit(Verb::Verify)},
        {"--encoding", "a name", Bit(Verb::Create)},
        {"--resume", nullptr, Bit(Verb::Create)},
        {"--seal", "a file with a key", Bit(Verb::Create) | readers},
    };
    return options;
}

// What stands behind the verb: its options, and the others in their order.
struct Arguments {
    bool help = false;
    std::map<std::string, std::string> options;
    std::vector<std::string> operands;

    bool Has(const std::string& option) const {
        return options.contains(option);
    }
    std::optional<std::string> ValueOf(const std::string& option) const {
        const auto found = options.find(option);
        return found != options.end()
                   ? std::optional<std::string>(found->second)
                   : std::nullopt;
    }
};

// Takes the option at `i`, and moves `i` to its value if that stands alone.
void TakeOption(const std::vector<std::string>& arguments, std::size_t& i,
                Arguments& sorted) {
    const std::string& argument = arguments[i];
    for (const OptionEntry& option : AllOptions()) {
        const std::size_t size = option.name.size();
        if (argument == option.name && option.value == nullptr) {
            sorted.options[option.name];
            return;
        }
        if (option.value == nullptr ||
            argument.compare(0, size, option.name) != 0 ||
            (argument.size() > size && argument[size] != '=')) {
            continue;
        }
        if (sorted.Has(option.name)) {
            throw Failure(option.name + " is given twice");
        }
        if (argument.size() > size) {
            sorted.options[option.name] = argument.substr(size + 1);
        } else if (++i < arguments.size()) {
            sorted.options[option.name] = arguments[i];
        } else {
            throw Failure(option.name + " needs " + option.value +
                          " behind it");
        }
        return;
    }
    throw Failure("unknown option '" + Printable(argument) + "'");
}

Arguments Sort(const std::vector<std::string>& arguments) {
    Arguments sorted;
    bool optionsEnded = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            sorted.operands.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (IsHelpOption(argument)) {
            sorted.help = true;
        } else {
            TakeOption(arguments, i, sorted);
        }
    }
    return sorted;
}

// Throws Failure for an option that the verb does not take.
void RequireTaken(const std::string& name, Options::Verb verb,
                  const Arguments& sorted) {
    for (const OptionEntry& option : AllOptions()) {
        if (sorted.Has(option.name) && (option.takenBy & Bit(verb)) == 0) {
            throw Failure(name + " takes no " + option.name);
        }
    }
}

Color ColorNamed(const std::string& name) {
    if (name == "auto") {
        return Color::Auto;
    }
    if (name == "always") {
        return Color::Always;
    }
    if (name == "never") {
        return Color::Never;
    }
    throw Failure("--color is auto, always or never, and not '" +
                  Printable(name) + "'");
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
        RequireTaken("help", Options::Verb::Help, sorted);
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
    RequireTaken(verb.name, verb.verb, sorted);

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
    options.digest = sorted.Has("--digest");
    options.encoding = sorted.ValueOf("--encoding").value_or(options.encoding);
    options.color = ColorNamed(sorted.ValueOf("--color").value_or("auto"));
    options.resume = sorted.Has("--resume");
    options.chart = sorted.ValueOf("--chart");
    options.seal = sorted.ValueOf("--seal");
    if (options.resume && !options.digest) {
        throw Failure("--resume goes with --digest, and saves nothing else");
    }
    if (options.resume && options.seal) {
        throw Failure(
            "--resume does not go with --seal, since it would keep plain names "
            "and digests in a file");
    }
    return options;
}

const char* Usage() { return kUsage; }

}  // namespace Inventory
