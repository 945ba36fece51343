// The inventory program of examples/inventory, run from end to end: each test
// makes a folder, calls the program as a user would, and looks at its exit
// status, at what it prints and at the document, which xmllint reads as well.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Bases/FileFind.h"
#include "tests/support/TempDir.h"

namespace {

using NovuTest::TempDir;
using Strings = std::vector<std::string>;

// Running programs

const std::chrono::seconds kDeadline(50);

// How a program is run.
struct Setting {
    std::string locale = "C.UTF-8";
    bool dropPrivileges = false;  // Root shall have no more than an owner.
    bool onTerminal = false;      // Standard error is a terminal.
    int output = -1;              // Standard output; -1: it is captured.
    rlim_t fileSize = RLIM_INFINITY;
    rlim_t openFiles = RLIM_INFINITY;
    std::string folder = "/";        // To run in.
    bool ignoresInterrupts = false;  // As in the background of a script.

    // What is done while it runs, and before its output is read: standard error
    // can be read from `error`. False: it has not come to that.
    std::function<bool(pid_t program, int error)> meanwhile;
};

struct Result {
    int status = -1;  // The exit status; -1 for any other end.
    std::string end;  // What other end it was.
    std::string out;
    std::string err;
};

std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << "status " << result.status << " " << result.end
                  << "\nout: " << result.out.substr(0, 4000)
                  << "\nerr: " << result.err.substr(0, 4000);
}

class Descriptor {
public:
    explicit Descriptor(int open = -1) : number(open) {}
    Descriptor(Descriptor&& other) noexcept : number(other.number) {
        other.number = -1;
    }
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { Close(); }
    void Close() {
        if (number != -1) {
            ::close(number);
            number = -1;
        }
    }
    int Number() const { return number; }

private:
    int number;
};

struct Channel {
    Descriptor reading;
    Descriptor writing;
};

// Not for the program: it would keep a pipe open that it does not know.
Descriptor CloseOnExec(int open) {
    if (open == -1 || ::fcntl(open, F_SETFD, FD_CLOEXEC) == -1) {
        throw std::runtime_error("no pipe or terminal");
    }
    return Descriptor(open);
}

Channel MakePipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    return {CloseOnExec(ends[0]), CloseOnExec(ends[1])};
}

Channel MakeTerminal() {
    Descriptor master = CloseOnExec(::posix_openpt(O_RDWR | O_NOCTTY));
    if (::grantpt(master.Number()) != 0 || ::unlockpt(master.Number()) != 0) {
        throw std::runtime_error("no terminal");
    }
    Descriptor slave =
        CloseOnExec(::open(::ptsname(master.Number()), O_RDWR | O_NOCTTY));
    return {std::move(master), std::move(slave)};
}

// The program starts with these variables and no others.
Strings EnvironmentFor(const Setting& setting) {
    Strings variables = {"LC_ALL=" + setting.locale};
    for (const char* const name : {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS",
                                   "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* const value = std::getenv(name)) {
            variables.push_back(std::string(name) + "=" + value);
        }
    }
    return variables;
}

std::vector<char*> PointersTo(Strings& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

bool Limit(decltype(RLIMIT_FSIZE) resource, rlim_t most) {
    const rlimit limits{most, most};
    return most == RLIM_INFINITY || ::setrlimit(resource, &limits) == 0;
}

// Root's programs may then read and write only what their owner may.
bool DropPrivileges() {
#ifdef __linux__
    return ::getuid() != 0 ||
           (::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 &&
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) == 0);
#else
    return ::getuid() != 0;
#endif
}

// What the signals do does not depend on how the tests were started.
bool SetSignals(bool ignoreInterrupts) {
    sigset_t none;
    return ::sigemptyset(&none) == 0 &&
           ::sigprocmask(SIG_SETMASK, &none, nullptr) == 0 &&
           std::signal(SIGINT, ignoreInterrupts ? SIG_IGN : SIG_DFL) !=
               SIG_ERR &&
           std::signal(SIGTERM, SIG_DFL) != SIG_ERR;
}

// What stands between fork and exec; false ends the child.
bool Prepare(const Setting& setting, int output, int error) {
    return ::dup2(output, STDOUT_FILENO) != -1 &&
           ::dup2(error, STDERR_FILENO) != -1 &&
           ::chdir(setting.folder.c_str()) == 0 &&
           Limit(RLIMIT_FSIZE, setting.fileSize) &&
           Limit(RLIMIT_NOFILE, setting.openFiles) &&
           SetSignals(setting.ignoresInterrupts) &&
           (!setting.dropPrivileges || DropPrivileges());
}

// Reads until all ends are closed. False when that takes too long.
bool ReadAll(const std::vector<std::pair<int, std::string*>>& sources) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::vector<pollfd> waiting;
    for (const auto& [descriptor, text] : sources) {
        waiting.push_back({descriptor, POLLIN, 0});
    }
    std::size_t open = sources.size();
    while (open != 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(waiting.data(), waiting.size(),
                                        static_cast<int>(left.count())) <= 0) {
            return false;
        }
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].fd == -1 || waiting[i].revents == 0) {
                continue;
            }
            char block[65536];
            const ssize_t count = ::read(waiting[i].fd, block, sizeof block);
            if (count > 0) {
                sources[i].second->append(block,
                                          static_cast<std::size_t>(count));
            } else {  // A terminal whose other end is closed answers EIO.
                waiting[i].fd = -1;
                --open;
            }
        }
    }
    return true;
}

// Runs `command`, looked up in PATH.
Result RunCommand(Strings command, const Setting& setting = Setting()) {
    Channel output = MakePipe();
    Channel error = setting.onTerminal ? MakeTerminal() : MakePipe();
    Strings environment = EnvironmentFor(setting);
    const std::vector<char*> arguments = PointersTo(command);
    std::vector<char*> variables = PointersTo(environment);

    const pid_t child = ::fork();
    if (child == 0) {
        if (Prepare(
                setting,
                setting.output != -1 ? setting.output : output.writing.Number(),
                error.writing.Number())) {
            // Not execvp, at which a build that counts coverage first writes
            // its counts, whatever the limits that were set.
            ::execvpe(arguments[0], arguments.data(), variables.data());
        }
        ::_exit(126);
    }
    output.writing.Close();
    error.writing.Close();

    Result result;
    const bool ended = (!setting.meanwhile ||
                        setting.meanwhile(child, error.reading.Number())) &&
                       ReadAll({{output.reading.Number(), &result.out},
                                {error.reading.Number(), &result.err}});
    if (!ended) {
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!ended) {
        result.end = "(did not end in time)";
    } else if (WIFEXITED(status)) {
        result.status = WEXITSTATUS(status);
    } else {
        result.end = "(signal " + std::to_string(WTERMSIG(status)) + ")";
    }
    return result;
}

Result RunInventory(Strings arguments, const Setting& setting = Setting()) {
    arguments.insert(arguments.begin(), NOVU_INVENTORY_PROGRAM);
    return RunCommand(std::move(arguments), setting);
}

Setting In(const std::string& locale) {
    Setting setting;
    setting.locale = locale;
    return setting;
}

Setting AsOrdinaryUser() {
    Setting setting;
    setting.dropPrivileges = true;
    return setting;
}

// Texts

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string Replaced(std::string text, const std::string& part,
                     const std::string& by) {
    const std::size_t start = text.find(part);
    EXPECT_NE(std::string::npos, start) << "no " << part << " in " << text;
    return start != std::string::npos ? text.replace(start, part.size(), by)
                                      : text;
}

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

Strings Lines(const std::string& text) {
    Strings lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Without the blanks at its beginning.
std::string Trimmed(const std::string& line) {
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

// Nothing that commands a terminal: ASCII without control characters, or with
// the lead and continuation bytes of UTF-8 text beyond the C1 controls.
bool IsHarmless(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next =
            static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if ((byte < 0x20 && byte != '\n') || byte == 0x7F || byte == 0xFF ||
            (byte == 0xC2 && next < 0xA0)) {
            return false;
        }
    }
    return true;
}

// Documents

// The bytes of a text in its escaped form.
std::string Unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            bytes += static_cast<char>(
                std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

// The value of an attribute as it stands in the document, with the entities
// that libxml2 writes resolved.
std::string Value(const std::string& text) {
    const std::map<std::string, std::string> entities = {
        {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}};
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '&') {
            value += text[i];
            continue;
        }
        const std::size_t end = text.find(';', i);
        value += entities.at(text.substr(i + 1, end - i - 1));
        i = end;
    }
    return value;
}

using Attributes = std::map<std::string, std::string>;

// The attributes of the element that a line holds: name="value" pairs.
Attributes AttributesOf(const std::string& line) {
    Attributes attributes;
    std::size_t start = line.find(' ');
    while (start != std::string::npos && start + 1 < line.size()) {
        const std::size_t equals = line.find("=\"", start);
        if (equals == std::string::npos) {
            break;
        }
        const std::size_t end = line.find('"', equals + 2);
        attributes[line.substr(start + 1, equals - start - 1)] =
            Value(line.substr(equals + 2, end - equals - 2));
        start = end + 1;
    }
    return attributes;
}

// The document's entries by path, in bytes.
std::map<std::string, Attributes> EntriesOf(const std::string& document) {
    std::map<std::string, Attributes> entries;
    for (const std::string& line : Lines(document)) {
        if (line.rfind("<entry ", 0) == 0) {
            const Attributes attributes = AttributesOf(line);
            const auto escaped = attributes.find("pathEscaped");
            EXPECT_EQ(
                1U, attributes.count("path") + attributes.count("pathEscaped"))
                << line;
            const std::string path = escaped != attributes.end()
                                         ? Unescaped(escaped->second)
                                         : attributes.at("path");
            EXPECT_TRUE(entries.emplace(path, attributes).second) << line;
        }
    }
    return entries;
}

Strings PathsInOrder(const std::string& document) {
    Strings paths;
    for (const std::string& line : Lines(document)) {
        if (line.rfind("<entry ", 0) == 0) {
            paths.push_back(AttributesOf(line)["path"]);
        }
    }
    return paths;
}

// How an identifier's attribute begins.
const std::string kIdentifier = " id=\"";

Strings IdentifiersOf(const std::string& document) {
    Strings identifiers;
    for (std::size_t start = document.find(kIdentifier);
         start != std::string::npos;
         start = document.find(kIdentifier, start + 1)) {
        identifiers.push_back(document.substr(start + kIdentifier.size(), 36));
    }
    return identifiers;
}

std::string WithoutIdentifiers(const std::string& document) {
    std::string text;
    for (std::string line : Lines(document)) {
        const std::size_t start = line.find(kIdentifier);
        if (start != std::string::npos) {
            line.erase(start, kIdentifier.size() + 36 + 1);
        }
        text += line + "\n";
    }
    return text;
}

std::string Identifier(int number) {
    const std::string digits = std::to_string(number);
    return "00000000-0000-4000-8000-" + std::string(12 - digits.size(), '0') +
           digits;
}

std::string FileElement(int number, const std::string& path,
                        const std::string& size) {
    return "<entry id=\"" + Identifier(number) + "\" path=\"" + path +
           "\" type=\"file\" size=\"" + size +
           "\" modified=\"1\" changed=\"2\" created=\"3\"/>\n";
}

std::string DocumentOf(const std::string& elements) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<inventory version=\"1\" charset=\"UTF-8\" id=\"" +
           Identifier(0) + "\">\n" + elements + "</inventory>\n";
}

void ExpectGoodXml(const std::string& path) {
    const Result result = RunCommand({"xmllint", "--noout", path});
    EXPECT_EQ(0, result.status) << "xmllint: " << result;
    EXPECT_EQ("", result.err);
}

// The paths of all that is in a folder and can be listed, read without the
// library.
std::set<std::string> PathsIn(const std::string& folder) {
    std::set<std::string> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             folder,
             std::filesystem::directory_options::skip_permission_denied)) {
        paths.insert(entry.path().native().substr(folder.size()));
    }
    return paths;
}

template <typename Map>
std::set<std::string> KeysOf(const Map& map) {
    std::set<std::string> keys;
    for (const auto& [key, value] : map) {
        keys.insert(key);
    }
    return keys;
}

std::string Milliseconds(const timespec& time) {
    return std::to_string(time.tv_sec * 1000 + time.tv_nsec / 1000000);
}

class InventoryTest : public testing::Test {
public:
    InventoryTest() : tree(dir.MakeDir("tree") + "/"), out(dir / "out.xml") {}

    // The content of the document that `create` makes of the tree.
    std::string Create(const Setting& setting = Setting(),
                       const Strings& options = {}) {
        Strings arguments = {"create", tree, out};
        arguments.insert(arguments.end(), options.begin(), options.end());
        created = RunInventory(arguments, setting);
        EXPECT_EQ(0, created.status) << created;
        ExpectGoodXml(out);
        return Content(out);
    }

    Result Verify(const Setting& setting = Setting(),
                  const Strings& options = {}) {
        Strings arguments = {"verify", tree, out};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunInventory(arguments, setting);
    }

    void Write(const std::string& path, const std::string& content) {
        std::ofstream(tree + path, std::ios::binary) << content;
    }
    void MakeDir(const std::string& path) {
        std::filesystem::create_directories(tree + path);
    }
    void Link(const std::string& path, const std::string& target) {
        std::filesystem::create_symlink(target, tree + path);
    }

    // Nothing but `names` is left in the folder of the tree and the document.
    void ExpectBeside(std::set<std::string> names) {
        std::set<std::string> found;
        for (const auto& entry :
             std::filesystem::directory_iterator(dir.Path())) {
            found.insert(entry.path().filename().native());
        }
        names.insert("tree");
        EXPECT_EQ(names, found);
    }

    TempDir dir;
    std::string tree;  // Ends in "/".
    std::string out;
    Result created;  // The run of the last Create.
};

// The command line

const struct HelpCase {
    int line;
    Strings arguments;
    const char* start;
} kHelpCases[] = {
    // line     arguments                start of what is printed
    {__LINE__, {"--help"}, "Usage: inventory create"},
    {__LINE__, {"-h"}, "Usage: inventory create"},
    {__LINE__, {"help"}, "Usage: inventory create"},
    {__LINE__, {"help", "help"}, "Usage: inventory create"},
    {__LINE__, {"help", "--help"}, "Usage: inventory create"},
    {__LINE__,
     {"create", "--help"},
     "Usage: inventory create FOLDER OUT.xml [--encoding NAME] [--digest]\n"},
    {__LINE__,
     {"verify", "--help"},
     "Usage: inventory verify FOLDER IN.xml [--digest]\n"},
    {__LINE__, {"show", "--help"}, "Usage: inventory show IN.xml"},
    {__LINE__,
     {"copy", "--help"},
     "Usage: inventory copy IN.xml FOLDER TARGET"},
    {__LINE__, {"help", "create"}, "Usage: inventory create FOLDER OUT.xml"},
    {__LINE__, {"help", "verify"}, "Usage: inventory verify FOLDER IN.xml"},
    {__LINE__, {"--help", "show"}, "Usage: inventory show IN.xml"},
    {__LINE__, {"help", "copy"}, "Usage: inventory copy IN.xml FOLDER TARGET"},
    {__LINE__, {"show", "-h"}, "Usage: inventory show IN.xml"},

    // Among arguments, which are then not looked at.
    {__LINE__, {"verify", "x", "-h", "y", "z"}, "Usage: inventory verify"},
};

TEST_F(InventoryTest, PrintsHelp) {
    std::set<std::string> texts;
    for (const HelpCase& row : kHelpCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Result result = RunInventory(row.arguments);
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(0U, result.out.find(row.start)) << result;
        EXPECT_TRUE(Contains(result.out, "Exit status:"));
        EXPECT_EQ("", result.err);
        texts.insert(result.out);
    }
    EXPECT_EQ(5U, texts.size());  // The general one and one for each verb.

    // Whoever looks for an option or a signal finds it.
    for (const char* const verb : {"create", "verify"}) {
        EXPECT_TRUE(
            Contains(RunInventory({verb, "--help"}).out, "\n  --digest"))
            << verb;
    }
    for (const Strings& arguments : {Strings{"help"}, Strings{"help", "create"},
                                     Strings{"help", "copy"}}) {
        EXPECT_TRUE(Contains(RunInventory(arguments).out, "SIGINT"));
    }
}

TEST_F(InventoryTest, PrintsTheUsageAsAnErrorWithoutArguments) {
    const Result result = RunInventory({});
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_EQ(0U, result.err.find("Usage: inventory create")) << result;
}

const struct ArgumentCase {
    int line;
    Strings arguments;
    const char* message;
} kArgumentCases[] = {
    // line     arguments                           message
    {__LINE__, {"make"}, "unknown verb 'make'"},
    {__LINE__, {""}, "unknown verb ''"},
    {__LINE__, {"mak\x1B[1me"}, "unknown verb 'mak%1B[1me'"},
    {__LINE__, {"--create"}, "unknown verb '--create'"},
    {__LINE__, {"help", "make"}, "unknown verb 'make'"},
    {__LINE__, {"help", "show", "show"}, "help takes one verb"},
    {__LINE__, {"help", "--encoding", "x"}, "help takes no --encoding"},
    {__LINE__, {"create"}, "create takes a folder and a document"},
    {__LINE__, {"create", "a"}, "create takes a folder and a document"},
    {__LINE__, {"create", "a", "b", "c"}, "was given 3 arguments"},
    {__LINE__, {"verify", "a"}, "verify takes a folder and a document"},
    {__LINE__, {"show"}, "show takes one document"},
    {__LINE__, {"show", "a", "b"}, "show takes one document"},
    {__LINE__, {"copy"}, "copy takes a document, a folder and a target"},
    {__LINE__, {"copy", "a", "b"}, "was given 2 arguments"},
    {__LINE__, {"copy", "a", "b", "c", "d"}, "was given 4 arguments"},
    {__LINE__, {"copy", "a", "b", "c", "--force"}, "unknown option '--force'"},
    {__LINE__,
     {"copy", "a", "b", "c", "--encoding=x"},
     "copy takes no --encoding"},
    {__LINE__, {"show", "--all", "a"}, "unknown option '--all'"},
    {__LINE__, {"show", "-a"}, "unknown option '-a'"},
    {__LINE__, {"create", "a", "b", "--encodings=x"}, "unknown option"},
    {__LINE__, {"create", "a", "b", "--encoding"}, "--encoding needs a name"},
    {__LINE__,
     {"create", "a", "b", "--encoding", "x", "--encoding=y"},
     "--encoding is given twice"},
    {__LINE__,
     {"verify", "a", "b", "--encoding=x"},
     "verify takes no --encoding"},
    {__LINE__, {"show", "b", "--encoding=x"}, "show takes no --encoding"},
    {__LINE__, {"show", "b", "--digest"}, "show takes no --digest"},
    {__LINE__, {"copy", "a", "b", "c", "--digest"}, "copy takes no --digest"},
    {__LINE__, {"help", "--digest"}, "help takes no --digest"},
    {__LINE__, {"create", "a", "b", "--digest=md5"}, "unknown option"},
    {__LINE__, {"show", "--", "--help", "b"}, "was given 2 arguments"},
};

TEST_F(InventoryTest, RefusesArgumentsThatMakeNoSense) {
    for (const ArgumentCase& row : kArgumentCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Setting setting;
        setting.folder = dir.Path();
        const Result result = RunInventory(row.arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, row.message)) << result;
        EXPECT_TRUE(Contains(result.err, "try 'inventory --help'")) << result;
        EXPECT_TRUE(IsHarmless(result.err));
    }
    ExpectBeside({});
}

TEST_F(InventoryTest, TakesOptionsAnywhereAndNamesThatLookLikeThem) {
    dir.Write("tree/a", "1");
    dir.MakeDir("--help");
    dir.Write("--help/b", "22");
    Setting setting;
    setting.folder = dir.Path();

    Result result = RunInventory(
        {"create", "--encoding=US-ASCII", "tree", "out.xml"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(Content(out), "encoding=\"US-ASCII\""));
    EXPECT_EQ(1U, EntriesOf(Content(out)).count("a"));

    result = RunInventory(
        {"create", "tree", "--encoding", "ISO-8859-1", "out.xml"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(Content(out), "encoding=\"ISO-8859-1\""));

    result = RunInventory({"create", "--", "--help", "-"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1U, EntriesOf(Content(dir / "-")).count("b"));

    result =
        RunInventory({"create", "--digest", "--", "tree", "--digest"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1U, EntriesOf(Content(dir / "--digest")).at("a").count("md5"));

    // "-" is a file like any other, and not standard input.
    result = RunInventory({"verify", "--", "--help", "-"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(0, RunInventory({"show", "-"}, setting).status);
}

TEST_F(InventoryTest, RefusesALocaleThatIsNotThere) {
    for (const Strings& arguments :
         {Strings{"--help"}, Strings{}, Strings{"create", tree, out}}) {
        const Result result = RunInventory(arguments, In("xx_NOWHERE.UTF-8"));
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "locale")) << result;
    }
    ExpectBeside({});
}

// What an inventory holds

TEST_F(InventoryTest, DescribesEachKindOfEntry) {
    Write("file.txt", "0123456789");
    MakeDir("folder/inner");
    Write("folder/inner/deep", "x");
    MakeDir("empty");
    Link("link", "folder/inner");
    Link("dangling", "nowhere at all");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));

    const auto entries = EntriesOf(Create());
    const std::map<std::string, std::string> types = {
        {"file.txt", "file"},       {"folder", "folder"},
        {"folder/inner", "folder"}, {"folder/inner/deep", "file"},
        {"empty", "folder"},        {"link", "link"},
        {"dangling", "link"},       {"pipe", "other"},
    };
    EXPECT_EQ(KeysOf(types), KeysOf(entries));
    for (const auto& [path, type] : types) {
        SCOPED_TRACE(path);
        const Attributes& attributes = entries.at(path);
        struct stat info;
        ASSERT_EQ(0, ::lstat((tree + path).c_str(), &info));
        EXPECT_EQ(type, attributes.at("type"));
        EXPECT_EQ(std::to_string(info.st_size), attributes.at("size"));
        EXPECT_EQ(Milliseconds(info.st_mtim), attributes.at("modified"));
        EXPECT_EQ(Milliseconds(info.st_ctim), attributes.at("changed"));
        EXPECT_EQ(std::to_string(info.st_ctim.tv_sec) + "000",
                  attributes.at("created"));
        EXPECT_EQ(type == "link" ? 1U : 0U, attributes.count("target"));
        EXPECT_EQ(0U, attributes.count("contents"));
    }
    EXPECT_EQ("folder/inner", entries.at("link").at("target"));
    EXPECT_EQ("nowhere at all", entries.at("dangling").at("target"));

    // The summary.
    EXPECT_EQ("", created.err);
    for (const char* const line :
         {"8  entries\n", "2  of type file\n", "3  of type folder\n",
          "2  of type link\n", "1  of type other\n", "0  of type unreadable\n",
          "0  folders with unreadable contents\n", "0  entries escaped\n",
          "11  bytes in files\n", "  seconds\n"}) {
        EXPECT_TRUE(Contains(created.out, line)) << line << created.out;
    }
    EXPECT_TRUE(Contains(created.out, std::to_string(Content(out).size()) +
                                          "  bytes of document\n"))
        << created.out;
}

TEST_F(InventoryTest, AnEmptyFolderHasAnEmptyInventory) {
    EXPECT_EQ(0U, EntriesOf(Create()).size());
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 0 the same\n", result.out);
    EXPECT_EQ(0, RunInventory({"show", out}).status);
}

TEST_F(InventoryTest, TheFolderMayBeALinkAndNeedsNoSlash) {
    Write("a", "1");
    MakeDir("d");
    Write("d/b", "2");
    const std::string document = WithoutIdentifiers(Create());
    std::filesystem::create_directory_symlink(tree, dir / "alias");
    for (const char* const folder : {"tree", "tree///", "alias", "alias/"}) {
        const Result result = RunInventory({"create", dir / folder, out});
        EXPECT_EQ(0, result.status) << folder << result;
        EXPECT_EQ(document, WithoutIdentifiers(Content(out))) << folder;
    }
}

TEST_F(InventoryTest, ListsAFolderThenItsContentsThenTheNextByBytes) {
    for (const char* const folder : {"b", "a b", "a", "a/c", "a.d"}) {
        MakeDir(folder);
    }
    for (const char* const file : {"a/z", "a/c/y", "a/B", "\xC3\xA9", "Z"}) {
        Write(file, "");
    }
    EXPECT_EQ((Strings{"Z", "a", "a/B", "a/c", "a/c/y", "a/z", "a b", "a.d",
                       "b", "\xC3\xA9"}),
              PathsInOrder(Create()));
    EXPECT_EQ(0, Verify().status);
}

TEST_F(InventoryTest, TwoRunsDifferInTheirIdentifiersAlone) {
    for (int i = 0; i < 20; ++i) {
        const std::string folder = std::to_string(i);
        MakeDir(folder);
        Write(folder + "/x", std::string(static_cast<std::size_t>(i), 'x'));
        Link(folder + "/l", "x");
    }
    const std::string first = Create();
    const std::string second = Create();
    EXPECT_NE(first, second);
    EXPECT_EQ(WithoutIdentifiers(first), WithoutIdentifiers(second));

    Strings identifiers = IdentifiersOf(first);
    const Strings more = IdentifiersOf(second);
    EXPECT_EQ(1U + 60U, identifiers.size());
    identifiers.insert(identifiers.end(), more.begin(), more.end());
    EXPECT_EQ(
        2 * (1U + 60U),
        std::set<std::string>(identifiers.begin(), identifiers.end()).size());
    for (const std::string& identifier : identifiers) {
        EXPECT_EQ(36U, identifier.size());
        EXPECT_EQ('4', identifier[14]) << identifier;  // The version.
    }
}

TEST_F(InventoryTest, KeepsSizesAndTimesBeyond32Bits) {
    Write("sparse", "");
    std::filesystem::resize_file(tree + "sparse", 5368709120);
    Write("ancient", "");
    const timespec times[] = {{-5000000000, 0}, {-5000000000, 250000000}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "ancient").c_str(), times, 0));
    struct stat kept;  // A file system may clamp the time.
    ASSERT_EQ(0, ::stat((tree + "ancient").c_str(), &kept));

    const auto entries = EntriesOf(Create());
    EXPECT_EQ("5368709120", entries.at("sparse").at("size"));
    EXPECT_EQ(Milliseconds(kept.st_mtim), entries.at("ancient").at("modified"));
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(RunInventory({"show", out}).out,
                         "5368709120  5.0 GiB  sparse\n"));
}

// Names

// Names with each byte that a name can have, and more that is odd.
Strings OddNames() {
    Strings names = {
        " ",
        "two  blanks",
        "\"quoted\" 'twice'",
        "&amp;",
        "<tag>&</tag>",
        "]]>",
        "-->",
        "100%",
        "%41",
        "a\\b",
        "line\nfeed",
        "tab\tand\rreturn",
        "\x1B[31mred",
        "del\x7F",
        "caf\xC3\xA9",
        "\xED\x95\x9C\xEA\xB8\x80",  // Two Hangul syllables.
        "\xF0\x9F\x98\x80",          // Beyond 16 bits.
        "nel\xC2\x85",               // A C1 control character.
        "bom\xEF\xBB\xBF",
        "latin\xE9",
        "cut\xC3",
        "overlong\xC0\xAF",
        "surrogate\xED\xA0\x80",
        "nonchar\xEF\xBF\xBE\xEF\xBF\xBF",
        "toolarge\xF4\x90\x80\x80",
        "caf\xC3\xA9 100% \xFF",
        std::string(255, 'n'),
        std::string(85, '\xE2') + std::string(170, '\x82'),
    };
    std::string euros;
    for (int i = 0; i < 85; ++i) {
        euros += "\xE2\x82\xAC";
    }
    names.push_back(euros);
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            names.push_back(std::to_string(byte) + static_cast<char>(byte) +
                            "x");
        }
    }
    return names;
}

// Those of them that stand as they are in a UTF-8 document, under C.UTF-8.
bool IsOddNamePlain(const std::string& name) {
    static const std::set<std::string> beyondAscii = {
        "caf\xC3\xA9", "\xED\x95\x9C\xEA\xB8\x80", "\xF0\x9F\x98\x80",
        "bom\xEF\xBB\xBF", OddNames()[28]};
    return beyondAscii.contains(name) ||
           std::all_of(name.begin(), name.end(),
                       [](char c) { return c >= 0x20 && c <= 0x7E; });
}

class OddNamesTest : public InventoryTest {
protected:
    OddNamesTest() {
        // As files, as folders with something in them, and as link targets.
        MakeDir("files");
        MakeDir("folders");
        MakeDir("links");
        int count = 0;
        for (const std::string& name : OddNames()) {
            Write("files/" + name, "1");
            MakeDir("folders/" + name);
            Write("folders/" + name + "/inner", "");
            Link("links/" + std::to_string(count++), name);
        }
    }

    void ExpectAllThere(const std::string& document) {
        const auto entries = EntriesOf(document);
        EXPECT_EQ(PathsIn(tree), KeysOf(entries));
        int count = 0;
        for (const std::string& name : OddNames()) {
            const Attributes& link =
                entries.at("links/" + std::to_string(count++));
            const auto plain = link.find("target");
            EXPECT_EQ(name, plain != link.end()
                                ? plain->second
                                : Unescaped(link.at("targetEscaped")));
        }
    }
};

TEST_F(OddNamesTest, AreKeptAndReportedInUtf8) {
    const std::string document = Create();
    ExpectAllThere(document);
    std::size_t escaped = 0;
    for (const auto& [path, attributes] : EntriesOf(document)) {
        if (path.rfind("files/", 0) == 0) {
            const std::string name = path.substr(6);
            EXPECT_EQ(IsOddNamePlain(name) ? 1U : 0U, attributes.count("path"))
                << name;
            escaped += IsOddNamePlain(name) ? 0U : 1U;
        }
    }
    // As files, as folders, as what is in them, and as targets.
    EXPECT_TRUE(Contains(created.out,
                         std::to_string(4 * escaped) + "  entries escaped\n"))
        << created.out;
    EXPECT_EQ(4 * escaped, Lines(created.err).size());
    EXPECT_TRUE(
        Contains(created.err, "inventory: escaped: files/line%0Afeed\n"));
    EXPECT_TRUE(IsHarmless(created.err));

    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
}

// The document's encoding and the locale at writing and at reading.
const struct EncodingCase {
    int line;
    const char* encoding;
    const char* writing;
    const char* reading;
} kEncodingCases[] = {
    // line     encoding      writing    reading
    {__LINE__, "utf-8", "C.UTF-8", "C.UTF-8"},
    {__LINE__, "UTF-8", "C", "C"},
    {__LINE__, "UTF-8", "C", "C.UTF-8"},
    {__LINE__, "ISO-8859-1", "C.UTF-8", "C.UTF-8"},
    {__LINE__, "ISO-8859-1", "C.UTF-8", "C"},
    {__LINE__, "ISO-8859-1", "C", "C.UTF-8"},
    {__LINE__, "EUC-KR", "C.UTF-8", "C"},
    {__LINE__, "US-ASCII", "C", "C.UTF-8"},
};

TEST_F(OddNamesTest, AreKeptInOtherEncodingsAndLocales) {
    for (const EncodingCase& row : kEncodingCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ExpectAllThere(Create(In(row.writing), {"--encoding", row.encoding}));
        EXPECT_TRUE(IsHarmless(created.err));
        const Result result = Verify(In(row.reading));
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ("", result.err);
    }
}

TEST_F(OddNamesTest, NeverReachTheTerminalRaw) {
    const std::string document = Create();
    dir.Write("empty.xml", DocumentOf(""));
    Result result = RunInventory({"verify", tree, dir / "empty.xml"});
    EXPECT_EQ(1, result.status);
    EXPECT_TRUE(IsHarmless(result.out));
    EXPECT_TRUE(Contains(result.out, "added    files/caf\xC3\xA9\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/%1B[31mred\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/nel%C2%85\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/latin%E9\n"));
    // No name passes for another one's escaped form.
    EXPECT_TRUE(Contains(result.out, "added    files/100%25\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/%2541\n"));

    result = RunInventory({"show", out});
    EXPECT_EQ(0, result.status);
    EXPECT_TRUE(IsHarmless(result.out));

    result = RunInventory({"create", tree + "\x1B[1m", out});
    EXPECT_EQ(2, result.status);
    EXPECT_TRUE(Contains(result.err, "%1B[1m")) << result;
    EXPECT_TRUE(IsHarmless(result.err));
}

TEST_F(InventoryTest, RefusesADocumentOfAnotherCharacterSet) {
    Write("caf\xC3\xA9", "");
    Create();
    // "C" cannot have the name, which is no reason to call it removed.
    Result result = Verify(In("C"));
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, out + ": element 1: the attribute path "
                                           "has no form in this locale"))
        << result;

    // Converted by another program, the name would be read as another one.
    const Result converted = RunCommand({"xmllint", "--encode", "ISO-8859-1",
                                         "--output", dir / "latin.xml", out});
    ASSERT_EQ(0, converted.status) << converted;
    result = RunInventory({"verify", tree, dir / "latin.xml"});
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, "needs a document in UTF-8")) << result;
}

const char* const kRefusedEncodings[] = {
    "UTF-16",          "UTF-16LE",     "UCS-4", "EBCDIC-US",
    "IBM037",          "UTF-7",        "HTML",  "no-such",
    "UTF-8//TRANSLIT", "UTF-8\" x=\"", "",      "\x1B[1m",
};

TEST_F(InventoryTest, RefusesEncodingsThatDoNotExtendAscii) {
    Write("a", "");
    dir.Write("out.xml", "as it was");
    for (const char* const encoding : kRefusedEncodings) {
        SCOPED_TRACE(encoding);
        const Result result =
            RunInventory({"create", tree, out, "--encoding", encoding});
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "inventory: encoding '")) << result;
        EXPECT_EQ("as it was", Content(out));
    }
    ExpectBeside({"out.xml"});
}

// Entries that are hard to read

TEST_F(InventoryTest, ListsLinkLoopsWithoutFollowingThem) {
    MakeDir("d");
    Link("d/up", "..");
    Link("d/self", "self");
    Link("d/a", "b");
    Link("d/b", "a");
    Link("d/root", "/");
    EXPECT_EQ(PathsIn(tree), KeysOf(EntriesOf(Create())));
    EXPECT_EQ("", created.err);
    EXPECT_EQ(0, Verify().status);
}

// FileFind does not open a folder whose first entry is a dangling link, and
// stops at the others.
TEST_F(InventoryTest, LosesNothingToEntriesWithoutAStatus) {
    Write("file", "1234");
    MakeDir("folder");
    Write("folder/inner", "");
    // Which entry is the first is the file system's choice.
    Novu::FileFind find;
    int links = 0;
    while (find.FindFirst(tree, "")) {
        find.FindClose();
        ASSERT_LT(links, 1000);
        Link("dangling" + std::to_string(links++), "nowhere");
    }
    auto entries = EntriesOf(Create());
    EXPECT_EQ(PathsIn(tree), KeysOf(entries));
    EXPECT_EQ("file", entries.at("file").at("type"));
    EXPECT_EQ("4", entries.at("file").at("size"));
    struct stat info;
    ASSERT_EQ(0, ::stat((tree + "file").c_str(), &info));
    EXPECT_EQ(Milliseconds(info.st_mtim), entries.at("file").at("modified"));
    EXPECT_EQ(Milliseconds(info.st_ctim), entries.at("file").at("changed"));
    EXPECT_EQ("folder", entries.at("folder").at("type"));
    EXPECT_EQ(1U, entries.count("folder/inner"));
    EXPECT_EQ(0, Verify().status);

    // The same folder once FileFind opens it: only the links come and go.
    for (int i = 0; !find.FindFirst(tree, ""); ++i) {
        ASSERT_LT(i, links);
        std::filesystem::remove(tree + "dangling" + std::to_string(i));
    }
    find.FindClose();
    const Result result = Verify();
    EXPECT_EQ(1, result.status);
    for (const std::string& line : Lines(result.out)) {
        EXPECT_TRUE(line.rfind("removed  dangling", 0) == 0 ||
                    Contains(line, " the same"))
            << line;
    }
}

class NoPermissionTest : public InventoryTest {
protected:
    NoPermissionTest() {
        Write("open", "1");
        MakeDir("closed/deep");  // Cannot be opened.
        Write("closed/file", "2");
        MakeDir("listed");  // Has names, but no status of them.
        Write("listed/file", "3");
        Link("listed/link", "x");
    }
    ~NoPermissionTest() override { Unlock(); }
    void Lock() {
        ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
        ASSERT_EQ(0, ::chmod((tree + "listed").c_str(), 0400));
    }
    void Unlock() {
        ::chmod((tree + "closed").c_str(), 0700);
        ::chmod((tree + "listed").c_str(), 0700);
    }
};

TEST_F(NoPermissionTest, IsReportedAndKept) {
    Lock();
    const auto entries = EntriesOf(Create(AsOrdinaryUser()));
    EXPECT_EQ((std::set<std::string>{"closed", "listed", "listed/file",
                                     "listed/link", "open"}),
              KeysOf(entries));
    EXPECT_EQ("folder", entries.at("closed").at("type"));
    EXPECT_EQ("unreadable", entries.at("closed").at("contents"));
    EXPECT_EQ(0U, entries.at("listed").count("contents"));
    for (const char* const path : {"listed/file", "listed/link"}) {
        EXPECT_EQ("unreadable", entries.at(path).at("type"));
        EXPECT_EQ((std::set<std::string>{"id", "path", "type"}),
                  KeysOf(entries.at(path)));
    }
    EXPECT_EQ(
        "inventory: unreadable: closed: Permission denied\n"
        "inventory: unreadable: listed/file: Permission denied\n"
        "inventory: unreadable: listed/link: Permission denied\n",
        created.err);
    EXPECT_TRUE(Contains(created.out, "2  of type unreadable\n"));
    EXPECT_TRUE(Contains(created.out, "1  folders with unreadable contents\n"));

    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 5 the same\n", result.out);
    EXPECT_EQ(created.err, result.err);
    EXPECT_EQ(0, RunInventory({"show", out}).status);
}

TEST_F(NoPermissionTest, IsADifferenceOnceItIsGiven) {
    Lock();
    Create(AsOrdinaryUser());
    Unlock();
    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  closed (contents readable)\n"
        "added    closed/deep\n"
        "added    closed/file\n"
        "changed  listed/file (type unreadable -> file)\n"
        "changed  listed/link (type unreadable -> link)\n"
        "2 added, 0 removed, 3 changed, 2 the same\n",
        result.out);
}

TEST_F(NoPermissionTest, DoesNotCallRemovedWhatCannotBeSeen) {
    Write("closed2", "");  // Not in the closed folder.
    Create();
    std::filesystem::remove(tree + "closed2");
    Lock();
    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  closed (contents unreadable)\n"
        "removed  closed2\n"
        "changed  listed/file (type file -> unreadable)\n"
        "changed  listed/link (type link -> unreadable)\n"
        "0 added, 1 removed, 3 changed, 2 the same, 2 not compared\n",
        result.out);
}

// Makes folders in folders, each named `name`, without ever using their path.
void MakeChain(const std::string& folder, const std::string& name, int depth) {
    int here = ::open(folder.c_str(), O_DIRECTORY | O_RDONLY);
    ASSERT_NE(-1, here);
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(0, ::mkdirat(here, name.c_str(), 0700));
        const int next = ::openat(here, name.c_str(), O_DIRECTORY | O_RDONLY);
        ASSERT_NE(-1, next);
        ::close(here);
        here = next;
    }
    ::close(here);
}

TEST_F(InventoryTest, WalksDeepTreesWithFewOpenFiles) {
    MakeChain(tree, "d", 500);
    Setting setting;
    setting.openFiles = 16;
    EXPECT_EQ(500U, EntriesOf(Create(setting)).size());
    EXPECT_EQ("", created.err);
    EXPECT_EQ(0, Verify(setting).status);
}

TEST_F(InventoryTest, NamesWhatLiesBeyondTheLongestPath) {
    const std::string name(200, 'n');
    MakeChain(tree, name, 30);
    Write("zebra", "after it");
    const auto entries = EntriesOf(Create());
    // Each level is there until a path is too long to be looked at.
    std::size_t unreadable = 0;
    for (const auto& [path, attributes] : entries) {
        if (attributes.at("type") == "unreadable" ||
            attributes.contains("contents")) {
            ++unreadable;
        }
    }
    EXPECT_EQ(1U, unreadable);
    EXPECT_EQ(1U, entries.count("zebra"));
    EXPECT_EQ(1U, Lines(created.err).size());
    EXPECT_TRUE(Contains(created.err, "File name too long")) << created.err;
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    // The whole chain, for the folder to be removable by path.
    EXPECT_EQ(0, RunCommand({"rm", "-rf", tree + name}).status);
}

TEST_F(InventoryTest, SurvivesAFolderThatChangesUnderIt) {
    Write("steady", "1");
    MakeDir("restless");
    std::atomic<bool> stop{false};
    std::thread changer([this, &stop] {
        for (int i = 0; !stop; ++i) {
            const std::string base =
                tree + "restless/" + std::to_string(i % 50);
            ::mkdir(base.c_str(), 0700);
            std::ofstream(base + "/file") << "x";
            ::unlink((base + "/file").c_str());
            ::rmdir(base.c_str());
        }
    });
    for (int i = 0; i < 10; ++i) {
        const auto entries = EntriesOf(Create());
        EXPECT_EQ(1U, entries.count("steady"));
        const Result shown = RunInventory({"show", out});
        EXPECT_EQ(0, shown.status) << shown;
        const Result verified = Verify();
        EXPECT_TRUE(verified.status == 0 || verified.status == 1) << verified;
        EXPECT_FALSE(Contains(verified.out, "steady")) << verified;
    }
    stop = true;
    changer.join();
}

// Bad input

TEST_F(InventoryTest, RefusesAFolderThatIsNone) {
    Write("file", "");
    MakeDir("closed");
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
    dir.Write("in.xml", DocumentOf(""));
    const struct {
        std::string folder;
        std::string message;
    } cases[] = {
        {dir / "missing", dir / "missing: No such file or directory"},
        {tree + "file", tree + "file: Not a directory"},
        {tree + "closed", tree + "closed: Permission denied"},
        {"", "the name of the folder is empty"},
    };
    for (const auto& [folder, message] : cases) {
        for (const Strings& arguments :
             {Strings{"create", folder, out},
              Strings{"verify", folder, dir / "in.xml"},
              Strings{"copy", dir / "in.xml", folder, dir / "copies"}}) {
            const Result result = RunInventory(arguments, AsOrdinaryUser());
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_EQ("inventory: " + message + "\n", result.err);
        }
    }
    ExpectBeside({"in.xml"});
    ::chmod((tree + "closed").c_str(), 0700);  // To be removable.
}

TEST_F(InventoryTest, RefusesADocumentThatCannotBeRead) {
    dir.Write("locked.xml", DocumentOf(""));
    ASSERT_EQ(0, ::chmod((dir / "locked.xml").c_str(), 0));
    const struct {
        const char* name;
        const char* message;
    } cases[] = {
        {"missing.xml", "missing.xml: No such file or directory"},
        {"locked.xml", "locked.xml: Permission denied"},
        {"tree", "tree: Is a directory"},
    };
    for (const auto& [name, message] : cases) {
        for (const Strings& arguments :
             {Strings{"verify", tree, dir / name}, Strings{"show", dir / name},
              Strings{"copy", dir / name, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments, AsOrdinaryUser());
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(Contains(result.err, message)) << result;
        }
    }
    ExpectBeside({"locked.xml"});
}

// Each row changes one thing in a good document.
const struct TamperedCase {
    int line;
    const char* part;
    const char* by;
    const char* message;
} kTamperedCases[] = {
    // line     part   by   message

    // The document as XML.
    {__LINE__, "</inventory>", "", "well-formed"},
    {__LINE__, "<entry", "<entry <", "well-formed"},
    {__LINE__, " size=\"10\"", " size=\"10\" size=\"10\"", "well-formed"},
    {__LINE__, " size=\"10\"", " size=10", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"\x01\"", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"\xFF\"", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"&undefined;\"", "well-formed"},
    {__LINE__, " encoding=\"UTF-8\"", "", "declares a known encoding"},
    {__LINE__, "\"UTF-8\"?", "\"NONE\"?", "declares a known encoding"},
    {__LINE__, "?>\n", "?><!DOCTYPE inventory [<!ENTITY e \"x\">]>\n",
     "document type"},

    // The root element.
    {__LINE__, "?>\n", "?><stock/><!--\n", "well-formed"},
    {__LINE__, "<inventory version=\"1\"", "<inventory",
     "the attribute version is missing"},
    {__LINE__, "version=\"1\"", "version=\"2\"", "of another version than 1"},
    {__LINE__, "version=\"1\"", "version=\"1\" more=\"\"",
     "the attribute more does not belong"},
    {__LINE__, " charset=\"UTF-8\"", "", "the attribute charset is missing"},

    // Elements.
    {__LINE__, "<entry", "<item", "element 1: not an entry alone"},
    {__LINE__, "created=\"3\"/>", "created=\"3\"><entry/></entry>",
     "element 1: not an entry alone"},
    {__LINE__, "<entry", "<entry more=\"\"",
     "the attribute more does not belong there"},
    {__LINE__, "<entry", "<entry xmlns:n=\"u\" n:path=\"b\"",
     "the attribute path is there twice"},

    // Identifiers.
    {__LINE__, " id=\"00000000-0000-4000-8000-000000000001\"", "",
     "the attribute id is missing"},
    {__LINE__, "00000000-0000-4000-8000-000000000000", "",
     "the id '' is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001", "0123",
     "element 1: the id '0123' is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-00000000000x", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-0000-0000-000000000000", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-000000000001x", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "{00000000-0000-4000-8000-000000000001}", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-00000000000A", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000002",
     "00000000-0000-4000-8000-000000000001",
     "element 2: the id '00000000-0000"
     "-4000-8000-000000000001' is there twice"},

    // Paths.
    {__LINE__, " path=\"a\"", "", "the attribute path is missing"},
    {__LINE__, "path=\"a\"", "path=\"\"", "the path '' is not one below"},
    {__LINE__, "path=\"a\"", "path=\"/a\"", "'/a' is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/\"", "'a/' is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a//b\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\".\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"..\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"../a\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/../b\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/.\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"../a\"", "is not one below"},
    {__LINE__, "path=\"a\"", "path=\"d\"", "the path 'd' is there twice"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"d\"", "the path 'd' is there"},
    {__LINE__, "path=\"a\"", "path=\"a\" pathEscaped=\"a\"",
     "the attribute path does not belong"},
    {__LINE__, "path=\"a\"", "path=\"a&#10;b\"",
     "'a%0Ab' should have been escaped"},
    {__LINE__, "path=\"a\"", "path=\"a&#x85;\"", "should have been escaped"},

    // Escaped forms.
    {__LINE__, "path=\"a\"", "pathEscaped=\"\"", "the path '' is not one"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0G\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%G0\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0a\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"% 1\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%00\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%41\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%2F\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"\xC3\xA9\"", "not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"a&#10;\"", "not well escaped"},
    {__LINE__, "target=\"t\"", "targetEscaped=\"%\"",
     "the target '%25' is not well escaped"},

    // Types and what belongs to them.
    {__LINE__, " type=\"file\"", "", "the attribute type is missing"},
    {__LINE__, "type=\"file\"", "type=\"\"", "the type '' is unknown"},
    {__LINE__, "type=\"file\"", "type=\"File\"", "the type 'File' is unknown"},
    {__LINE__, "type=\"file\"", "type=\"link\"",
     "the attribute target is missing"},
    {__LINE__, "type=\"file\"", "type=\"unreadable\"", "does not belong there"},
    {__LINE__, " target=\"t\"", "", "the attribute target is missing"},
    {__LINE__, "type=\"file\"", "type=\"file\" target=\"t\"",
     "the attribute target does not belong there"},
    {__LINE__, "type=\"file\"", "type=\"file\" contents=\"unreadable\"",
     "the attribute contents does not belong there"},
    {__LINE__, "contents=\"unreadable\"", "contents=\"\"",
     "contents '' is unknown"},

    // Digests.
    {__LINE__, "\"3\"/>", "\"3\" md5=\"\"/>", "md5 '' is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427\"/>",
     "md5 'd41d8cd98f00b204e9800998ecf8427' is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427e0\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"D41D8CD98F00B204E9800998ECF8427E\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427g\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>",
     "\"3\" md5=\"&#x85;41d8cd98f00b204e9800998ecf8427e\"/>",
     "md5 '%C2%8541d8cd98f00b204e9800998ecf8427e' is no digest"},
    {__LINE__, "\"6\" contents",
     "\"6\" md5=\"d41d8cd98f00b204e9800998ecf8427e\" contents",
     "element 2: the attribute md5 does not belong there"},
    {__LINE__, "\"9\" target",
     "\"9\" md5=\"d41d8cd98f00b204e9800998ecf8427e\" target",
     "element 3: the attribute md5 does not belong there"},

    // Numbers.
    {__LINE__, " size=\"10\"", "", "the attribute size is missing"},
    {__LINE__, "size=\"10\"", "size=\"\"", "size '' is no number"},
    {__LINE__, "size=\"10\"", "size=\"-1\"", "size '-1' is no number"},
    {__LINE__, "size=\"10\"", "size=\"+1\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\" 1\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"1 \"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"01\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"1.5\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"0x10\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"18446744073709551616\"", "is no number"},
    {__LINE__, " modified=\"1\"", "", "the attribute modified is missing"},
    {__LINE__, "modified=\"1\"", "modified=\"x\"", "modified 'x' is no number"},
    {__LINE__, "modified=\"1\"", "modified=\"-0\"", "is no number"},
    {__LINE__, "modified=\"1\"", "modified=\"9223372036854775808\"",
     "is no number"},
    {__LINE__, " changed=\"2\"", "", "the attribute changed is missing"},
    {__LINE__, "changed=\"2\"", "changed=\"\"", "changed '' is no number"},
    {__LINE__, " created=\"3\"", "", "the attribute created is missing"},
    {__LINE__, "created=\"3\"", "created=\"3 \"", "created '3 ' is no number"},
};

std::string GoodDocument() {
    return DocumentOf(
        FileElement(1, "a", "10") + "<entry id=\"" + Identifier(2) +
        "\" path=\"d\" type=\"folder\" size=\"4096\" modified=\"-5\" "
        "changed=\"5\" created=\"6\" contents=\"unreadable\"/>\n<entry id=\"" +
        Identifier(3) +
        "\" path=\"l\" type=\"link\" size=\"1\" modified=\"7\" "
        "changed=\"8\" created=\"9\" target=\"t\"/>\n<entry id=\"" +
        Identifier(4) + "\" pathEscaped=\"x%0A%25\" type=\"unreadable\"/>\n");
}

TEST_F(InventoryTest, ReadsTheDocumentThatTheTamperedOnesComeFrom) {
    dir.Write("in.xml", GoodDocument());
    const Result result = RunInventory({"verify", tree, dir / "in.xml"});
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ(
        "removed  a\nremoved  d\nremoved  l\nremoved  x%0A%25\n"
        "0 added, 4 removed, 0 changed, 0 the same\n",
        result.out);
    EXPECT_EQ(0, RunInventory({"show", dir / "in.xml"}).status);
}

TEST_F(InventoryTest, RefusesTamperedDocuments) {
    for (const TamperedCase& row : kTamperedCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string in =
            dir.Write("in.xml", Replaced(GoodDocument(), row.part, row.by));
        for (const Strings& arguments :
             {Strings{"verify", tree, in}, Strings{"show", in},
              Strings{"copy", in, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments);
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(Contains(result.err, "inventory: " + in + ": "))
                << result;
            EXPECT_TRUE(Contains(result.err, row.message)) << result;
        }
    }
    ExpectBeside({"in.xml"});
}

TEST_F(InventoryTest, RefusesForeignDocuments) {
    const std::string wide("\xFF\xFE<\0?\0x\0m\0l\0/\0>\0", 16);
    const struct {
        int line;
        std::string document;
        std::string message;
    } cases[] = {
        {__LINE__, "", "well-formed"},
        {__LINE__, "no XML", "well-formed"},
        {__LINE__, std::string(100, '\0'), "well-formed"},
        {__LINE__, wide, ""},
        {__LINE__, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><html/>",
         "no inventory: its root element is 'html'"},
        {__LINE__, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><inventory/>",
         "the attribute version is missing"},
        // What the locale's character set gives other bytes.
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf\xC3\xA9", "1")),
                  "charset=\"UTF-8\"", "charset=\"EUC-KR\""),
         "was in the character set EUC-KR; this locale's is UTF-8"},
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf\xE9", "1")),
                  "encoding=\"UTF-8\"", "encoding='ISO-8859-1'"),
         "needs a document in UTF-8"},
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf&#233;", "1")),
                  "encoding=\"UTF-8\"", "encoding = \"US-ASCII\""),
         "has no form"},
    };
    for (const auto& [line, document, message] : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << line);
        const std::string in = dir.Write("in.xml", document);
        const Result result = RunInventory({"verify", tree, in});
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "inventory: " + in + ": ")) << result;
        EXPECT_TRUE(Contains(result.err, message)) << result;
    }
}

// XmlReader leaves a name as it was when it cannot convert the next one.
TEST_F(InventoryTest, DoesNotTakeAnElementOfAnUnknownNameForAnEntry) {
    const std::string in =
        dir.Write("in.xml", DocumentOf(FileElement(1, "a", "1") +
                                       Replaced(FileElement(2, "b", "1"),
                                                "entry", "entr\xC3\xA9")));
    for (const char* const locale : {"C", "C.UTF-8"}) {
        const Result result = RunInventory({"show", in}, In(locale));
        EXPECT_EQ(2, result.status) << result;
        EXPECT_TRUE(Contains(result.err, "element 2: not an entry alone"))
            << result;
    }
}

TEST_F(InventoryTest, SurvivesDamagedDocuments) {
    const unsigned int seed = 20240229;
    std::mt19937 random(seed);
    const std::string good = GoodDocument();
    for (int i = 0; i < 100; ++i) {
        std::string damaged = good;
        for (int j = 0; j < 3; ++j) {
            damaged[random() % damaged.size()] =
                static_cast<char>(random() % 256);
        }
        const Result result =
            RunInventory({"show", dir.Write("in.xml", damaged)});
        EXPECT_TRUE(result.status == 0 || result.status == 2)
            << "seed " << seed << ", round " << i << ": " << result;
        EXPECT_EQ(result.status == 2, result.out.empty());
    }
}

// Differences

TEST_F(InventoryTest, VerifyNamesEachDifference) {
    for (const char* const file :
         {"gone", "longer", "later", "same", "turns"}) {
        Write(file, "12345");
    }
    MakeDir("folder");
    MakeDir("folder/sub");
    Write("folder/sub/file", "");
    MakeDir("left");
    Write("left/file", "");
    Link("link", "one");
    Link("link2", "one");
    // Set back, so that a change of this very millisecond shows.
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    for (const char* const file : {"longer", "later", "link", "link2"}) {
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past,
                                 AT_SYMLINK_NOFOLLOW));
    }
    Create();
    Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 12 the same\n", result.out);

    Write("new\nfile", "");
    std::filesystem::remove(tree + "gone");
    Write("longer", "1234567");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "longer").c_str(), past, 0));
    const timespec later[] = {{1000000000, 0}, {1000000000, 1000000}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "later").c_str(), later, 0));
    std::filesystem::remove(tree + "turns");
    MakeDir("turns/inside");
    std::filesystem::remove(tree + "link");
    Link("link", "two%");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "link").c_str(), past,
                             AT_SYMLINK_NOFOLLOW));
    std::filesystem::remove(tree + "link2");
    Write("link2", "one");
    std::filesystem::remove_all(tree + "left");
    Write("left", "");
    // Of a folder, only what is in it counts.
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "folder").c_str(), past, 0));
    ASSERT_EQ(0, ::chmod((tree + "same").c_str(), 0400));

    result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "removed  gone\n"
        "changed  later (modified)\n"
        "changed  left (type folder -> file)\n"
        "removed  left/file\n"
        "changed  link (size 3 -> 4, target one -> two%25)\n"
        "changed  link2 (type link -> file)\n"
        "changed  longer (size 5 -> 7)\n"
        "added    new%0Afile\n"
        "changed  turns (type file -> folder)\n"
        "added    turns/inside\n"
        "2 added, 2 removed, 6 changed, 4 the same\n",
        result.out);
}

TEST_F(InventoryTest, VerifyTakesEntriesInAnyOrder) {
    for (const char* const name : {"a", "a b", "b", "c"}) {
        MakeDir(name);
        Write(std::string(name) + "/x", "");
    }
    Strings lines = Lines(Create());
    std::reverse(lines.begin() + 2, lines.end() - 1);
    std::string reversed;
    for (const std::string& line : lines) {
        reversed += line + "\n";
    }
    dir.Write("out.xml", reversed);
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 8 the same\n", result.out);
}

// Totals

TEST_F(InventoryTest, ShowPrintsTotalsAndTheLargestFiles) {
    const std::string in = dir.Write(
        "in.xml",
        DocumentOf(
            FileElement(1, "b.txt", "1535") + FileElement(2, "a.txt", "1") +
            FileElement(3, "a.dir/none", "5368709120") +
            FileElement(4, ".profile", "1536") + FileElement(5, "ends.", "0") +
            FileElement(6, "caf\xC3\xA9.\xC3\xA9%", "1023") +
            FileElement(7, "many.tar.gz", "1048576") +
            Replaced(FileElement(8, "a.dir", "4096"), "file", "folder") +
            Replaced(FileElement(9, "l.txt", "7"), "file\"",
                     "link\" target=\"x\"") +
            "<entry id=\"" + Identifier(10) +
            "\" path=\"u.txt\" type=\"unreadable\"/>\n"));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "entries       bytes     size  type\n"
        "      7  5369761791  5.0 GiB  file\n"
        "      1        4096  4.0 KiB  folder\n"
        "      1           7      7 B  link\n"
        "      0           0      0 B  other\n"
        "      1           0      0 B  unreadable\n"
        "     10  5369765894  5.0 GiB  (total)\n"
        "      0           0      0 B  (files with a digest)\n"
        "      0           0      0 B  (duplicates among them)\n"
        "\n"
        "files       bytes     size  extension\n"
        "    2  5368709120  5.0 GiB  (none)\n"
        "    1     1048576  1.0 MiB  gz\n"
        "    1        1536  1.5 KiB  profile\n"
        "    2        1536  1.5 KiB  txt\n"
        "    1        1023   1023 B  %C3%A9%25\n"
        "\n"
        "     bytes     size  file\n"
        "5368709120  5.0 GiB  a.dir/none\n"
        "   1048576  1.0 MiB  many.tar.gz\n"
        "      1536  1.5 KiB  .profile\n"
        "      1535  1.5 KiB  b.txt\n"
        "      1023   1023 B  caf%C3%A9.%C3%A9%25\n"
        "         1      1 B  a.txt\n"
        "         0      0 B  ends.\n",
        result.out);
}

TEST_F(InventoryTest, ShowEndsItsTablesAfterTwenty) {
    std::string elements;
    for (int i = 0; i < 25; ++i) {
        elements += FileElement(i + 1, "f.e" + std::to_string(i + 100),
                                std::to_string(1000 + i));
    }
    const Result result =
        RunInventory({"show", dir.Write("in.xml", DocumentOf(elements))});
    EXPECT_EQ(0, result.status);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(9U + 1 + 22 + 1 + 21, lines.size()) << result;
    EXPECT_EQ("    1   1024  1.0 KiB  e124", lines[11]);
    EXPECT_EQ("    1   1005   1005 B  e105", lines[30]);
    // 1000 to 1004.
    EXPECT_EQ("    5   5010  4.9 KiB  (others)", lines[31]);
    EXPECT_EQ(" 1005   1005 B  f.e105", lines[53]);
}

std::string WithDigest(const std::string& element, const std::string& md5) {
    return Replaced(element, "/>", " md5=\"" + md5 + "\"/>");
}

TEST_F(InventoryTest, ShowCountsDigestsAndDuplicates) {
    const std::string one(32, '1');
    const std::string two(32, '2');
    const std::string in = dir.Write(
        "in.xml", DocumentOf(WithDigest(FileElement(1, "a", "1000"), one) +
                             WithDigest(FileElement(2, "b", "1000"), one) +
                             WithDigest(FileElement(3, "c", "1000"), one) +
                             // Digests alone are not enough.
                             WithDigest(FileElement(4, "d", "2000"), one) +
                             WithDigest(FileElement(5, "e", "1000"), two) +
                             FileElement(6, "f", "1000")));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ((Strings{"6   7000  6.8 KiB  (total)",
                       "5   6000  5.9 KiB  (files with a digest)",
                       "2   2000  2.0 KiB  (duplicates among them)"}),
              (Strings{Trimmed(Lines(result.out).at(6)),
                       Trimmed(Lines(result.out).at(7)),
                       Trimmed(Lines(result.out).at(8))}));
}

const struct SizeCase {
    int line;
    const char* bytes;
    const char* size;
} kSizeCases[] = {
    // line     bytes   size
    {__LINE__, "100", "100 B"},
    {__LINE__, "1023", "1023 B"},
    {__LINE__, "1024", "1.0 KiB"},
    {__LINE__, "1587", "1.5 KiB"},
    {__LINE__, "1588", "1.6 KiB"},
    {__LINE__, "1048524", "1023.9 KiB"},
    {__LINE__, "1048525", "1.0 MiB"},  // And not 1024.0 KiB.
    {__LINE__, "5497558138880", "5.0 TiB"},
    {__LINE__, "9223372036854775807", "8.0 EiB"},
    {__LINE__, "18446744073709551615", "16.0 EiB"},
};

TEST_F(InventoryTest, ShowPrintsSizesForPeople) {
    for (const SizeCase& row : kSizeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Result result = RunInventory(
            {"show",
             dir.Write("in.xml", DocumentOf(FileElement(1, "a", row.bytes)))});
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(std::string(row.bytes) + "  " + row.size + "  a",
                  Trimmed(Lines(result.out).back()));
    }
}

TEST_F(InventoryTest, ShowDoesNotWrapAroundWithSizesThatNoDiskHolds) {
    const std::string in = dir.Write(
        "in.xml", DocumentOf(FileElement(1, "a", "18446744073709551615") +
                             FileElement(2, "b", "18446744073709551615")));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(result.out,
                         "      2  18446744073709551615  16.0 EiB  (total)\n"))
        << result;
}

// Output

TEST_F(InventoryTest, LeavesNothingBehindWhereItCannotWrite) {
    Write("a", "");
    dir.MakeDir("sealed");
    dir.Write("sealed/old.xml", "as it was");
    ASSERT_EQ(0, ::chmod((dir / "sealed").c_str(), 0500));
    dir.Write("target", "as it was");
    std::filesystem::create_symlink("target", dir / "link.xml");
    ASSERT_EQ(0, ::mkfifo((dir / "pipe").c_str(), 0600));
    const struct {
        std::string out;
        std::string message;
    } cases[] = {
        {dir / "missing/out.xml", "missing/out.xml: no file can be made there"},
        {dir / "sealed/new.xml", "sealed/new.xml: no file can be made there"},
        {dir / "sealed/old.xml", "sealed/old.xml: no file can be made there"},
        {dir / "sealed", "sealed: something other than a file is there"},
        {dir / "target/out.xml", "target/out.xml: no file can be made there"},
        {dir / "link.xml", "link.xml: something other than a file is there"},
        {dir / "pipe", "pipe: something other than a file is there"},
        {dir / std::string(300, 'n'), ": File name too long"},
        {dir / "new/", "new/: no file can be made there"},
        {"", ": No such file or directory"},
    };
    for (const auto& [path, message] : cases) {
        Setting setting = AsOrdinaryUser();
        setting.folder = dir.Path();
        const Result result = RunInventory({"create", tree, path}, setting);
        EXPECT_EQ(2, result.status) << path << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, message)) << result;
    }
    EXPECT_EQ("as it was", Content(dir / "target"));
    EXPECT_EQ("as it was", Content(dir / "sealed/old.xml"));
    EXPECT_EQ((std::set<std::string>{"old.xml"}), PathsIn(dir / "sealed/"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link.xml"));
    EXPECT_TRUE(std::filesystem::is_fifo(dir / "pipe"));
    ExpectBeside({"sealed", "target", "link.xml", "pipe"});
    ::chmod((dir / "sealed").c_str(), 0700);  // To be removable.
}

TEST_F(InventoryTest, LeavesTheOldDocumentWhenTheNewOneDoesNotFit) {
    for (int i = 0; i < 1000; ++i) {
        Write(std::to_string(i), "");
    }
    dir.Write("out.xml", "as it was");
    Setting setting;
    setting.fileSize = 65536;  // The document has more than 100,000 bytes.
    const Result result = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, out + ": only 65536 of ")) << result;
    EXPECT_EQ("as it was", Content(out));
    ExpectBeside({"out.xml"});
}

TEST_F(InventoryTest, ANewDocumentHasUsualPermissions) {
    Write("a", "");
    const mode_t mask = ::umask(027);
    Create();
    ::umask(mask);
    struct stat info;
    ASSERT_EQ(0, ::stat(out.c_str(), &info));
    EXPECT_EQ(0640U, info.st_mode & 07777);
    ExpectBeside({"out.xml"});
}

TEST_F(InventoryTest, AReplacedDocumentKeepsItsPermissions) {
    Write("a", "");
    Create();
    for (const mode_t mode : {mode_t{0600}, mode_t{0664}}) {
        ASSERT_EQ(0, ::chmod(out.c_str(), mode));
        Create();
        struct stat info;
        ASSERT_EQ(0, ::stat(out.c_str(), &info));
        EXPECT_EQ(mode, info.st_mode & 07777);
    }
}

TEST_F(InventoryTest, ADocumentInItsFolderListsTheOneBeforeIt) {
    Write("a", "");
    out = tree + "out.xml";
    EXPECT_EQ((Strings{"a"}), PathsInOrder(Create()));
    EXPECT_EQ((Strings{"a", "out.xml"}), PathsInOrder(Create()));
    EXPECT_EQ((std::set<std::string>{"a", "out.xml"}), PathsIn(tree));
    const Result result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_TRUE(Contains(result.out, "changed  out.xml (")) << result;
}

TEST_F(InventoryTest, AnOutputThatCannotBeWrittenIsAnError) {
    Write("a", "");
    Create();
    for (const Strings& arguments :
         {Strings{"--help"}, Strings{"create", tree, out},
          Strings{"verify", tree, out}, Strings{"show", out},
          Strings{"copy", out, tree, dir / "copies"}}) {
        SCOPED_TRACE(arguments.front());
        Setting setting;
        const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
        ASSERT_NE(-1, full.Number());
        setting.output = full.Number();
        Result result = RunInventory(arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("inventory: standard output: No space left on device\n",
                  result.err);

        Channel unread = MakePipe();
        unread.reading.Close();
        setting.output = unread.writing.Number();
        result = RunInventory(arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("inventory: standard output: Broken pipe\n", result.err);
    }
    EXPECT_EQ(0, Verify().status);
}

// Copies

// All there is to compare of what is in a folder; a link is not followed.
std::map<std::string, std::string> StateOf(const std::string& folder,
                                           bool withTimes) {
    std::map<std::string, std::string> states;
    for (const std::string& path : PathsIn(folder)) {
        struct stat info;
        EXPECT_EQ(0, ::lstat((folder + path).c_str(), &info)) << path;
        std::ostringstream state;
        state << std::oct << info.st_mode << " " << info.st_uid << " ";
        if (withTimes) {
            state << Milliseconds(info.st_mtim) << " "
                  << Milliseconds(info.st_ctim) << " ";
        }
        if (S_ISREG(info.st_mode)) {
            state << Content(folder + path);
        } else if (S_ISLNK(info.st_mode)) {
            state << std::filesystem::read_symlink(folder + path).native();
        }
        states[path] = state.str();
    }
    return states;
}

// Bytes of which no two blocks are alike.
std::string Noise(std::size_t size) {
    std::mt19937 random(20240301);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() % 256);
    }
    return bytes;
}

class CopyTest : public InventoryTest {
public:
    CopyTest() : target(dir / "copies") {}

    // Whatever it does, it does nothing to the tree.
    Result Copy(const Setting& setting = Setting()) {
        const auto before = StateOf(tree, true);
        Result result = RunInventory({"copy", out, tree, target}, setting);
        EXPECT_TRUE(before == StateOf(tree, true)) << result;
        return result;
    }

    std::string target;
};

TEST_F(CopyTest, AreWholeWithModesAndOwnersAndNeverMadeTwice) {
    const mode_t mask = ::umask(022);
    const std::string deep = "d/ee/fff/d/ee/fff/d/ee/fff/d/ee/fff/";
    MakeDir(deep);
    MakeDir("no file");
    Write("empty", "");
    Write("block", Noise(65536));
    Write("large", Noise(200001));
    Write(deep + "deep", "deep");
    Write("d/a", "1");
    for (const mode_t mode : {0400U, 0600U, 0644U, 0755U}) {
        const std::string name = "d/" + std::to_string(mode);
        Write(name, name);
        ASSERT_EQ(0, ::chmod((tree + name).c_str(), mode));
    }
    if (::geteuid() == 0) {  // Only root gives files away.
        ASSERT_EQ(0, ::chown((tree + "d/a").c_str(), 1234, 1234));
    }
    Create();

    target = dir / "x/y/copies";
    Setting setting;
    setting.openFiles = 16;
    Result result = Copy(setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "9 copied, 0 changed, 0 missing, 0 special, 0 existing, 0 failed\n",
        result.out);
    auto expected = StateOf(tree, false);
    expected.erase("no file");
    EXPECT_TRUE(expected == StateOf(target + "/", false));

    const auto before = StateOf(target + "/", true);
    result = Copy();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "existing block\n"
        "existing d/256\n"
        "existing d/384\n"
        "existing d/420\n"
        "existing d/493\n"
        "existing d/a\n"
        "existing " +
            deep +
            "deep\n"
            "existing empty\n"
            "existing large\n"
            "0 copied, 0 changed, 0 missing, 0 special, 9 existing, "
            "0 failed\n",
        result.out);
    EXPECT_TRUE(before == StateOf(target + "/", true));

    // What only went missing is made again.
    std::filesystem::remove(target + "/d/a");
    EXPECT_TRUE(Contains(Copy().out, "\n1 copied, "));
    EXPECT_TRUE(expected == StateOf(target + "/", false));
    ::umask(mask);
}

TEST_F(CopyTest, NamesWhatIsNotCopiedAndWhatHasChanged) {
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    MakeDir("closed");
    MakeDir("inner");
    MakeDir("outer");
    for (const char* const file :
         {"closed/a", "fine", "folder in it", "gone", "inner/a", "later",
          "locked", "longer", "outer/a", "taken", "taken by link",
          "taken by folder", "to folder", "to link", "to\npipe"}) {
        Write(file, "12345");
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past, 0));
    }
    Link("link", "fine");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));
    Create();

    Write("added", "not listed");
    std::filesystem::remove(tree + "gone");
    Write("longer", "1234567");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "longer").c_str(), past, 0));
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "later").c_str(), nullptr, 0));
    for (const char* const file : {"to folder", "to link", "to\npipe"}) {
        std::filesystem::remove(tree + file);
    }
    MakeDir("to folder");
    Link("to link", "fine");
    ASSERT_EQ(0, ::mkfifo((tree + "to\npipe").c_str(), 0600));
    ASSERT_EQ(0, ::chmod((tree + "locked").c_str(), 0));
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));

    dir.MakeDir("copies/taken by folder");
    dir.MakeDir("elsewhere");
    dir.Write("copies/taken", "mine");
    dir.Write("copies/inner", "mine");  // Where a folder is to be.
    std::filesystem::create_symlink("../elsewhere/a", dir /
                                                          "copies/taken by "
                                                          "link");
    std::filesystem::create_symlink("../elsewhere", dir / "copies/outer");

    // Not the fixture's Copy, which could not read the closed folder either.
    const Result result =
        RunInventory({"copy", out, tree, target}, AsOrdinaryUser());
    ::chmod((tree + "closed").c_str(), 0700);  // To be removable.
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   closed/a (unreadable: Permission denied)\n"
        "missing  gone\n"
        "failed   inner/a (no folder: inner)\n"
        "changed  later (modified)\n"
        "special  link (link)\n"
        "failed   locked (unreadable: Permission denied)\n"
        "changed  longer (size 5 -> 7)\n"
        "failed   outer/a (no folder: outer)\n"
        "special  pipe (other)\n"
        "existing taken\n"
        "existing taken by folder\n"
        "existing taken by link\n"
        "special  to%0Apipe (type file -> other)\n"
        "special  to folder (type file -> folder)\n"
        "special  to link (type file -> link)\n"
        "4 copied, 2 changed, 1 missing, 5 special, 3 existing, 4 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"fine", "folder in it", "inner", "later",
                                     "longer", "outer", "taken",
                                     "taken by folder", "taken by link"}),
              PathsIn(target + "/"));
    EXPECT_EQ("1234567", Content(target + "/longer"));  // As it is now.
    EXPECT_EQ("12345", Content(target + "/later"));
    EXPECT_EQ("mine", Content(target + "/taken"));
    EXPECT_EQ("mine", Content(target + "/inner"));
    EXPECT_EQ((std::set<std::string>{}), PathsIn(dir / "elsewhere/"));
}

// Each alone is a reason for status 1.
TEST_F(CopyTest, AreNotAllThereForAnyOneReason) {
    Write("b", "12");
    const std::string good = Create();
    const std::string listed = "path=\"b\"";
    const struct {
        int line;
        std::string document;
        const char* start;
    } cases[] = {
        {__LINE__, Replaced(good, "size=\"2\"", "size=\"3\""), "changed  b ("},
        {__LINE__, Replaced(good, listed, "path=\"c\""), "missing  c\n"},
        {__LINE__, Replaced(good, listed, "path=\"a\""), "missing  a\n"},
        {__LINE__, Replaced(good, "type=\"file\"", "type=\"other\""),
         "special  b (other)\n"},
        {__LINE__,
         DocumentOf("<entry id=\"" + Identifier(1) +
                    "\" path=\"b\" type=\"unreadable\"/>\n"),
         "special  b (unreadable)\n"},
    };
    for (const auto& [line, document, start] : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << line);
        dir.Write("out.xml", document);
        std::filesystem::remove_all(target);
        const Result result = Copy();
        EXPECT_EQ(1, result.status) << result;
        EXPECT_EQ(0U, result.out.find(start)) << result;
        EXPECT_EQ(2U, Lines(result.out).size()) << result;
    }
}

TEST_F(NoPermissionTest, IsNamedForEachFileThatCannotBeCopied) {
    Create();
    Lock();
    const Result result =
        RunInventory({"copy", out, tree, dir / "copies"}, AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   closed/file (unreadable: Permission denied)\n"
        "failed   listed/file (unreadable: Permission denied)\n"
        "special  listed/link (link)\n"
        "1 copied, 0 changed, 0 missing, 1 special, 0 existing, 2 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"open"}), PathsIn(dir / "copies/"));
}

TEST_F(OddNamesTest, AreCopied) {
    Create();
    const Result result = RunInventory({"copy", out, tree, dir / "copies"});
    EXPECT_EQ(1, result.status);  // For the links.
    EXPECT_EQ("", result.err);
    EXPECT_TRUE(IsHarmless(result.out));
    std::set<std::string> expected;
    std::size_t files = 0;
    for (const std::string& path : PathsIn(tree)) {
        if (path.rfind("links", 0) == 0) {
            continue;
        }
        expected.insert(path);
        if (std::filesystem::is_regular_file(tree + path)) {
            ++files;
            EXPECT_EQ(Content(tree + path), Content(dir / ("copies/" + path)));
        }
    }
    EXPECT_EQ(expected, PathsIn(dir / "copies/"));
    EXPECT_EQ(std::to_string(files) + " copied, 0 changed, 0 missing, " +
                  std::to_string(OddNames().size()) +
                  " special, 0 existing, 0 failed",
              Lines(result.out).back());
}

// An inventory may come from elsewhere.
TEST_F(CopyTest, ComeFromTheFolderAndStayInTheTarget) {
    dir.MakeDir("outside");
    dir.Write("outside/secret", "secret");
    Link("way out", "../outside");
    Write("secret", "x");
    for (const char* const path :
         {"", ".", "..", "/secret", "../outside/secret", "secret/../secret",
          "secret/", "way out/../secret", "a//b"}) {
        for (const char* const attribute : {"path=\"", "pathEscaped=\""}) {
            dir.Write("out.xml", DocumentOf(FileElement(1, "secret", "1") +
                                            Replaced(FileElement(2, path, "1"),
                                                     "path=\"", attribute)));
            const Result result = Copy();
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(
                Contains(result.err, std::string("element 2: the path '") +
                                         path + "' is not one below a folder"))
                << result;
        }
    }
    ExpectBeside({"out.xml", "outside"});

    // Through a link of the folder's.
    dir.Write("out.xml", DocumentOf(FileElement(1, "way out/secret", "6")));
    const Result result = Copy();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "missing  way out/secret\n"
        "0 copied, 0 changed, 1 missing, 0 special, 0 existing, 0 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{}), PathsIn(target + "/"));
    EXPECT_EQ((std::set<std::string>{"secret"}), PathsIn(dir / "outside/"));
}

TEST_F(CopyTest, NeedATargetThatCanBeMade) {
    Write("a", "1");
    Create();
    dir.Write("file", "as it was");
    dir.MakeDir("sealed");
    ASSERT_EQ(0, ::chmod((dir / "sealed").c_str(), 0500));
    std::filesystem::create_symlink("nowhere/at all", dir / "dangling");
    const std::string none = ": no folder can be made there\n";
    const struct {
        std::string path;
        std::string message;
    } cases[] = {
        {"", "the name of the target is empty\n"},
        {dir / "file", dir / "file" + none},
        {dir / "file/x", dir / "file/x" + none},
        {dir / "sealed/x", dir / "sealed/x" + none},
        {dir / "sealed/x/y", dir / "sealed/x/y" + none},
        {dir / "dangling", dir / "dangling" + none},
        {dir / "dangling/x", dir / "dangling/x" + none},
        {dir / "file/\x1B", dir / "file/%1B" + none},
        {std::string(300, 'n'), std::string(300, 'n') + none},
    };
    for (const auto& [path, message] : cases) {
        target = path;
        const Result result = Copy(AsOrdinaryUser());
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_EQ("inventory: " + message, result.err);
    }
    EXPECT_EQ("as it was", Content(dir / "file"));
    EXPECT_EQ((std::set<std::string>{}), PathsIn(dir / "sealed/"));
    ExpectBeside({"out.xml", "file", "sealed", "dangling"});

    // Below a target that can be entered alone.
    target = dir / "sealed";
    const Result result = Copy(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("failed   a (Permission denied)", Lines(result.out).front());
    ::chmod((dir / "sealed").c_str(), 0700);  // To be removable.
}

TEST_F(CopyTest, TakeAnyNameOfATarget) {
    Write("f", "1");
    MakeDir("d");
    Write("d/e", "2");
    Create();
    dir.MakeDir("there");
    std::filesystem::create_directory_symlink("there", dir / "alias");
    Setting setting;
    setting.folder = dir.Path();
    for (const char* const path :
         {"t", "a/b", "a/c/", "bb//c", "./u", "there/../w", "--", "alias",
          "tree/in it", "tree/d/d"}) {
        SCOPED_TRACE(path);
        const Result result =
            RunInventory({"copy", "out.xml", "tree", "--", path}, setting);
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ("1", Content(dir / path + "/f"));
        EXPECT_EQ("2", Content(dir / path + "/d/e"));
    }
    EXPECT_EQ("1", Content(dir / "there/f"));

    // CreateDirLevel may take the first two folders of a path for made.
    const std::string beside =
        dir.Path().substr(0, dir.Path().size() - 1) + "-copies";
    target = beside + "/x";
    EXPECT_EQ(0, Copy().status);
    EXPECT_EQ("2", Content(target + "/d/e"));
    std::filesystem::remove_all(beside);

    // The folder itself: all is there.
    target = tree;
    EXPECT_TRUE(Contains(Copy().out,
                         "\n0 copied, 0 changed, 0 missing, 0 "
                         "special, 2 existing, 0 failed\n"));
}

TEST_F(CopyTest, FailWhereTheDiskIsFull) {
    MakeDir("d");
    Write("d/fits", Noise(65536));
    Write("d/over", Noise(65537));  // One byte is lost.
    Write("huge", Noise(300000));
    Write("last", "1");
    Create();
    Setting setting;
    setting.fileSize = 65536;
    const Result result = Copy(setting);
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   d/over (the copy differs)\n"
        "failed   huge (the copy differs)\n"
        "2 copied, 0 changed, 0 missing, 0 special, 0 existing, 2 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"d", "d/fits", "last"}),
              PathsIn(target + "/"));

    // With room again, what failed is made, and the rest is left alone.
    EXPECT_EQ(
        "existing d/fits\n"
        "existing last\n"
        "2 copied, 0 changed, 0 missing, 0 special, 2 existing, 0 failed\n",
        Copy().out);
    EXPECT_TRUE(Content(tree + "huge") == Content(target + "/huge"));
}

// A file that is written to: its size stays and its bytes do not.
TEST_F(CopyTest, FailWhereBytesAloneDiffer) {
    Write("restless", std::string(4000000, 'x'));
    Create();
    const Descriptor file(
        ::open((tree + "restless").c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_NE(-1, file.Number());
    std::atomic<bool> stop{false};
    std::thread writer([&file, &stop] {
        for (unsigned int count = 0; !stop; ++count) {
            if (::pwrite(file.Number(), &count, sizeof count, 3999990) < 0) {
                return;
            }
        }
    });
    // The writer may have to wait while a copy is made and compared.
    bool seen = false;
    for (int i = 0; i < 20 && !seen; ++i) {
        std::filesystem::remove_all(target);
        const Result result = RunInventory({"copy", out, tree, target});
        seen = result.out ==
               "failed   restless (the copy differs)\n"
               "0 copied, 0 changed, 0 missing, 0 special, 0 existing, "
               "1 failed\n";
        EXPECT_EQ(seen, PathsIn(target + "/").empty());
    }
    stop = true;
    writer.join();
    EXPECT_TRUE(seen);
}

// Progress

// What a terminal shows of the bytes that it got: its lines, without the
// blanks at their ends.
Strings Screen(const std::string& bytes) {
    Strings lines(1);
    std::size_t column = 0;
    for (const char c : bytes) {
        if (c == '\r') {
            column = 0;
        } else if (c == '\n') {
            lines.emplace_back();
            column = 0;
        } else {
            std::string& line = lines.back();
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = c;
        }
    }
    for (std::string& line : lines) {
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

TEST_F(InventoryTest, ShowsProgressOnATerminalAlone) {
    for (int i = 0; i < 200; ++i) {
        Write(std::to_string(i), "12345");
    }
    Write("\x01 comes first", "");
    Write("\x7F comes last", "");
    const Strings messages = {"inventory: escaped: %01 comes first",
                              "inventory: escaped: %7F comes last", ""};
    Setting terminal;
    terminal.onTerminal = true;

    Create();
    EXPECT_EQ(messages, Screen(created.err));
    EXPECT_FALSE(Contains(created.err, "\r")) << created.err;
    EXPECT_FALSE(Contains(created.err, "entries/s")) << created.err;
    EXPECT_EQ("", Verify().err);

    const auto started = std::chrono::steady_clock::now();
    Create(terminal);
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_TRUE(Contains(created.err, "1 entries, ")) << created.err;
    EXPECT_TRUE(Contains(created.err, " entries/s, 0 B")) << created.err;
    EXPECT_EQ(messages, Screen(created.err));
    // The first entry's, and then one in each tenth of a second.
    long drawn = 0;
    for (std::size_t at = created.err.find("entries/s");
         at != std::string::npos; at = created.err.find("entries/s", at + 1)) {
        ++drawn;
    }
    EXPECT_LE(drawn, 1 + elapsed / std::chrono::milliseconds(100));

    const Result verified = Verify(terminal);
    EXPECT_EQ(0, verified.status);
    EXPECT_TRUE(Contains(verified.err, "1 entries, ")) << verified.err;
    EXPECT_EQ((Strings{""}), Screen(verified.err));
    EXPECT_EQ("0 added, 0 removed, 0 changed, 202 the same\n", verified.out);

    const Strings copy = {"copy", out, tree, dir / "copies"};
    const Result copied = RunInventory(copy, terminal);
    EXPECT_EQ(0, copied.status) << copied;
    EXPECT_TRUE(Contains(copied.err, "1 entries, ")) << copied.err;
    EXPECT_EQ((Strings{""}), Screen(copied.err));
    const Result again = RunInventory(copy);
    EXPECT_EQ(1, again.status);
    EXPECT_EQ("", again.err);
}

// Digests

// OpenSSL's, as hexadecimal digits.
std::string Md5(const std::string& content) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(content.data(), content.size(), digest, &size, EVP_md5(),
                   nullptr) != 1) {
        throw std::runtime_error("OpenSSL failed");
    }
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += "0123456789abcdef"[digest[i] / 16];
        text += "0123456789abcdef"[digest[i] % 16];
    }
    return text;
}

// Asks until it is so; false when that takes too long.
bool WaitUntil(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Where in the file the process is; -1 unless it has it open.
long long PositionIn(const std::string& path, pid_t process) {
    const std::string wanted = std::filesystem::canonical(path).native();
    const std::string folder = "/proc/" + std::to_string(process) + "/";
    long long position = -1;
    std::error_code error;
    std::filesystem::directory_iterator next(folder + "fd", error);
    while (!error && next != std::filesystem::directory_iterator()) {
        std::error_code gone;
        if (std::filesystem::read_symlink(next->path(), gone) == wanted) {
            std::ifstream info(folder + "fdinfo/" +
                               next->path().filename().native());
            std::string word;
            long long number = -1;
            info >> word >> number;  // "pos:" and the position.
            position = std::max(position, number);
        }
        next.increment(error);
    }
    return position;
}

// Stops a program where it is, to go on with SIGCONT. False when it has ended.
bool Halt(pid_t program) {
    siginfo_t state;
    return ::kill(program, SIGSTOP) == 0 &&
           ::waitid(P_PID, static_cast<id_t>(program), &state,
                    WSTOPPED | WEXITED | WNOWAIT) == 0 &&
           state.si_code == CLD_STOPPED;
}

class DigestTest : public InventoryTest {
protected:
    // The entries of the document, created with digests.
    std::map<std::string, Attributes> CreateEntries(
        const Setting& setting = Setting()) {
        return EntriesOf(Create(setting, {"--digest"}));
    }

    Result VerifyDigests(const Setting& setting = Setting()) {
        return Verify(setting, {"--digest"});
    }

    // More zeros than can be read in the time that a test has.
    void WriteEndless(const std::string& path) {
        Write(path, "");
        std::filesystem::resize_file(tree + path, 1ULL << 40);
    }

    // Gives a file another content, and not another time of its last change.
    void Rewrite(const std::string& path, const std::string& content) {
        struct stat before;
        ASSERT_EQ(0, ::stat((tree + path).c_str(), &before));
        Write(path, content);
        const timespec times[] = {before.st_atim, before.st_mtim};
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + path).c_str(), times, 0));
    }
};

TEST_F(DigestTest, AreThoseOfTheContentsOfFiles) {
    std::map<std::string, std::string> contents = {{"abc", "abc"}};
    for (const unsigned int size :
         {0U, 1U, 55U, 56U, 63U, 64U, 65U, 65535U, 65536U, 65537U, 131071U,
          131072U, 131073U, 1000001U}) {
        contents[std::to_string(size)] = Noise(size);
    }
    MakeDir("d/e");
    contents["d/e/f"] = std::string(70000, '\0');
    contents["line\nfeed"] = "odd";
    for (const auto& [path, content] : contents) {
        Write(path, content);
    }
    Link("link", "abc");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));

    Setting setting;
    setting.openFiles = 16;
    const auto entries = CreateEntries(setting);
    EXPECT_EQ(PathsIn(tree), KeysOf(entries));
    for (const auto& [path, attributes] : entries) {
        SCOPED_TRACE(path);
        const auto content = contents.find(path);
        const bool isFile = content != contents.end();
        ASSERT_EQ(isFile ? 1U : 0U, attributes.count("md5"));
        if (isFile) {
            EXPECT_EQ(Md5(content->second), attributes.at("md5"));
        }
    }
    // RFC 1321's own.
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", entries.at("0").at("md5"));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", entries.at("abc").at("md5"));
    EXPECT_EQ("inventory: escaped: line%0Afeed\n", created.err);
    EXPECT_TRUE(Contains(created.out, " 0  files without a digest\n"))
        << created.out;

    const Result result = VerifyDigests(setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "0 added, 0 removed, 0 changed, 21 the same, 17 digests compared\n",
        result.out);
}

TEST_F(DigestTest, AreAllThatDiffersHoweverManyEntriesWait) {
    WriteEndless("0");
    for (int folder = 0; folder < 6; ++folder) {
        const std::string name = "d" + std::to_string(folder);
        MakeDir(name + "/inner");
        Link(name + "/link", "nowhere");
        for (int file = 0; file < 500; ++file) {
            const std::string path = name + "/" + std::to_string(file);
            Write(path, path);
        }
    }
    const std::string plain = WithoutIdentifiers(Create());
    EXPECT_FALSE(Contains(plain, "md5"));
    EXPECT_FALSE(Contains(created.out, "digest"));

    Setting setting;  // Of the first file, when as many wait as may.
    setting.meanwhile = [this](pid_t program, int /*error*/) {
        if (!WaitUntil([&] { return PositionIn(tree + "0", program) > 0; })) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        std::filesystem::resize_file(tree + "0", 0);
        return true;
    };
    const std::string attribute = " md5=\"";
    std::string rest;
    std::size_t count = 0;
    for (std::string line :
         Lines(WithoutIdentifiers(Create(setting, {"--digest"})))) {
        const std::size_t start = line.find(attribute);
        if (start != std::string::npos) {
            EXPECT_EQ(Md5(AttributesOf(line)["path"]),
                      line.substr(start + attribute.size(), 32));
            line.erase(start, attribute.size() + 32 + 1);
            ++count;
        }
        rest += line + "\n";
    }
    EXPECT_EQ("inventory: no digest: 0: changed since it was listed\n",
              created.err);
    EXPECT_EQ(3000U, count);
    EXPECT_TRUE(plain == rest);

    // Verified in the same order.
    std::filesystem::remove(tree + "0");
    std::filesystem::remove(tree + "d0/7");
    Rewrite("d1/499", "d1/49!");
    Write("d2/new", "");
    std::filesystem::remove_all(tree + "d5");
    const Result result = VerifyDigests();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(4U + 503U + 1U, lines.size()) << result;
    EXPECT_EQ("removed  0", lines[0]);
    EXPECT_EQ("removed  d0/7", lines[1]);
    EXPECT_EQ("changed  d1/499 (content)", lines[2]);
    EXPECT_EQ("added    d2/new", lines[3]);
    EXPECT_EQ("removed  d5", lines[4]);
    EXPECT_EQ(
        "1 added, 505 removed, 1 changed, 2513 the same, "
        "2499 digests compared",
        lines.back());
}

// Memory is bounded because the walk is: while a file is read, it goes on until
// so many entries wait, and no further.
TEST_F(DigestTest, WaitForAWalkThatIsNotFarAhead) {
    WriteEndless("0");
    for (const char* const folder : {"near", "next", "zfar"}) {
        MakeDir(folder);
    }
    for (int i = 0; i < 1000; ++i) {
        Write("near/" + std::to_string(i), "");
        Write("next/" + std::to_string(i), "");
    }
    const Descriptor opened(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const int next =
        ::inotify_add_watch(opened.Number(), (tree + "next").c_str(), IN_OPEN);
    const int far =
        ::inotify_add_watch(opened.Number(), (tree + "zfar").c_str(), IN_OPEN);
    ASSERT_NE(-1, next);
    ASSERT_NE(-1, far);

    std::set<int> seen;
    const auto look = [&] {
        alignas(inotify_event) char events[4096];
        const ssize_t size = ::read(opened.Number(), events, sizeof events);
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, events + at, sizeof event);
            if ((event.mask & IN_ISDIR) != 0) {
                seen.insert(event.wd);
            }
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
        return seen.contains(next);
    };
    Setting setting;
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        if (!WaitUntil(look)) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        look();
        return ::kill(program, SIGTERM) == 0;
    };
    const Result result =
        RunInventory({"create", tree, out, "--digest"}, setting);
    EXPECT_EQ("(signal 15)", result.end) << result;
    EXPECT_EQ((std::set<int>{next}), seen);
}

TEST_F(DigestTest, AreMissingWhereAFileCannotBeRead) {
    Write("closed", "1");
    Write("open", "2");
    Write("unlisted", "3");
    const std::string plain = WithoutIdentifiers(Create());
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
    const auto entries = CreateEntries(AsOrdinaryUser());
    EXPECT_EQ(0U, entries.at("closed").count("md5"));
    EXPECT_EQ("file", entries.at("closed").at("type"));
    EXPECT_EQ(Md5("2"), entries.at("open").at("md5"));
    EXPECT_EQ("inventory: no digest: closed: Permission denied\n", created.err);
    EXPECT_TRUE(Contains(created.out, "1  files without a digest\n"));
    EXPECT_TRUE(Contains(created.out, "0  of type unreadable\n"));

    // What has no digest is compared as ever.
    Result result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("0 added, 0 removed, 0 changed, 3 the same, 2 digests compared\n",
              result.out);

    // What has one, and cannot be read any more, is no longer the same.
    ASSERT_EQ(0, ::chmod((tree + "open").c_str(), 0));
    result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("inventory: no digest: open: Permission denied\n", result.err);
    EXPECT_EQ(
        "changed  open (content not read)\n"
        "0 added, 0 removed, 1 changed, 2 the same, 1 digests compared\n",
        result.out);

    // Without the option, no file is read.
    result = Verify(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("0 added, 0 removed, 0 changed, 3 the same\n", result.out);
}

// While the first file is read, the others have been listed and not yet read.
TEST_F(DigestTest, AreMissingWhereAFileChangesMeanwhile) {
    for (const char* const file :
         {"gone", "longer", "rewritten", "steady", "to file", "to folder",
          "to link", "to pipe"}) {
        Write(file, "12345");
    }
    WriteEndless("0");
    Setting setting;
    setting.meanwhile = [this](pid_t program, int /*error*/) {
        if (!WaitUntil([&] { return PositionIn(tree + "0", program) > 0; })) {
            return false;
        }
        for (const char* const file :
             {"gone", "to file", "to folder", "to link", "to pipe"}) {
            std::filesystem::remove(tree + file);
        }
        Write("longer", "1234567");
        Rewrite("rewritten", "54321");
        Write("to file", "another one");
        MakeDir("to folder");
        Link("to link", "steady");
        EXPECT_EQ(0, ::mkfifo((tree + "to pipe").c_str(), 0600));
        std::filesystem::resize_file(tree + "0", 10);  // Which ends the wait.
        return true;
    };
    const auto entries = CreateEntries(setting);
    EXPECT_EQ(
        "inventory: no digest: 0: changed since it was listed\n"
        "inventory: no digest: gone: No such file or directory\n"
        "inventory: no digest: longer: changed since it was listed\n"
        "inventory: no digest: rewritten: changed since it was listed\n"
        "inventory: no digest: to file: changed since it was listed\n"
        "inventory: no digest: to folder: no longer a file\n"
        "inventory: no digest: to link: no longer a file\n"
        "inventory: no digest: to pipe: no longer a file\n",
        created.err);
    EXPECT_TRUE(Contains(created.out, " 8  files without a digest\n"));
    for (const auto& [path, attributes] : entries) {
        EXPECT_EQ("file", attributes.at("type")) << path;
        EXPECT_EQ(path == "steady" ? 1U : 0U, attributes.count("md5")) << path;
    }
    EXPECT_EQ("5", entries.at("longer").at("size"));  // As it was listed.
    EXPECT_EQ(Md5("12345"), entries.at("steady").at("md5"));
}

// Where its size does not tell, either.
TEST_F(DigestTest, AreMissingWhereAFileIsWrittenToWhileItIsRead) {
    const off_t size = 10000000;
    Write("a", "");
    std::filesystem::resize_file(tree + "a", size);
    const Descriptor file(::open((tree + "a").c_str(), O_WRONLY | O_CLOEXEC));
    bool isInTheMiddle = false;
    for (int i = 0; i < 50 && !isInTheMiddle; ++i) {
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            const auto position = [&] {
                return PositionIn(tree + "a", program);
            };
            siginfo_t state{};
            while (position() <= 0 && state.si_pid == 0) {
                ::waitid(P_PID, static_cast<id_t>(program), &state,
                         WEXITED | WNOHANG | WNOWAIT);
            }
            isInTheMiddle =
                Halt(program) && position() > 0 && position() < size;
            return (!isInTheMiddle ||
                    ::pwrite(file.Number(), "x", 1, 0) == 1) &&
                   ::kill(program, SIGCONT) == 0;
        };
        const auto entries = CreateEntries(setting);
        EXPECT_EQ(isInTheMiddle ? 0U : 1U, entries.at("a").count("md5"));
        EXPECT_EQ(isInTheMiddle
                      ? "inventory: no digest: a: changed since it was listed\n"
                      : "",
                  created.err);
    }
    EXPECT_TRUE(isInTheMiddle);
}

// A pipe blocks whoever opens it by its name until somebody writes.
TEST_F(DigestTest, NeverWaitAtAPipe) {
    MakeDir("d");
    const std::string pipes = dir.MakeDir("pipes");
    for (int i = 0; i < 100; ++i) {
        const std::string name = "/" + std::to_string(i);
        Write("d" + name, "12345");
        ASSERT_EQ(0, ::mkfifo((pipes + name).c_str(), 0600));
    }
    Create();
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        while (!stop) {
            ::renameat2(AT_FDCWD, (tree + "d").c_str(), AT_FDCWD, pipes.c_str(),
                        RENAME_EXCHANGE);
        }
    });
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        for (const Strings& arguments :
             {Strings{"create", tree, dir / "new.xml", "--digest"},
              Strings{"copy", out, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments);
            EXPECT_TRUE(result.status == 0 || result.status == 1) << result;
        }
        std::filesystem::remove_all(dir / "copies");
    }
    stop = true;
    changer.join();
}

TEST_F(DigestTest, TellChangesThatTimesDoNotTell) {
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    for (const char* const file :
         {"content", "longer", "same", "to link", "touched", "written"}) {
        Write(file, "12345");
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past, 0));
    }
    Create(Setting(), {"--digest"});
    Rewrite("content", "12354");
    Write("longer", "123456");
    ASSERT_EQ(0, ::chmod((tree + "longer").c_str(), 0));  // Not to be read.
    std::filesystem::remove(tree + "to link");
    Link("to link", "same");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "touched").c_str(), nullptr, 0));
    Write("written", "123??");

    Result result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "changed  content (content)\n"
        "changed  longer (size 5 -> 6, modified)\n"
        "changed  to link (type file -> link)\n"
        "changed  touched (modified)\n"
        "changed  written (modified, content)\n"
        "0 added, 0 removed, 5 changed, 1 the same, 4 digests compared\n",
        result.out);

    result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  longer (size 5 -> 6, modified)\n"
        "changed  to link (type file -> link)\n"
        "changed  touched (modified)\n"
        "changed  written (modified)\n"
        "0 added, 0 removed, 4 changed, 2 the same\n",
        result.out);
}

TEST_F(DigestTest, AreNotComparedWhereTheDocumentHasNone) {
    Write("a", "12345");
    Create();
    Rewrite("a", "54321");
    const Result result = VerifyDigests();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 1 the same, 0 digests compared\n",
              result.out);
}

// Interruption

// Whether the pipe takes no more, and who writes to it waits.
bool IsFull(int pipe) {
    int size = 0;
    return ::ioctl(pipe, FIONREAD, &size) == 0 &&
           size > ::fcntl(pipe, F_GETPIPE_SZ) - 4096;
}

bool InterruptAndGoOn(pid_t program) {
    return ::kill(program, SIGINT) == 0 && ::kill(program, SIGCONT) == 0;
}

class InterruptionTest : public DigestTest {
protected:
    InterruptionTest() { dir.Write("out.xml", "as it was"); }

    // Died of the signal, and has tidied up.
    void ExpectInterrupted(const Result& result, int signal) {
        EXPECT_EQ("(signal " + std::to_string(signal) + ")", result.end)
            << result;
        EXPECT_EQ("", result.out);
        const Strings shown = Screen(result.err);
        ASSERT_LE(2U, shown.size()) << result;
        EXPECT_EQ("inventory: interrupted", shown[shown.size() - 2]);
        EXPECT_EQ("as it was", Content(out));
    }
};

TEST_F(InterruptionTest, LeavesAFileInTheMiddle) {
    Write("0", "first");
    WriteEndless("1");
    const std::string in = dir.Write(
        "in.xml", DocumentOf(WithDigest(FileElement(1, "1", "1099511627776"),
                                        std::string(32, '0'))));
    // With many that wait, and with none.
    for (const int more : {0, 2000}) {
        for (int i = 0; i < more; ++i) {
            Write("2 " + std::to_string(i), "");
        }
        for (const Strings& arguments :
             {Strings{"create", tree, out, "--digest"},
              Strings{"verify", tree, in, "--digest"}}) {
            for (const int signal : {SIGINT, SIGTERM}) {
                SCOPED_TRACE(arguments.front() + " " + std::to_string(signal));
                Setting setting;
                setting.onTerminal = true;
                setting.meanwhile = [&](pid_t program, int /*error*/) {
                    if (!WaitUntil([&] {
                            return PositionIn(tree + "1", program) > 0;
                        })) {
                        return false;
                    }
                    // For those that wait to come.
                    std::this_thread::sleep_for(
                        std::chrono::milliseconds(more != 0 ? 200 : 0));
                    return ::kill(program, signal) == 0;
                };
                const Result result = RunInventory(arguments, setting);
                ExpectInterrupted(result, signal);
                EXPECT_TRUE(Contains(result.err, "1 entries, ")) << result;
                EXPECT_EQ((Strings{"inventory: interrupted", ""}),
                          Screen(result.err));
            }
        }
    }
    ExpectBeside({"out.xml", "in.xml"});
}

// Complaints that nobody reads hold the walk where it is.
class HeldWalkTest : public InterruptionTest {
protected:
    HeldWalkTest() {
        MakeDir("listed");
        for (int i = 0; i < 1000; ++i) {
            Write("listed/" + std::to_string(i) + std::string(100, 'n'), "");
        }
        ::chmod((tree + "listed").c_str(), 0400);
        dir.Write("in.xml", DocumentOf(""));
        setting.dropPrivileges = true;
        setting.meanwhile = [](pid_t program, int error) {
            return WaitUntil([&] { return IsFull(error); }) &&
                   ::kill(program, SIGINT) == 0;
        };
    }
    ~HeldWalkTest() override { ::chmod((tree + "listed").c_str(), 0700); }

    Setting setting;
};

TEST_F(HeldWalkTest, StopsWhenItIsInterrupted) {
    for (const Strings& arguments :
         {Strings{"create", tree, out},
          Strings{"create", tree, out, "--digest"},
          Strings{"verify", tree, dir / "in.xml"},
          Strings{"verify", tree, dir / "in.xml", "--digest"}}) {
        SCOPED_TRACE(arguments.front());
        const Result result = RunInventory(arguments, setting);
        ExpectInterrupted(result, SIGINT);
        EXPECT_LT(Lines(result.err).size(), 1000U);
    }
    ExpectBeside({"out.xml", "in.xml"});
}

TEST_F(HeldWalkTest, DoesNotWaitForAReaderOfItsOutput) {
    ::chmod((tree + "listed").c_str(), 0700);
    const Channel unread = MakePipe();
    setting.output = unread.writing.Number();
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        return WaitUntil([&] { return IsFull(unread.reading.Number()); }) &&
               ::kill(program, SIGINT) == 0;
    };
    const Result result =
        RunInventory({"verify", tree, dir / "in.xml"}, setting);
    EXPECT_EQ("(signal 2)", result.end) << result;
}

TEST_F(HeldWalkTest, GoesOnWhereInterruptsAreIgnored) {
    setting.ignoresInterrupts = true;
    const Result result =
        RunInventory({"create", tree, out, "--digest"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1000U, Lines(result.err).size());
    EXPECT_EQ(1001U, EntriesOf(Content(out)).size());
}

// The document is there, and its summary waits for a reader.
TEST_F(InterruptionTest, EndsAWaitForAReader) {
    const Channel unread = MakePipe();
    const std::string block(4096, 'x');
    while (!IsFull(unread.reading.Number())) {
        ASSERT_LT(0, ::write(unread.writing.Number(), block.data(), 4096));
    }
    Setting setting;
    setting.output = unread.writing.Number();
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        // More than once: the first can come before the wait.
        siginfo_t state{};
        return WaitUntil([&] { return Content(out) != "as it was"; }) &&
               WaitUntil([&] {
                   return ::kill(program, SIGINT) == 0 &&
                          ::waitid(P_PID, static_cast<id_t>(program), &state,
                                   WEXITED | WNOHANG | WNOWAIT) == 0 &&
                          state.si_pid != 0;
               });
    };
    const Result result = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ("(signal 2)", result.end) << result;
    EXPECT_EQ("inventory: interrupted\n", result.err);
    EXPECT_EQ(0U, EntriesOf(Content(out)).size());
    ExpectBeside({"out.xml"});
}

TEST_F(InterruptionTest, LeavesNoDocumentBehindThatIsHalfWritten) {
    // For the writing to take its time.
    for (int i = 0; i < 3000; ++i) {
        Write(std::to_string(i) + std::string(200, 'n'), "");
    }
    bool isThere = false;
    for (int i = 0; i < 50 && !isThere; ++i) {
        dir.Write("out.xml", "as it was");
        const auto look = [&] {
            const std::filesystem::directory_iterator entries(dir.Path());
            return std::any_of(
                begin(entries), end(entries), [](const auto& entry) {
                    return Contains(entry.path().native(), "/.inventory-");
                });
        };
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            siginfo_t state{};
            while (!look() && state.si_pid == 0) {
                ::waitid(P_PID, static_cast<id_t>(program), &state,
                         WEXITED | WNOHANG | WNOWAIT);
            }
            isThere = state.si_pid == 0 && Halt(program) && look();
            return InterruptAndGoOn(program) || !isThere;
        };
        const Result result = RunInventory({"create", tree, out}, setting);
        if (isThere) {
            ExpectInterrupted(result, SIGINT);
        }
        ExpectBeside({"out.xml"});
    }
    EXPECT_TRUE(isThere);
}

// At any moment: all is as it was, or all is done.
TEST_F(InterruptionTest, HappensAtAnyMoment) {
    for (int i = 0; i < 300; ++i) {
        Write(std::to_string(i), Noise(static_cast<std::size_t>(i) * 100));
    }
    int interrupted = 0;
    for (int i = 0; i < 60; ++i) {
        dir.Write("out.xml", "as it was");
        Setting setting;
        setting.meanwhile = [i](pid_t program, int /*error*/) {
            std::this_thread::sleep_for(std::chrono::milliseconds(i));
            return ::kill(program, SIGINT) == 0;
        };
        Strings arguments = {"create", tree, out};
        if (i % 3 != 0) {
            arguments.emplace_back("--digest");
        }
        const Result result = RunInventory(arguments, setting);
        if (result.status == 0) {
            EXPECT_EQ(300U, EntriesOf(Content(out)).size());
        } else {
            EXPECT_EQ("(signal 2)", result.end) << result;
            // A signal before the first look ends the program at once.
            EXPECT_TRUE(result.err.empty() ||
                        result.err == "inventory: interrupted\n")
                << result;
            EXPECT_EQ("as it was", Content(out));
            ++interrupted;
        }
        ExpectBeside({"out.xml"});
    }
    EXPECT_GT(interrupted, 0);
}

TEST_F(InterruptionTest, RemovesTheCopyThatIsBeingMade) {
    Write("0", "first");
    Write("1", "");
    const off_t size = 50000000;
    std::filesystem::resize_file(tree + "1", size);
    Write("2", "last");
    Create();
    const std::string copies = dir / "copies/";
    bool isHalf = false;
    for (int i = 0; i < 50 && !isHalf; ++i) {
        std::filesystem::remove_all(copies);
        const auto copied = [&] {
            struct stat info;
            return ::stat((copies + "1").c_str(), &info) == 0 ? info.st_size
                                                              : 0;
        };
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            if (!WaitUntil([&] { return copied() > 0; })) {
                return false;
            }
            isHalf = Halt(program) && copied() > 0 && copied() < size;
            return InterruptAndGoOn(program) || !isHalf;
        };
        const Result result =
            RunInventory({"copy", out, tree, copies}, setting);
        if (isHalf) {
            EXPECT_EQ("(signal 2)", result.end) << result;
            EXPECT_EQ("", result.out);
            EXPECT_EQ("inventory: interrupted\n", result.err);
            EXPECT_EQ((std::set<std::string>{"0"}), PathsIn(copies));
            EXPECT_EQ("first", Content(copies + "0"));
        }
    }
    EXPECT_TRUE(isHalf);
}

// The system's own

// Sanitizers slow the program down by an order of magnitude: a part will do.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const char* const kSystemFolder = "/usr/share/doc/";
#else
const char* const kSystemFolder = "/usr/share/";
#endif

TEST_F(InventoryTest, MakesAndVerifiesTheInventoryOfUsrShare) {
    tree = kSystemFolder;
    const std::string document = Create();
    const Result verified = Verify();
    EXPECT_EQ(0, verified.status)
        << "did another process change " << tree << "? " << verified;
    const Strings identifiers = IdentifiersOf(document);
    EXPECT_EQ(
        identifiers.size(),
        std::set<std::string>(identifiers.begin(), identifiers.end()).size());
    EXPECT_EQ(PathsIn(tree).size() + 1, identifiers.size());
    const Result shown = RunInventory({"show", out});
    EXPECT_EQ(0, shown.status) << shown;
    EXPECT_TRUE(
        Contains(shown.out, std::to_string(identifiers.size() - 1) + "  "));
}

}  // namespace
