// The command line, from Options.h.

#include "Options.h"

#include <optional>

#include "Failure.h"
#include "Names.h"

namespace Inventory {

namespace {

const char kUsage[] =
    R"(Usage: inventory create FOLDER OUT.xml [--encoding NAME]
       inventory verify FOLDER IN.xml
       inventory show IN.xml
       inventory copy IN.xml FOLDER TARGET
       inventory help [VERB]
)";

const char kHelp[] = R"(
Keeps an inventory of a folder, and of all folders in it, as an XML document.

  create    writes the inventory of FOLDER
  verify    compares FOLDER with its inventory
  show      prints totals and the largest files of an inventory
  copy      copies the files of an inventory, and verifies the copies
  help      prints this, or the help of a verb

  -h, --help    prints the help of the verb
  --            ends the options; whatever follows is a folder or a document

A name that holds a "%", or that cannot be shown as it is, is printed with "%"
and every byte outside printable ASCII as %XX, in hexadecimal digits.

Exit status: 0 done, 1 verify or copy found differences, 2 an error.
)";

const char kCreateHelp[] =
    R"(Usage: inventory create FOLDER OUT.xml [--encoding NAME]

Writes the inventory of FOLDER to OUT.xml: an identifier for each entry, its
path, type, size and times. Symbolic links are listed and not followed, but
FOLDER itself may be one.

OUT.xml appears or changes at the end, in one step, whole or not at all. Only a
file is replaced, whose permissions stay: no link, folder or device. Put it
outside FOLDER: inside, 'inventory verify' would find it added or changed.

A name that is no text in this locale, or that XML cannot hold, is kept in an
escaped form; it is named on standard error and counted. So is an entry that
cannot be read, of which the inventory has the path. Neither is an error.

  --encoding NAME   the document's encoding, UTF-8 if not given. In any other,
                    all names that are not ASCII are escaped. Encodings that do
                    not extend ASCII, such as UTF-16, are refused.
  -h, --help        prints this
  --                ends the options

Exit status: 0 done, 2 an error.
)";

const char kVerifyHelp[] =
    R"(Usage: inventory verify FOLDER IN.xml

Compares FOLDER with the inventory IN.xml and prints, in the order of the paths,

  added    PATH             in FOLDER, not in IN.xml
  removed  PATH             in IN.xml, not in FOLDER
  changed  PATH (WHAT)      in both, but not the same

and the counts. Files and links have changed when their type, size, time of
last modification or link target has; folders and others when their type has,
and folders also when their entries could be read only once. What IN.xml has in
a folder that cannot be read now is not compared.

  -h, --help        prints this
  --                ends the options

Exit status: 0 the same, 1 different, 2 an error.
)";

const char kShowHelp[] =
    R"(Usage: inventory show IN.xml

Prints of the inventory IN.xml: the entries and bytes of each type; the files
and bytes of each file extension, for the 20 with the most bytes; and the 20
largest files. An extension is what follows the last "." of a file's name.

  -h, --help        prints this
  --                ends the options

Exit status: 0 done, 2 an error.
)";

const char kCopyHelp[] =
    R"(Usage: inventory copy IN.xml FOLDER TARGET

Copies each file that IN.xml, an inventory of FOLDER, lists from FOLDER to the
folder TARGET, as it is now, and compares the copy with it byte by byte. TARGET
and the folders in it are made where they are missing. Nothing is overwritten,
and nothing is copied out of TARGET: a symbolic link in it is not followed, but
FOLDER and TARGET themselves may be one. Prints, in the order of the paths,

  changed  PATH (WHAT)      copied, but not what IN.xml lists: another size or
                            time of last modification
  missing  PATH             in IN.xml, not in FOLDER
  special  PATH (TYPE)      no file, in IN.xml or in FOLDER, and not copied
  existing PATH             in TARGET before, which is left as it is
  failed   PATH (WHY)       cannot be read or made; or the copy differs, which
                            is then removed

and the counts, in which changed files are also copied ones. Copies have the
permissions of their files, less the umask, and where that is allowed their
owner; they have new times. Folders with no file to copy are not made.

  -h, --help        prints this
  --                ends the options

Exit status: 0 all copied as listed, 1 not so, 2 an error.
)";

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
        if (sorted.encoding) {
            throw Failure("help takes no --encoding");
        }
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
    if (sorted.encoding && verb.verb != Options::Verb::Create) {
        throw Failure(std::string(verb.name) + " takes no --encoding");
    }

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
    options.encoding = sorted.encoding.value_or(options.encoding);
    return options;
}

const char* Usage() { return kUsage; }

}  // namespace Inventory
